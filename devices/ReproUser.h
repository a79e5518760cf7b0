// A SIP user that the agent created itself: a phone or soft client from another manufacturer that
// uses the controller's proxy. It is registered like a driver's device and answers every device
// operation with fixed values.
#ifndef DEVICES_REPROUSER_H
#define DEVICES_REPROUSER_H

#include "host/glue/LiveObjects.h"
#include "host/interfaces/ISupportIntercom.h"

/// All operations: [driver thread]
class ReproUser final : public ISupportIntercom, private dv::Counted {
public:
    /// The id of the first user after the library was loaded; each further one gets the next number.
    /// Ids are never reused and not saved.
    static constexpr unsigned long BASE_REPRO_USER_ID = 99999;

    /// Takes the next id, and the parameters "key", "user", "domain", "realm", "password", "name",
    /// "email" and "forwardAddress" as they are.
    explicit ReproUser(const ICmdMessage& message);

    // ISupportIntercom
    int getVersion() const override { return 2; }
    void requestToAddDevice() override {}
    void disconnectAgent() override {}
    void setDeviceState(const ICmdMessage&) override {}
    unsigned long getDeviceId() const override { return id_; }
    unsigned char findSessionId(const std::string&) override { return dvIntercom::NO_SESSION; }
    void updateSipInfoFromDriver(const std::string&) override {}
    bool isDoorStation() const override { return false; }
    bool is3rdParty() const override { return true; }
    bool getDnD() const override { return false; }
    void setDnD(bool) override {}
    int getCurrentState() const override { return 1; }
    void setCurrentState(int) override {}
    bool getAutoAnswer() const override { return false; }
    void setAutoAnswer(bool) override {}
    bool getMonitorMode() const override { return false; }
    void setMonitorMode(bool) override {}
    bool getAnswerWithVideo() const override { return false; }
    void setAnswerWithVideo(bool) override {}
    unsigned short getSpeakerVol() const override { return 0; }
    void setSpeakerVol(unsigned short, bool) override {}
    bool getExcludeFromNav() const override { return true; }
    void setExcludeFromNav(bool) override {}
    void RingDoorChime() override {}
    void setRingDoorbell(bool) override {}
    bool getRingDoorbell() const override { return false; }
    /// The user field, not the display name: SIP addresses are built from it.
    std::string getIntercomName() override { return user; }
    bool hasCamera() const override { return false; }
    bool hasDisplay() const override { return false; }
    void StartSipCall(dvIntercom::MediaMode, dvIntercom::MediaMode, const std::string&) override {}
    void StartSipMonitor(dvIntercom::MediaMode, dvIntercom::MediaMode, const std::string&) override {}
    void StartSipBroadcast(dvIntercom::MediaMode, dvIntercom::MediaMode,
                           const std::vector<std::string>&) override {}
    void HangupSipSession(unsigned char) override {}
    void HoldSession(unsigned char) override {}
    void ResumeSession(unsigned char) override {}
    bool ActiveSipSession(unsigned char) override { return false; }

private:
    const unsigned long id_;
};

#endif
