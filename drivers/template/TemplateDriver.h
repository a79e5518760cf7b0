// The smallest complete intercom device driver: copy this folder to start a driver of your own.
//
// A driver has two sides. DvBaseDriver is the side that the host sees: start, end, commands.
// ISupportIntercom is the side that the intercom agent sees: what the device is and what it can
// do. This driver has no device; comments mark the places where a real one talks to its hardware.
//
// Home file:
//
//     <driver><id>201</id><name>study</name><library>template</library>
//       <config><key>study</key><name>Study</name></config>
//     </driver>
#ifndef DRIVERS_TEMPLATE_TEMPLATEDRIVER_H
#define DRIVERS_TEMPLATE_TEMPLATEDRIVER_H

#include <string>
#include <vector>

#include "host/glue/DvBaseDriver.h"
#include "host/interfaces/ISupportIntercom.h"

class IIntercomAgent;

class TemplateDriver final : public DvBaseDriver, public ISupportIntercom {
public:
    /// The factory that the plug-in exports. The host deletes the driver.
    static IDriver* Create(IInstanceManager& instanceManager);

    explicit TemplateDriver(IInstanceManager& instanceManager);
    ~TemplateDriver() override;

    // DvBaseDriver: what the host asks
    long QueryInterface(const std::string& id, void** out) override;
    long Initialize(unsigned long id, DvXML::INode& config, DvXML::INode* savedState) override;
    void OnDestroy() override;
    void RegisterCommands() override;

    // ISupportIntercom: meeting and leaving the agent
    void requestToAddDevice() override;
    void disconnectAgent() override;
    void updateSipInfoFromDriver(const std::string& sipProxyAddress) override;

    // ISupportIntercom: what the device is
    int getVersion() const override { return 2; }
    unsigned long getDeviceId() const override { return DvBaseDriver::GetDeviceId(); }
    std::string getIntercomName() override { return intercomName_; }
    bool isDoorStation() const override { return false; }
    bool is3rdParty() const override { return false; }
    bool hasCamera() const override { return false; }
    bool hasDisplay() const override { return false; }

    // ISupportIntercom: its settings
    void setDeviceState(const ICmdMessage& message) override;
    bool getDnD() const override { return dnd_; }
    void setDnD(bool on) override;
    int getCurrentState() const override { return 0; }
    void setCurrentState(int) override {}
    bool getAutoAnswer() const override { return false; }
    void setAutoAnswer(bool) override {}
    bool getMonitorMode() const override { return false; }
    void setMonitorMode(bool) override {}
    bool getAnswerWithVideo() const override { return false; }
    void setAnswerWithVideo(bool) override {}
    unsigned short getSpeakerVol() const override { return 0; }
    void setSpeakerVol(unsigned short, bool) override {}
    bool getExcludeFromNav() const override { return false; }
    void setExcludeFromNav(bool) override {}
    void RingDoorChime() override {}
    bool getRingDoorbell() const override { return false; }
    void setRingDoorbell(bool) override {}

    // ISupportIntercom: calls
    void StartSipCall(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                      const std::string& address) override;
    void StartSipMonitor(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                         const std::string& address) override;
    void StartSipBroadcast(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                           const std::vector<std::string>& addresses) override;
    unsigned char findSessionId(const std::string& key) override;
    void HangupSipSession(unsigned char session) override;
    void HoldSession(unsigned char) override {}
    void ResumeSession(unsigned char) override {}
    bool ActiveSipSession(unsigned char session) override;

private:
    /// The agent, or null while none is running. Ask each time and never keep the pointer: the agent
    /// may be restarted between any two calls.
    IIntercomAgent* FindAgent() const;
    void AddToAgent();
    void Withdraw();

    dv::auto_com<DvXML::INode> OnReqGetSipProxy(const ICmdMessage& message);

    std::string intercomName_;
    std::string sipProxyAddress_;
    bool dnd_ = false;
    bool registered_ = false;  // the agent has a pointer to this driver
};

#endif
