// A panel: a complete intercom device driver without hardware, for demonstrations, for authors of
// drivers, and for tests. docs/drivers.md describes its settings and commands.
#ifndef DRIVERS_PANEL_PANEL_H
#define DRIVERS_PANEL_PANEL_H

#include <string>
#include <vector>

#include "drivers/calls/AgentLink.h"
#include "drivers/panel/CallSimulation.h"
#include "drivers/panel/Operations.h"
#include "drivers/panel/PanelConfig.h"
#include "host/glue/DvBaseDriver.h"
#include "host/interfaces/ISupportIntercom.h"

class Panel final : public DvBaseDriver, public ISupportIntercom, private CallParty {
public:
    static IDriver* Create(IInstanceManager& instanceManager);

    explicit Panel(IInstanceManager& instanceManager);
    ~Panel() override;

    // DvBaseDriver
    long QueryInterface(const std::string& id, void** out) override;
    long Initialize(unsigned long id, DvXML::INode& config, DvXML::INode* savedState) override;
    void OnDestroy() override;
    void RegisterCommands() override;

    // ISupportIntercom. Everything except plain queries is recorded.
    int getVersion() const override { return config_.version; }
    void requestToAddDevice() override;
    void disconnectAgent() override;
    /// Parameters, all optional: any setting that is a property of a device, by its name in the home
    /// file (the state also as "state"), and "call", which is "answer" or "hangup".
    void setDeviceState(const ICmdMessage& message) override;
    unsigned long getDeviceId() const override { return DvBaseDriver::GetDeviceId(); }
    unsigned char findSessionId(const std::string& remote) override;
    void updateSipInfoFromDriver(const std::string& sipProxyAddress) override;
    bool isDoorStation() const override { return config_.doorStation; }
    bool is3rdParty() const override { return config_.thirdParty; }
    bool getDnD() const override { return config_.dnd; }
    void setDnD(bool on) override;
    int getCurrentState() const override { return config_.currentState; }
    void setCurrentState(int state) override;
    bool getAutoAnswer() const override { return config_.autoAnswer; }
    void setAutoAnswer(bool on) override;
    bool getMonitorMode() const override { return config_.monitorMode; }
    void setMonitorMode(bool on) override;
    bool getAnswerWithVideo() const override { return config_.answerWithVideo; }
    void setAnswerWithVideo(bool on) override;
    unsigned short getSpeakerVol() const override { return config_.speakerVolume; }
    void setSpeakerVol(unsigned short volume, bool notify) override;
    bool getExcludeFromNav() const override { return config_.excludeFromNav; }
    void setExcludeFromNav(bool on) override;
    void RingDoorChime() override;
    void setRingDoorbell(bool on) override;
    bool getRingDoorbell() const override { return config_.ringDoorbell; }
    dv::auto_com<DvXML::INode> PassToDriver(const ICmdMessage& message) override;
    std::string getIntercomName() override { return config_.name; }
    bool hasCamera() const override { return config_.camera; }
    bool hasDisplay() const override { return config_.display; }
    void StartSipCall(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                      const std::string& address) override;
    void StartSipMonitor(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                         const std::string& address) override;
    void StartSipBroadcast(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                           const std::vector<std::string>& addresses) override;
    void HangupSipSession(unsigned char session) override;
    void HoldSession(unsigned char session) override;
    void ResumeSession(unsigned char session) override;
    bool ActiveSipSession(unsigned char session) override { return calls_.Sessions().IsActive(session); }

    // CallParty; its other operations are private.
    const PanelConfig& Config() const override { return config_; }

    // For tests.
    SessionTable& Sessions() { return calls_.Sessions(); }
    Operations& Recorded() { return operations_; }

private:
    using Reply = dv::auto_com<DvXML::INode>;
    struct CommandRow;
    static const CommandRow kCommands[];

    // Commands, in PanelCommands.cpp
    Reply OnReqGetOperations(const ICmdMessage& message);
    Reply OnReqClearOperations(const ICmdMessage& message);
    Reply OnReqSetProperty(const ICmdMessage& message);
    Reply OnReqOpenSession(const ICmdMessage& message);
    Reply OnReqCloseSession(const ICmdMessage& message);
    Reply OnReqAddToAgent(const ICmdMessage& message);
    Reply OnReqRemoveFromAgent(const ICmdMessage& message);
    Reply OnReqNotifyChanged(const ICmdMessage& message);
    Reply OnReqReportCall(const ICmdMessage& message);
    Reply OnReqEndOfflineSession(const ICmdMessage& message);
    Reply OnReqAskAgent(const ICmdMessage& message);
    /// The agent, for a command that cannot do without; refuses the command when none is running.
    IIntercomAgent& RequireAgent() const;
    /// The parameter "id"; the panel's own id when it is absent.
    unsigned long IdOrOwn(const ICmdMessage& message) const;

    // CallParty
    std::vector<CallSimulation*> FindPeers(const std::string& intercomName) const override;
    IIntercomAgent* FindAgent() const override { return link_.Find(); }
    void ShowState(int state) override;
    void Log(unsigned int level, const std::string& text) const override;

    DvXML::INode& RecordStart(const char* operation, dvIntercom::MediaMode audio,
                              dvIntercom::MediaMode video);
    void RecordSession(const char* operation, unsigned char session);
    void RecordMessage(const char* operation, const ICmdMessage& message);
    /// The body of every setter: records the call, sets the value, and reports it if it changed.
    template <class Value>
    void Set(const char* operation, Value PanelConfig::*member, Value value,
             dvIntercom::DeviceProps property);
    void ChangeSetting(const PanelConfig::Row& row, const std::string& text);
    void CarryOutCall(const std::string& request);

    PanelConfig config_;
    Operations operations_;
    AgentLink link_;
    CallSimulation calls_;
    bool initialized_ = false;
    bool registrationDue_ = false;  // registerAtStart is set, but no agent was running yet
};

#endif
