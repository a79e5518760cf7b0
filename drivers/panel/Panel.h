// A panel: a full intercom device driver without hardware, for demonstrations, for authors of
// drivers, and for tests. docs/drivers.md describes its settings and commands.
#ifndef DRIVERS_PANEL_PANEL_H
#define DRIVERS_PANEL_PANEL_H

#include <string>
#include <vector>

#include "drivers/panel/AgentLink.h"
#include "drivers/panel/CallSimulation.h"
#include "drivers/panel/Operations.h"
#include "drivers/panel/PanelCommands.h"
#include "drivers/panel/PanelConfig.h"
#include "drivers/panel/SessionTable.h"
#include "host/glue/DvBaseDriver.h"
#include "host/interfaces/ISupportIntercom.h"

class Panel final : public DvBaseDriver, public ISupportIntercom {
public:
    static IDriver* Create(IInstanceManager& instanceManager);

    explicit Panel(IInstanceManager& instanceManager);
    ~Panel() override;

    // DvBaseDriver
    long QueryInterface(const std::string& id, void** out) override;
    long Initialize(unsigned long id, DvXML::INode& config, DvXML::INode* savedState) override;
    void OnDestroy() override;
    void RegisterCommands() override;

    // ISupportIntercom. Whatever is not a mere query is recorded.
    int getVersion() const override { return config_.version; }
    void requestToAddDevice() override;
    void disconnectAgent() override;
    /// Parameters, all optional: any setting that is a property of a device, by the name it has in
    /// the home file (the state also as "state"), and "call", which is "answer" or "hangup".
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
    bool ActiveSipSession(unsigned char session) override { return sessions_.IsActive(session); }

    // For the panel's own commands and calls.

    const PanelConfig& Config() const { return config_; }
    AgentLink& Link() { return link_; }
    SessionTable& Sessions() { return sessions_; }
    CallSimulation& Calls() { return calls_; }
    Operations& Recorded() { return operations_; }
    using DvBaseDriver::LogXMessage;

    /// Changes one setting and tells nobody. What is wrong with the value; empty when changed.
    std::string ChangeSilently(const PanelConfig::Row& row, const std::string& text);
    /// Sets the current state and tells the agent if it changed.
    void ShowState(int state);
    /// The other panels of this host that bear the intercom name, in the order of the home file.
    std::vector<Panel*> FindPanels(const std::string& intercomName) const;

private:
    DvXML::INode& RecordStart(const char* operation, dvIntercom::MediaMode audio,
                              dvIntercom::MediaMode video);
    void RecordSession(const char* operation, unsigned char session);
    void RecordMessage(const char* operation, const ICmdMessage& message);
    /// The body of every setter: records, changes, and tells the agent if it was a change.
    template <class Value>
    void Set(const char* operation, Value PanelConfig::*member, Value value,
             dvIntercom::DeviceProps property);
    void ChangeSetting(const PanelConfig::Row& row, const std::string& text);
    void CarryOut(const std::string& callRequest);

    PanelConfig config_;
    Operations operations_;
    SessionTable sessions_;
    AgentLink link_;
    CallSimulation calls_;
    PanelCommands commands_;
    bool initialized_ = false;
    bool registrationDue_ = false;  // registerAtStart, and no agent has been there yet
};

#endif
