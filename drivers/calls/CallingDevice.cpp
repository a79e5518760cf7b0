#include "drivers/calls/CallingDevice.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <limits>
#include <utility>

#include "drivers/calls/CallState.h"
#include "drivers/calls/Values.h"
#include "host/glue/Log.h"
#include "host/interfaces/IIntercomAgent.h"
#include "host/interfaces/InterfaceIds.h"

using namespace dvIntercom;
using telephony::CallKind;
using telephony::Direction;

namespace {

constexpr char kStateElement[] = "callingDevice";
// Where call control's socket is, for a device whose configuration does not tell.
constexpr char kSocketVariable[] = "INTERCOM_CALLCONTROL_SOCKET";

std::optional<Direction> DirectionOf(MediaMode mode) {
    switch (mode) {
        case MEDIA_SEND_RECEIVE:
            return Direction::Both;
        case MEDIA_SEND_ONLY:
            return Direction::Send;
        case MEDIA_RECEIVE_ONLY:
            return Direction::Receive;
        case MEDIA_NONE:
            return Direction::None;
    }
    return std::nullopt;
}

std::string Text(const DeviceSettings& settings, const DeviceSettings::Row& row) {
    return std::visit([&](auto member) { return std::to_string(settings.*member); }, row.member);
}

}  // namespace

const std::vector<DeviceSettings::Row>& DeviceSettings::Rows() {
    static const std::vector<Row> rows = {
        {"dnd", &DeviceSettings::dnd, DEVICE_DND},
        {"autoAnswer", &DeviceSettings::autoAnswer, DEVICE_AUTO_ANSWER},
        {"monitorMode", &DeviceSettings::monitorMode, DEVICE_MONITOR_MODE},
        {"answerWithVideo", &DeviceSettings::answerWithVideo, DEVICE_SEND_VIDEO},
        {"excludeFromNav", &DeviceSettings::excludeFromNav, DEVICE_EXCLUDE_NAV},
        {"ringDoorbell", &DeviceSettings::ringDoorbell, DEVICE_RING_TONE},
        {"speakerVolume", &DeviceSettings::speakerVolume, DEVICE_VOLUME},
    };
    return rows;
}

std::string DeviceSettings::Change(const Row& row, const std::string& text) {
    if (const auto* const flag = std::get_if<bool DeviceSettings::*>(&row.member)) {
        const auto value = Values::ReadFlag(text);
        if (!value) return std::string(row.name) + " must be true or false, not \"" + text + "\"";
        this->** flag = *value;
        return "";
    }
    constexpr unsigned short kMost = std::numeric_limits<unsigned short>::max();
    const auto value = Values::ReadWhole(text, 0, kMost);
    if (!value)
        return std::string(row.name) + " must be a number from 0 to " + std::to_string(kMost) + ", not \"" +
               text + "\"";
    this->*std::get<unsigned short DeviceSettings::*>(row.member) = static_cast<unsigned short>(*value);
    return "";
}

CallingDevice::CallingDevice(IInstanceManager& instanceManager)
    : DvBaseDriver(instanceManager, DRIVER_MULTIPLE),
      link_(instanceManager, *this),
      calls_(*this),
      state_(kStateAway) {}

// A driver that failed in Initialize or in OnDestroy may still be registered.
CallingDevice::~CallingDevice() {
    callControl_.reset();
    while (!link_.Ids().empty()) {
        try {
            link_.Withdraw();
        } catch (const std::exception& error) {
            LogXMessage(dv::LOG_LEVEL_ERROR, "withdrawn from the agent, but another driver failed: %s",
                        error.what());
        }
    }
}

long CallingDevice::QueryInterface(const std::string& id, void** out) {
    if (id != IntercomDeviceInterfaceId || !out) return DvBaseDriver::QueryInterface(id, out);
    *out = static_cast<ISupportIntercom*>(this);
    return 0;
}

// Registers last, because from then on the agent calls the device.
void CallingDevice::StartDevice(Identity identity, DeviceSettings settings, const DvXML::INode* savedState) {
    identity_ = std::move(identity);
    settings_ = settings;
    if (savedState)
        for (const DeviceSettings::Row& row : DeviceSettings::Rows())
            if (const DvXML::INode* const saved = savedState->NodeFindChild(row.name))
                if (const std::string fault = settings_.Change(row, std::string(saved->NodeGetText()));
                    !fault.empty())
                    Log(dv::LOG_LEVEL_ERROR, "saved state: " + fault);
    if (const char* const socket = std::getenv(kSocketVariable); socket && identity_.callControl.empty())
        identity_.callControl = socket;
    if (identity_.callControl.empty())
        Log(dv::LOG_LEVEL_ERROR,
            "no call control is given: set <callControl> or INTERCOM_CALLCONTROL_SOCKET to the path of its "
            "socket. Until then this device can start no calls");
    CallControlUser& listener = *this;
    if (!identity_.callControl.empty())
        callControl_ = std::make_unique<CallControlLink>(
            GetInstanceManager(), listener, identity_.callControl, identity_.device, identity_.times);
    initialized_ = true;
    link_.Add(getDeviceId());
}

