#include "drivers/panel/Panel.h"

#include "host/glue/Log.h"
#include "host/interfaces/IDriverManager.h"
#include "host/interfaces/InterfaceIds.h"

using dvIntercom::DeviceProps;
using dvIntercom::MediaMode;

IDriver* Panel::Create(IInstanceManager& instanceManager) {
    return new Panel(instanceManager);
}

Panel::Panel(IInstanceManager& instanceManager)
    : DvBaseDriver(instanceManager, DRIVER_MULTIPLE), link_(instanceManager, *this), calls_(*this) {}

// A panel that failed in Initialize or in OnDestroy may still be registered.
Panel::~Panel() {
    while (!link_.Ids().empty()) {
        try {
            link_.Withdraw();
        } catch (const std::exception& error) {
            LogXMessage(dv::LOG_LEVEL_ERROR, "withdrawn from the agent, but another driver failed: %s",
                        error.what());
        }
    }
}

long Panel::QueryInterface(const std::string& id, void** out) {
    if (id != IntercomDeviceInterfaceId || !out) return DvBaseDriver::QueryInterface(id, out);
    *out = static_cast<ISupportIntercom*>(this);
    return 0;
}

// Registers last, because from then on the agent calls the panel.
long Panel::Initialize(unsigned long id, DvXML::INode& config, DvXML::INode* savedState) {
    DvBaseDriver::Initialize(id, config, savedState);
    config_.Read(config,
                 [this](const std::string& fault) { LogXMessage(dv::LOG_LEVEL_ERROR, "%s", fault.c_str()); });
    key = config_.key;
    initialized_ = true;
    registrationDue_ = config_.registerAtStart && !link_.Add(getDeviceId());
    return 0;
}

void Panel::OnDestroy() {
    calls_.HangUpAll();
    link_.Withdraw();
    DvBaseDriver::OnDestroy();
}

// The agent may ask before Initialize, which registers anyway.
void Panel::requestToAddDevice() {
    operations_.Add("requestToAddDevice");
    if (!initialized_ || (!config_.answerRequests && !registrationDue_)) return;
    registrationDue_ = !link_.Add(getDeviceId());
}

void Panel::disconnectAgent() {
    operations_.Add("disconnectAgent");
    link_.Forget();
}

void Panel::setDeviceState(const ICmdMessage& message) {
    RecordMessage("setDeviceState", message);
    if (!config_.simulateCalls) return;
    for (const PanelConfig::Row& row : PanelConfig::Rows()) {
        if (row.property && message.HasParameter(row.name)) ChangeSetting(row, message.GetString(row.name));
    }
    if (message.HasParameter("state"))
        ChangeSetting(*PanelConfig::FindRow("currentState"), message.GetString("state"));
    if (message.HasParameter("call")) CarryOutCall(message.GetString("call"));
}

void Panel::ChangeSetting(const PanelConfig::Row& row, const std::string& text) {
    PanelConfig changed = config_;
    const std::string fault = changed.Change(row, text);
    if (!fault.empty()) return LogXMessage(dv::LOG_LEVEL_ERROR, "setDeviceState: %s", fault.c_str());
    const bool same = std::visit([&](auto member) { return changed.*member == config_.*member; }, row.member);
    config_ = changed;
    if (!same) link_.NotifyChanged(*row.property);
}

void Panel::CarryOutCall(const std::string& request) {
    if (request == "answer" || request == "hangup") {
        const bool done = request == "answer" ? calls_.Answer() : calls_.HangUpAll();
        if (!done) LogXMessage(dv::LOG_LEVEL_INFO, "setDeviceState: no call to %s", request.c_str());
        return;
    }
    LogXMessage(dv::LOG_LEVEL_ERROR, "setDeviceState: call must be answer or hangup, not \"%s\"",
                request.c_str());
}

unsigned char Panel::findSessionId(const std::string& remote) {
    operations_.Add("findSessionId").NodeAddNamedValue("remote", remote);
    return calls_.Sessions().Find(remote);
}

void Panel::updateSipInfoFromDriver(const std::string& sipProxyAddress) {
    operations_.Add("updateSipInfoFromDriver").NodeAddNamedValue("address", sipProxyAddress);
}

template <class Value>
void Panel::Set(const char* operation, Value PanelConfig::*member, Value value, DeviceProps property) {
    DvXML::INode& record = operations_.Add(operation);
    if constexpr (std::is_same_v<Value, bool>)
        record.NodeAddNamedBool("on", value);
    else
        record.NodeAddNamedInt("state", value);
    if (config_.*member == value) return;
    config_.*member = value;
    link_.NotifyChanged(property);
}

void Panel::setDnD(bool on) {
    Set("setDnD", &PanelConfig::dnd, on, dvIntercom::DEVICE_DND);
}

