#include "drivers/phone/Phone.h"

#include <utility>

#include "host/glue/Log.h"

namespace {

// The same for every device, so that digests survive another address of the proxy.
constexpr char kRealm[] = "intercom";

}  // namespace

IDriver* Phone::Create(IInstanceManager& instanceManager) {
    return new Phone(instanceManager);
}

Phone::Phone(IInstanceManager& instanceManager) : Phone(instanceManager, Times()) {}

Phone::Phone(IInstanceManager& instanceManager, Times times)
    : CallingDevice(instanceManager), times_(times) {}

long Phone::Initialize(unsigned long id, DvXML::INode& element, DvXML::INode* savedState) {
    DvBaseDriver::Initialize(id, element, savedState);
    PhoneConfig config = PhoneConfig::Read(element);
    key = config.key;
    name = config.name;
    user = config.user;
    realm = kRealm;
    password = config.password;
    buttons_ = std::move(config.buttons);
    chime_ = std::move(config.chime);

    Identity identity;
    identity.doorStation = config.doorStation;
    identity.thirdParty = true;
    identity.camera = config.camera;
    identity.display = config.display;
    identity.device = {config.user, config.name,           config.answer,
                       config.hold, config.mayBeMonitored, config.codecs};
    identity.callControl = config.callControl;
    identity.times = times_.callControl;
    StartDevice(std::move(identity), config.settings, savedState);
    return 0;
}

void Phone::OnDestroy() {
    http_.reset();
    CallingDevice::OnDestroy();
}

bool Phone::CarryOutCall(const std::string& request) {
    if (request != "answer") return CallingDevice::CarryOutCall(request);
    Log(dv::LOG_LEVEL_ERROR,
        "setDeviceState: this phone cannot be told to answer from outside; pick it up, or have it called "
        "without ringing");
    return true;
}

dv::auto_com<DvXML::INode> Phone::PassToDriver(const ICmdMessage& message) {
    if (message.GetName() == "GET_CUSTOM_BUTTON") return ButtonsToXml();
    if (message.GetName() == "CUSTOM_BUTTON") return Press(message.GetString("button"));
    return nullptr;
}

dv::auto_com<DvXML::INode> Phone::ButtonsToXml() const {
    auto list = DvXML::CreateXmlNode("buttons", "");
    for (std::size_t at = 0; at < buttons_.size(); ++at) {
        const auto button = DvXML::CreateXmlNode("button", "");
        button->NodeAddNamedULong("id", at + 1);
        button->NodeAddNamedValue("name", buttons_[at].name);
        list->NodeAddChild(button.get());
    }
    return list;
}

dv::auto_com<DvXML::INode> Phone::Press(const std::string& wanted) {
    std::string why = "there is no button \"" + wanted + "\"";
    for (std::size_t at = 0; at < buttons_.size(); ++at) {
        if (wanted != buttons_[at].name && wanted != std::to_string(at + 1)) continue;
        why = Carry(at);
        if (why.empty()) return DvXML::CreateXmlNode("success", "");
        TellOutcome(at, false);
        why = "button " + buttons_[at].name + ": " + why;
        break;
    }
    Log(dv::LOG_LEVEL_ERROR, why);
    return DvXML::CreateXmlNode("fail", why);
}

std::string Phone::Carry(std::size_t at) {
    const PhoneButton& button = buttons_[at];
    if (button.http)
        return CallStation("button " + button.name, *button.http,
                           [this, at](bool isDone) { TellOutcome(at, isDone); });
    return Calls().SendDigits(button.digits, button.by) ? "" : "there is no call to send its digits into";
}

void Phone::TellOutcome(std::size_t at, bool isDone) {
    const auto element = DvXML::CreateXmlNode("DeviceButtonPressed", "");
    element->NodeAddNamedULong("id", getDeviceId());
    element->NodeAddNamedULong("button", at + 1);
    element->NodeAddNamedValue("name", buttons_[at].name);
    element->NodeAddNamedBool("success", isDone);
    GetInstanceManager().SendDataToUI(*element);
}

std::string Phone::CallStation(const std::string& what, const HttpAction& action, HttpCaller::Done done) {
    if (!http_) http_ = std::make_unique<HttpCaller>(GetInstanceManager(), times_.httpAnswer);
    if (http_->Call(what, action, std::move(done))) return {};
    return "the station has not answered " + std::to_string(HttpCaller::kMostRequests) + " requests yet";
}

void Phone::RingDoorChime() {
    if (!chime_)
        return Log(dv::LOG_LEVEL_INFO,
                   "this phone has no chime of its own; it rings for the calls of the door station");
    if (const std::string why = CallStation("chime", *chime_); !why.empty())
        Log(dv::LOG_LEVEL_ERROR, "chime: " + why);
}
