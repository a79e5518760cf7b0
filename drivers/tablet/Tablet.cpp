#include "drivers/tablet/Tablet.h"

#include <utility>

#include "drivers/calls/DeviceConfig.h"
#include "host/glue/Log.h"
#include "host/interfaces/InterfaceIds.h"

using telephony::Event;
using telephony::EventKind;

namespace {

constexpr int kBusy = 486;
// Less than a ping and its way takes nobody alive; after more, call control has long missed the sound.
constexpr std::chrono::milliseconds kShortestSilence(1500);
constexpr std::chrono::milliseconds kLongestSilence(3'600'000);

}  // namespace

IDriver* Tablet::Create(IInstanceManager& instanceManager) {
    return new Tablet(instanceManager);
}

Tablet::Tablet(IInstanceManager& instanceManager) : Tablet(instanceManager, Times()) {}

Tablet::Tablet(IInstanceManager& instanceManager, Times times)
    : CallingDevice(instanceManager),
      times_(times),
      pages_(instanceManager, times.grace),
      pageCalls_(*this, Calls(), pages_, times.calls) {}

long Tablet::QueryInterface(const std::string& id, void** out) {
    if (id != ReaderSinkInterfaceId || !out) return CallingDevice::QueryInterface(id, out);
    *out = static_cast<IReaderSink*>(this);
    return 0;
}

long Tablet::Initialize(unsigned long id, DvXML::INode& element, DvXML::INode* savedState) {
    DvBaseDriver::Initialize(id, element, savedState);
    DeviceConfig config;
    ConfigReaders readers = config.Readers();
    auto silence = times_.calls.silence;
    readers["home"] = IntoText(home_);
    readers["silence"] = IntoTime(silence, kShortestSilence, kLongestSilence);
    ReadChildren(element, readers);
    config.Complete();
    pageCalls_.SetSilence(silence);
    key = config.key;
    name = config.name;
    user = config.user;
    mayBeMonitored_ = config.mayBeMonitored;

    Identity identity;
    identity.camera = config.camera;
    identity.display = config.display;
    identity.device.user = config.user;
    identity.device.name = config.name;
    identity.device.mayBeMonitored = config.mayBeMonitored;
    identity.device.page = true;
    identity.callControl = config.callControl;
    identity.times = times_.callControl;
    alarm_ = std::make_unique<Alarm>(GetInstanceManager(), [this] { OnTime(); });
    StartDevice(std::move(identity), config.settings, savedState);
    return 0;
}

void Tablet::OnDestroy() {
    alarm_.reset();
    CallingDevice::OnDestroy();
}

void Tablet::RingDoorChime() {
    Log(dv::LOG_LEVEL_INFO,
        "the pages of a tablet ring when they are called; they have no chime beside that");
}

bool Tablet::CarryOutCall(const std::string& request) {
    if (request != "answer") return CallingDevice::CarryOutCall(request);
    Log(dv::LOG_LEVEL_ERROR,
        "setDeviceState: a page cannot be told to answer from outside; answer there, or have it called "
        "without "
        "ringing");
    return true;
}

// It has no other way to learn its number.
void Tablet::OnReaderOpened(unsigned long reader) {
    pages_.Open(reader);
    const auto element = DvXML::CreateXmlNode("opened", "");
    element->NodeSetAttribute("reader", std::to_string(reader));
    GetInstanceManager().SendDataToReader(reader, *element);
}

void Tablet::OnReaderClosed(unsigned long reader) {
    pages_.Close(reader, std::chrono::steady_clock::now());
    Settle();
}

void Tablet::OnTime() {
    const auto now = std::chrono::steady_clock::now();
    for (const unsigned long reader : pages_.TakeGone(now)) {
        LogXMessage(dv::LOG_LEVEL_INFO, "page %lu is gone: its stream has ended", reader);
        pageCalls_.OnPageGone(reader);
    }
    pageCalls_.OnTime(now);
    Settle();
}

// Call control hears of it first: what it ends with that is then known when the agent asks.
void Tablet::Settle() {
    const bool isThere = pages_.IsAnybodyThere();
    if (std::exchange(isThere_, isThere) != isThere) {
        pageCalls_.TellPresence(isThere);
        Calls().SetPresent(isThere);
    }
    auto next = pages_.NextTime();
    const auto due = pageCalls_.NextTime();
    if (due && (!next || *due < *next)) next = due;
    if (alarm_) alarm_->Set(next);
}

void Tablet::OnCallControlEvent(const Event& event) {
    if (IsDisturbedBy(event)) {
        pageCalls_.Reject(event.id, kBusy, "Do not disturb");
        return;
    }
    if (event.kind == EventKind::Refused && PageCalls::IsOfPage(event))
        LogXMessage(dv::LOG_LEVEL_ERROR, "call control refuses: %s (%d)", event.reason.c_str(), event.code);
    else
        CallingDevice::OnCallControlEvent(event);
    pageCalls_.OnEvent(event);
    Settle();
}

// Phones are spared by the proxy, which pages never meet.
bool Tablet::IsDisturbedBy(const Event& event) const {
    return event.kind == EventKind::PageInvite && event.page.role == telephony::LegRole::Callee && getDnD();
}

void Tablet::OnCallControlLost(const std::string& reason) {
    CallingDevice::OnCallControlLost(reason);
    pageCalls_.OnCallControlLost(reason);
    Settle();
}

bool Tablet::SendToCallControl(const telephony::Command& command) {
    const bool isSent = CallingDevice::SendToCallControl(command);
    if (command.kind == telephony::CommandKind::Call) pageCalls_.OnOrder(command, isSent);
    return isSent;
}

void Tablet::OnSettingsChanged() {
    pages_.SendAll(*SettingsToXml());
}

Tablet::Reply Tablet::SettingsToXml() const {
    auto element = DvXML::CreateXmlNode("settings", "");
    for (const DeviceSettings::Row& row : DeviceSettings::Rows()) {
        if (const auto* const flag = std::get_if<bool DeviceSettings::*>(&row.member))
            element->NodeSetBoolAttribute(row.name, Settings().**flag);
        else
            element->NodeSetAttribute(
                row.name, std::to_string(Settings().*std::get<unsigned short DeviceSettings::*>(row.member)));
    }
    return element;
}

Tablet::Reply Tablet::Welcome(unsigned long reader) {
    auto element = DvXML::CreateXmlNode("welcome", "");
    element->NodeSetAttribute("reader", std::to_string(reader));
    element->NodeSetAttribute("device", std::to_string(getDeviceId()));
    element->NodeSetAttribute("key", key);
    element->NodeSetAttribute("name", name);
    element->NodeSetBoolAttribute("camera", hasCamera());
    element->NodeSetBoolAttribute("display", hasDisplay());
    element->NodeSetBoolAttribute("mayBeMonitored", mayBeMonitored_);
    element->NodeSetAttribute("home", home_);
    element->NodeAddChild(SettingsToXml().get());
    pageCalls_.AddTo(*element);
    return element;
}
