// What every device does that takes part in real calls: it meets the agent, keeps its settings, and carries
// out calls by call control. What it is, and how its user is reached, is the deriving driver's.
#ifndef DRIVERS_CALLS_CALLINGDEVICE_H
#define DRIVERS_CALLS_CALLINGDEVICE_H

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "drivers/calls/AgentLink.h"
#include "drivers/calls/CallControlLink.h"
#include "drivers/calls/DeviceCalls.h"
#include "host/glue/DvBaseDriver.h"
#include "host/interfaces/ISupportIntercom.h"

/// The settings that user interfaces change. They are kept with the driver's state.
struct DeviceSettings {
    bool dnd = false;
    bool autoAnswer = false;
    bool monitorMode = false;
    bool answerWithVideo = false;
    bool excludeFromNav = false;
    bool ringDoorbell = false;
    unsigned short speakerVolume = 0;

    struct Row {
        const char* name;
        std::variant<bool DeviceSettings::*, unsigned short DeviceSettings::*> member;
        dvIntercom::DeviceProps property;
    };
    static const std::vector<Row>& Rows();

    /// Stores the value if the text is of the right kind. Returns what is wrong with it; empty when it was
    /// stored.
    std::string Change(const Row& row, const std::string& text);
};

class CallingDevice : public DvBaseDriver,
                      public ISupportIntercom,
                      protected CallsOwner,
                      private CallControlUser {
public:
    explicit CallingDevice(IInstanceManager& instanceManager);
    ~CallingDevice() override;

    // DvBaseDriver
    long QueryInterface(const std::string& id, void** out) override;
    /// Calls go on: call control keeps them, and tells of them when the driver is back.
    void OnDestroy() override;
    dv::auto_com<DvXML::INode> GetPersistState(unsigned long reserved) override;

    // ISupportIntercom
    int getVersion() const override { return 2; }
    void requestToAddDevice() override;
    void disconnectAgent() override;
    /// Parameters, all optional: any of the settings by its name, "state", and "call": hangup, hold or
    /// resume.
    void setDeviceState(const ICmdMessage& message) override;
    unsigned long getDeviceId() const override { return DvBaseDriver::GetDeviceId(); }
    unsigned char findSessionId(const std::string& remote) override { return calls_.Find(remote); }
    void updateSipInfoFromDriver(const std::string& sipProxyAddress) override;
    bool isDoorStation() const override { return identity_.doorStation; }
    bool is3rdParty() const override { return identity_.thirdParty; }
    bool getDnD() const override { return settings_.dnd; }
    void setDnD(bool on) override;
    /// 1 to 3 in a call, 4 away, else what setCurrentState set last, 0 at first.
    int getCurrentState() const override { return state_; }
    void setCurrentState(int state) override;
    bool getAutoAnswer() const override { return settings_.autoAnswer; }
    void setAutoAnswer(bool on) override;
    bool getMonitorMode() const override { return settings_.monitorMode; }
    void setMonitorMode(bool on) override;
    bool getAnswerWithVideo() const override { return settings_.answerWithVideo; }
    void setAnswerWithVideo(bool on) override;
    unsigned short getSpeakerVol() const override { return settings_.speakerVolume; }
    void setSpeakerVol(unsigned short volume, bool notify) override;
    bool getExcludeFromNav() const override { return settings_.excludeFromNav; }
    void setExcludeFromNav(bool on) override;
    void setRingDoorbell(bool on) override;
    bool getRingDoorbell() const override { return settings_.ringDoorbell; }
    std::string getIntercomName() override { return name; }
    bool hasCamera() const override { return identity_.camera; }
    bool hasDisplay() const override { return identity_.display; }
    void StartSipCall(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                      const std::string& address) override;
    void StartSipMonitor(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                         const std::string& address) override;
    void StartSipBroadcast(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                           const std::vector<std::string>& addresses) override;
    void HangupSipSession(unsigned char session) override;
    void HoldSession(unsigned char session) override;
    void ResumeSession(unsigned char session) override;
    bool ActiveSipSession(unsigned char session) override { return calls_.IsActive(session); }

protected:
    /// What the deriving driver read from its configuration. The account's fields of ISupportIntercom are
    /// filled by it, too.
    struct Identity {
        bool doorStation = false;
        bool thirdParty = false;
        bool camera = false;
        bool display = false;
        telephony::Device device;      // what call control has to know
        std::string callControl;       // its socket; empty: there is none
        CallControlLink::Times times;  // of the connection to it
    };

    /// Takes the settings that were saved, connects to call control and registers with the agent.
    void StartDevice(Identity identity, DeviceSettings settings, const DvXML::INode* savedState);

    DeviceCalls& Calls() { return calls_; }
    const DeviceSettings& Settings() const { return settings_; }
    /// One request of setDeviceState's "call". False when there is no call for it.
    virtual bool CarryOutCall(const std::string& request);
    /// Some setting has another value than before.
    virtual void OnSettingsChanged() {}

    // CallControlUser
    void OnCallControlEvent(const telephony::Event& event) override;
    void OnCallControlLost(const std::string& reason) override;

    // CallsOwner
    const std::string& User() const override { return identity_.device.user; }
    std::string Key() override { return key; }
    bool IsRegistered() const override { return !identity_.device.page; }
    IIntercomAgent* FindAgent() const override { return link_.Find(); }
    bool SendToCallControl(const telephony::Command& command) override;
    void OnStateChanged() override;
    void Log(unsigned int level, const std::string& text) const override;

private:
    void StartCall(telephony::CallKind kind, dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                   const std::vector<std::string>& addresses);
    void AddPeers(DeviceCalls::Order& order, const std::string& address);
    template <class Value>
    void Set(Value DeviceSettings::*member, Value value, dvIntercom::DeviceProps property);
    void ChangeSetting(const DeviceSettings::Row& row, const std::string& text);
    void ReportNoSession(const char* operation, unsigned char session) const;

    Identity identity_;
    DeviceSettings settings_;
    AgentLink link_;
    DeviceCalls calls_;
    std::unique_ptr<CallControlLink> callControl_;
    std::string sipProxy_;
    int idleState_ = 0;
    int state_;
    bool connected_ = false;  // call control has told what is
    bool initialized_ = false;
};

#endif
