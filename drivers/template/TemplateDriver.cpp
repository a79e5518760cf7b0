#include "drivers/template/TemplateDriver.h"

#include <boost/bind/bind.hpp>
#include <exception>
#include <utility>

#include "host/glue/Log.h"
#include "host/glue/Numbers.h"
#include "host/interfaces/IIntercomAgent.h"
#include "host/interfaces/InterfaceIds.h"

IDriver* TemplateDriver::Create(IInstanceManager& instanceManager) {
    return new TemplateDriver(instanceManager);
}

TemplateDriver::TemplateDriver(IInstanceManager& instanceManager)
    : DvBaseDriver(instanceManager, DRIVER_MULTIPLE) {}

// The agent finds intercom device drivers through this answer. The cast matters, because whoever asks
// uses the pointer as an ISupportIntercom*.
long TemplateDriver::QueryInterface(const std::string& id, void** out) {
    if (id != IntercomDeviceInterfaceId || !out) return DvBaseDriver::QueryInterface(id, out);
    *out = static_cast<ISupportIntercom*>(this);
    return 0;
}

// A real driver opens its connection to the device here, before it registers: from AddIntercomDevice
// on, the agent may call any operation of ISupportIntercom.
long TemplateDriver::Initialize(unsigned long id, DvXML::INode& config, DvXML::INode* savedState) {
    DvBaseDriver::Initialize(id, config, savedState);
    key = config.NodeGetNamedValue("key");
    intercomName_ = config.NodeGetNamedValue("name");
    AddToAgent();
    return 0;
}

// A real driver closes its connection here, after it has removed the device from the agent.
void TemplateDriver::OnDestroy() {
    Withdraw();
    DvBaseDriver::OnDestroy();
}

// A driver that failed in Initialize or in OnDestroy may still be registered.
TemplateDriver::~TemplateDriver() {
    try {
        Withdraw();
    } catch (const std::exception& error) {
        LogXMessage(dv::LOG_LEVEL_ERROR, "withdrawn from the agent, but another driver failed: %s",
                    error.what());
    }
}

void TemplateDriver::Withdraw() {
    IIntercomAgent* const agent = FindAgent();
    if (std::exchange(registered_, false) && agent) agent->OnDeviceRemoved(getDeviceId());
}

// A UI command answers with an element. RegisterCmd1 registers plain commands, which have no answer.
void TemplateDriver::RegisterCommands() {
    GetUICmdDispatcher().RegisterUICmd(
        "getSipProxy", boost::bind(&TemplateDriver::OnReqGetSipProxy, this, boost::placeholders::_1),
        "the SIP proxy address that the agent handed over");
}

dv::auto_com<DvXML::INode> TemplateDriver::OnReqGetSipProxy(const ICmdMessage&) {
    return DvXML::CreateXmlNode("sipProxy", sipProxyAddress_);
}

IIntercomAgent* TemplateDriver::FindAgent() const {
    return static_cast<IIntercomAgent*>(GetInstanceManager().InstanceFindInterface(IntercomAgentInterfaceId));
}

// Without an agent there is nothing to do: when one starts, it calls requestToAddDevice.
void TemplateDriver::AddToAgent() {
    IIntercomAgent* const agent = FindAgent();
    if (!agent) return;
    registered_ = true;
    agent->AddIntercomDevice(getDeviceId(), this);
}

void TemplateDriver::requestToAddDevice() {
    AddToAgent();
}

// The agent forgets the device by itself: do not call OnDeviceRemoved here.
void TemplateDriver::disconnectAgent() {
    registered_ = false;
}

// A real driver registers its device with the proxy at this address.
void TemplateDriver::updateSipInfoFromDriver(const std::string& sipProxyAddress) {
    sipProxyAddress_ = sipProxyAddress;
}

// Apart from "idDevice", the driver chooses the parameters of setDeviceState.
void TemplateDriver::setDeviceState(const ICmdMessage& message) {
    if (message.HasParameter("dnd")) setDnD(dv::ParseBool(message.GetString("dnd")));
}

// Reports a changed setting, so that user interfaces show it.
void TemplateDriver::setDnD(bool on) {
    if (dnd_ == on) return;
    dnd_ = on;
    if (IIntercomAgent* const agent = FindAgent())
        agent->OnDeviceChanged(getDeviceId(), dvIntercom::DEVICE_DND);
}

// A real driver makes its device place the call, and reports it with IIntercomAgent::AddRecentContact
// when it has ended.
void TemplateDriver::StartSipCall(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                                  const std::string& address) {
    LogXMessage(dv::LOG_LEVEL_INFO, "call to %s, audio %d, video %d", address.c_str(), audio, video);
}

void TemplateDriver::StartSipMonitor(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                                     const std::string& address) {
    LogXMessage(dv::LOG_LEVEL_INFO, "monitor %s, audio %d, video %d", address.c_str(), audio, video);
}

void TemplateDriver::StartSipBroadcast(dvIntercom::MediaMode audio, dvIntercom::MediaMode video,
                                       const std::vector<std::string>& addresses) {
    LogXMessage(dv::LOG_LEVEL_INFO, "broadcast to %zu devices, audio %d, video %d", addresses.size(), audio,
                video);
}

// A real driver returns the number, 0 to 254, of its device's session with the device of that key.
unsigned char TemplateDriver::findSessionId(const std::string&) {
    return dvIntercom::NO_SESSION;
}

void TemplateDriver::HangupSipSession(unsigned char session) {
    LogXMessage(dv::LOG_LEVEL_INFO, "hang up session %d", session);
}

bool TemplateDriver::ActiveSipSession(unsigned char) {
    return false;
}
