// The modes that follow from the registries, and the pop-up time-out.
#include <algorithm>

#include "agent/IntercomAgent.h"
#include "agent/Replies.h"
#include "agent/UiEvents.h"

namespace {

constexpr int kModeClassic = 1;  // no device needs the SIP proxy
constexpr int kModeSip = 2;

}  // namespace

void IntercomAgent::CheckIntercomMode() {
    int newMode = kModeClassic;
    for (const unsigned long id : DeviceIds())
        newMode = std::max(newMode, Ask(id, &ISupportIntercom::getVersion).value_or(kModeClassic));
    if (newMode == intercomMode) return;

    if (newMode == kModeClassic) DisableSipProxy();
    if (newMode == kModeSip) EnableSipProxy();
    intercomMode = newMode;
}

void IntercomAgent::UpdateExternal() {
    isExternal = !services.empty();
    if (!isExternal) return;
    LogXMessage(7, "IntercomAgent checking services");
    isExternal = !services.empty();  // the log line went to the host, which may have called back in
    LogXMessage(7, isExternal ? "IntercomAgent has services" : "IntercomAgent has no services");
}

int IntercomAgent::GetPopupTimeout() {
    return popupTimeout;
}

IntercomAgent::Reply IntercomAgent::OnReqGetPopupTimeout(const ICmdMessage&) {
    return DvXML::CreateXmlNode("timeout", popupTimeout);
}

// Not marked for saving: the value is stored with the next change of something else.
IntercomAgent::Reply IntercomAgent::OnReqSetPopupTimeout(const ICmdMessage& message) {
    popupTimeout = message.GetInt("timeout");
    MySendDataToUI(UiEvents::kPopupTimeoutChanged, OwnId(), popupTimeout);
    return Replies::Success();
}

IntercomAgent::Reply IntercomAgent::OnReqGetIsExternal(const ICmdMessage&) {
    UpdateExternal();
    AnnounceExternal();
    return DvXML::CreateXmlNode("external", isExternal);
}
