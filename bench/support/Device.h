// A device that answers at once, carries nothing out, and describes itself as the host library does by
// default.
#ifndef BENCH_SUPPORT_DEVICE_H
#define BENCH_SUPPORT_DEVICE_H

#include <string>
#include <vector>

#include "host/interfaces/ISupportIntercom.h"

namespace bench {

class Device final : public ISupportIntercom {
public:
    explicit Device(unsigned long id) : id_(id) { key = "device-" + std::to_string(id); }

    // ISupportIntercom
    int getVersion() const override { return 2; }
    void requestToAddDevice() override {}
    void disconnectAgent() override {}
    void setDeviceState(const ICmdMessage& message) override { state_ = message.GetInt("state"); }
    unsigned long getDeviceId() const override { return id_; }
    unsigned char findSessionId(const std::string&) override { return dvIntercom::NO_SESSION; }
    void updateSipInfoFromDriver(const std::string&) override {}
    bool isDoorStation() const override { return false; }
    bool is3rdParty() const override { return false; }
    bool getDnD() const override { return false; }
    void setDnD(bool) override {}
    int getCurrentState() const override { return state_; }
    void setCurrentState(int) override {}
    bool getAutoAnswer() const override { return false; }
    void setAutoAnswer(bool) override {}
    bool getMonitorMode() const override { return false; }
    void setMonitorMode(bool) override {}
    bool getAnswerWithVideo() const override { return true; }
    void setAnswerWithVideo(bool) override {}
    unsigned short getSpeakerVol() const override { return 50; }
    void setSpeakerVol(unsigned short, bool) override {}
    bool getExcludeFromNav() const override { return false; }
    void setExcludeFromNav(bool) override {}
    void RingDoorChime() override {}
    void setRingDoorbell(bool) override {}
    bool getRingDoorbell() const override { return false; }
    std::string getIntercomName() override { return key; }
    bool hasCamera() const override { return true; }
    bool hasDisplay() const override { return true; }
    void StartSipCall(dvIntercom::MediaMode, dvIntercom::MediaMode, const std::string&) override { ++calls_; }
    void StartSipMonitor(dvIntercom::MediaMode, dvIntercom::MediaMode, const std::string&) override {
        ++calls_;
    }
    void StartSipBroadcast(dvIntercom::MediaMode, dvIntercom::MediaMode,
                           const std::vector<std::string>& addresses) override {
        calls_ += addresses.size();
    }
    void HangupSipSession(unsigned char) override {}
    void HoldSession(unsigned char) override {}
    void ResumeSession(unsigned char) override {}
    bool ActiveSipSession(unsigned char) override { return false; }

    /// How many devices this one was told to call.
    std::size_t Calls() const { return calls_; }

private:
    const unsigned long id_;
    int state_ = 1;
    std::size_t calls_ = 0;
};

}  // namespace bench

#endif