void CallingDevice::OnDestroy() {
    callControl_.reset();
    link_.Withdraw();
    DvBaseDriver::OnDestroy();
}

// Before Initialize there are no settings: then the root element alone tells whose document it is.
dv::auto_com<DvXML::INode> CallingDevice::GetPersistState(unsigned long) {
    auto state = DvXML::CreateXmlNode(kStateElement, "");
    if (initialized_)
        for (const DeviceSettings::Row& row : DeviceSettings::Rows())
            state->NodeAddNamedValue(row.name, Text(settings_, row));
    return state;
}

// The agent may ask before Initialize, which registers anyway.
void CallingDevice::requestToAddDevice() {
    if (initialized_) link_.Add(getDeviceId());
}

void CallingDevice::disconnectAgent() {
    link_.Forget();
}

void CallingDevice::updateSipInfoFromDriver(const std::string& sipProxyAddress) {
    sipProxy_ = sipProxyAddress;
}

// ---- settings

void CallingDevice::setDeviceState(const ICmdMessage& message) {
    for (const DeviceSettings::Row& row : DeviceSettings::Rows())
        if (message.HasParameter(row.name)) ChangeSetting(row, message.GetString(row.name));
    if (message.HasParameter("state")) {
        constexpr std::int64_t kLeast = std::numeric_limits<int>::min();
        constexpr std::int64_t kMost = std::numeric_limits<int>::max();
        const auto state = Values::ReadWhole(message.GetString("state"), kLeast, kMost);
        if (state)
            setCurrentState(static_cast<int>(*state));
        else
            Log(dv::LOG_LEVEL_ERROR,
                "setDeviceState: state must be a number, not \"" + message.GetString("state") + "\"");
    }
    if (!message.HasParameter("call")) return;
    const std::string& request = message.GetString("call");
    if (!CarryOutCall(request)) Log(dv::LOG_LEVEL_INFO, "setDeviceState: no call to " + request);
}

bool CallingDevice::CarryOutCall(const std::string& request) {
    if (request == "hangup") return calls_.HangUpAll();
    if (request == "hold" || request == "resume") return calls_.SetAllHeld(request == "hold");
    Log(dv::LOG_LEVEL_ERROR, "setDeviceState: call must be hangup, hold or resume, not \"" + request + "\"");
    return true;
}

void CallingDevice::ChangeSetting(const DeviceSettings::Row& row, const std::string& text) {
    const std::string before = Text(settings_, row);
    const std::string fault = settings_.Change(row, text);
    if (!fault.empty()) return Log(dv::LOG_LEVEL_ERROR, "setDeviceState: " + fault);
    if (Text(settings_, row) == before) return;
    DmInvalidateState();
    OnSettingsChanged();
    link_.NotifyChanged(row.property);
}

template <class Value>
void CallingDevice::Set(Value DeviceSettings::*member, Value value, DeviceProps property) {
    if (settings_.*member == value) return;
    settings_.*member = value;
    DmInvalidateState();
    OnSettingsChanged();
    link_.NotifyChanged(property);
}

void CallingDevice::setDnD(bool on) {
    Set(&DeviceSettings::dnd, on, DEVICE_DND);
}

void CallingDevice::setAutoAnswer(bool on) {
    Set(&DeviceSettings::autoAnswer, on, DEVICE_AUTO_ANSWER);
}

void CallingDevice::setMonitorMode(bool on) {
    Set(&DeviceSettings::monitorMode, on, DEVICE_MONITOR_MODE);
}

void CallingDevice::setAnswerWithVideo(bool on) {
    Set(&DeviceSettings::answerWithVideo, on, DEVICE_SEND_VIDEO);
}

void CallingDevice::setExcludeFromNav(bool on) {
    Set(&DeviceSettings::excludeFromNav, on, DEVICE_EXCLUDE_NAV);
}

void CallingDevice::setRingDoorbell(bool on) {
    Set(&DeviceSettings::ringDoorbell, on, DEVICE_RING_TONE);
}