void Panel::setCurrentState(int state) {
    Set("setCurrentState", &PanelConfig::currentState, state, dvIntercom::DEVICE_CURRENT_STATE);
}

void Panel::setAutoAnswer(bool on) {
    Set("setAutoAnswer", &PanelConfig::autoAnswer, on, dvIntercom::DEVICE_AUTO_ANSWER);
}

void Panel::setMonitorMode(bool on) {
    Set("setMonitorMode", &PanelConfig::monitorMode, on, dvIntercom::DEVICE_MONITOR_MODE);
}

void Panel::setAnswerWithVideo(bool on) {
    Set("setAnswerWithVideo", &PanelConfig::answerWithVideo, on, dvIntercom::DEVICE_SEND_VIDEO);
}

void Panel::setExcludeFromNav(bool on) {
    Set("setExcludeFromNav", &PanelConfig::excludeFromNav, on, dvIntercom::DEVICE_EXCLUDE_NAV);
}

void Panel::setRingDoorbell(bool on) {
    Set("setRingDoorbell", &PanelConfig::ringDoorbell, on, dvIntercom::DEVICE_RING_TONE);
}

void Panel::setSpeakerVol(unsigned short volume, bool notify) {
    DvXML::INode& record = operations_.Add("setSpeakerVol");
    record.NodeAddNamedInt("volume", volume);
    record.NodeAddNamedBool("notify", notify);
    config_.speakerVolume = volume;
    if (notify) link_.NotifyChanged(dvIntercom::DEVICE_VOLUME);
}

void Panel::RingDoorChime() {
    operations_.Add("RingDoorChime");
}

dv::auto_com<DvXML::INode> Panel::PassToDriver(const ICmdMessage& message) {
    RecordMessage("PassToDriver", message);
    if (message.GetName() != "GET_CUSTOM_BUTTON") return nullptr;
    return config_.buttons;
}

void Panel::StartSipCall(MediaMode audio, MediaMode video, const std::string& address) {
    RecordStart("StartSipCall", audio, video).NodeAddNamedValue("address", address);
    if (config_.simulateCalls) calls_.Start(CallKind::Regular, {address});
}

void Panel::StartSipMonitor(MediaMode audio, MediaMode video, const std::string& address) {
    RecordStart("StartSipMonitor", audio, video).NodeAddNamedValue("address", address);
    if (config_.simulateCalls) calls_.Start(CallKind::Monitor, {address});
}

void Panel::StartSipBroadcast(MediaMode audio, MediaMode video, const std::vector<std::string>& addresses) {
    DvXML::INode& record = RecordStart("StartSipBroadcast", audio, video);
    for (const std::string& address : addresses)
        record.NodeAddNamedValue("address", address);
    if (config_.simulateCalls) calls_.Start(CallKind::Broadcast, addresses);
}

// A session without a simulated call is one that the command openSession opened.
void Panel::HangupSipSession(unsigned char session) {
    RecordSession("HangupSipSession", session);
    if (config_.simulateCalls && !calls_.HangUp(session)) calls_.Sessions().CloseNumber(session);
}

void Panel::HoldSession(unsigned char session) {
    RecordSession("HoldSession", session);
    if (config_.simulateCalls) calls_.Sessions().SetHeld(session, true);
}

void Panel::ResumeSession(unsigned char session) {
    RecordSession("ResumeSession", session);
    if (config_.simulateCalls) calls_.Sessions().SetHeld(session, false);
}

void Panel::ShowState(int state) {
    if (config_.currentState == state) return;
    config_.currentState = state;
    link_.NotifyChanged(dvIntercom::DEVICE_CURRENT_STATE);
}

// The devices that are found belong to any kind of driver; only panels can be called without a network.
std::vector<CallSimulation*> Panel::FindPeers(const std::string& intercomName) const {
    std::vector<ISupportIntercom*> devices;
    GetDriverManager().DriverManagerFindByInterface(0, IntercomDeviceInterfaceId, devices);
    std::vector<CallSimulation*> peers;
    for (ISupportIntercom* const device : devices) {
        Panel* const panel = dynamic_cast<Panel*>(device);
        if (panel && panel != this && panel->config_.name == intercomName) peers.push_back(&panel->calls_);
    }
    return peers;
}

void Panel::Log(unsigned int level, const std::string& text) const {
    LogXMessage(level, "%s", text.c_str());
}

DvXML::INode& Panel::RecordStart(const char* operation, MediaMode audio, MediaMode video) {
    DvXML::INode& record = operations_.Add(operation);
    record.NodeAddNamedInt("audio", audio);
    record.NodeAddNamedInt("video", video);
    return record;
}

void Panel::RecordSession(const char* operation, unsigned char session) {
    operations_.Add(operation).NodeAddNamedInt("session", session);
}

void Panel::RecordMessage(const char* operation, const ICmdMessage& message) {
    operations_.Add(operation).NodeAddChild(message.ToXml().get());
}