void CallingDevice::setSpeakerVol(unsigned short volume, bool notify) {
    if (std::exchange(settings_.speakerVolume, volume) != volume) {
        DmInvalidateState();
        OnSettingsChanged();
    }
    if (notify) link_.NotifyChanged(DEVICE_VOLUME);
}

void CallingDevice::setCurrentState(int state) {
    idleState_ = state;
    OnStateChanged();
}

void CallingDevice::OnStateChanged() {
    const int state = calls_.State().value_or(calls_.IsPresent() ? idleState_ : kStateAway);
    if (std::exchange(state_, state) != state) link_.NotifyChanged(DEVICE_CURRENT_STATE);
}

// ---- calls

void CallingDevice::StartSipCall(MediaMode audio, MediaMode video, const std::string& address) {
    StartCall(CallKind::Regular, audio, video, {address});
}

void CallingDevice::StartSipMonitor(MediaMode audio, MediaMode video, const std::string& address) {
    StartCall(CallKind::Monitor, audio, video, {address});
}

void CallingDevice::StartSipBroadcast(MediaMode audio, MediaMode video,
                                      const std::vector<std::string>& addresses) {
    StartCall(CallKind::Broadcast, audio, video, addresses);
}

void CallingDevice::StartCall(CallKind kind, MediaMode audio, MediaMode video,
                              const std::vector<std::string>& addresses) {
    DeviceCalls::Order order;
    order.kind = kind;
    order.ring = audio != MEDIA_WITHOUT_RING;
    order.audio = DirectionOf(audio).value_or(order.ring ? Direction::None : Direction::Both);
    order.video = DirectionOf(video).value_or(Direction::None);
    if (order.audio == Direction::None && order.video == Direction::None)
        return Log(dv::LOG_LEVEL_ERROR, "no call to " + (addresses.empty() ? "" : addresses.front()) +
                                            ": neither sound nor picture is wanted");
    for (const std::string& address : addresses)
        AddPeers(order, address);
    if (!order.peers.empty()) calls_.Start(order);
}

// Nobody is called twice, and nobody calls himself.
void CallingDevice::AddPeers(DeviceCalls::Order& order, const std::string& address) {
    const Directory directory(link_.Find());
    const Destination destination = directory.Resolve(address, sipProxy_);
    std::string fault = destination.fault;
    const std::size_t before = order.peers.size();
    std::size_t taken = 0;
    for (const Peer& peer : destination.peers) {
        const bool isSelf = peer.user == User();
        const bool isTwice = std::ranges::find(order.peers, peer.user, &Peer::user) != order.peers.end();
        if (isSelf) continue;
        ++taken;
        if (!isTwice) order.peers.push_back(peer);
    }
    if (fault.empty() && order.kind == CallKind::Monitor && destination.isGroup)
        fault = "a group cannot be monitored";
    if (fault.empty() && taken == 0) fault = "it is this device itself";
    if (!fault.empty()) {
        order.peers.resize(before);
        return Log(dv::LOG_LEVEL_ERROR, "no call to " + address + ": " + fault);
    }
    if (destination.isGroup) order.called = destination.name;
    const bool answers = !destination.isGroup && destination.peers.front().autoAnswer;
    if (order.kind == CallKind::Regular && answers) order.ring = false;
}

void CallingDevice::HangupSipSession(unsigned char session) {
    if (!calls_.HangUp(session)) ReportNoSession("HangupSipSession", session);
}

void CallingDevice::HoldSession(unsigned char session) {
    if (!calls_.SetHeld(session, true)) ReportNoSession("HoldSession", session);
}

void CallingDevice::ResumeSession(unsigned char session) {
    if (!calls_.SetHeld(session, false)) ReportNoSession("ResumeSession", session);
}

void CallingDevice::ReportNoSession(const char* operation, unsigned char session) const {
    LogXMessage(dv::LOG_LEVEL_INFO, "%s: there is no session %d", operation, session);
}

bool CallingDevice::SendToCallControl(const telephony::Command& command) {
    return callControl_ && callControl_->Send(command);
}

void CallingDevice::OnCallControlEvent(const telephony::Event& event) {
    if (!std::exchange(connected_, true)) Log(dv::LOG_LEVEL_INFO, "call control is there");
    calls_.OnEvent(event);
}

void CallingDevice::OnCallControlLost(const std::string& reason) {
    connected_ = false;
    calls_.OnLost(reason);
}

void CallingDevice::Log(unsigned int level, const std::string& text) const {
    LogXMessage(level, "%s", text.c_str());
}
