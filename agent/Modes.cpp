// The modes that follow from the registries, and the pop-up time-out.
#include <algorithm>

#include "agent/IntercomAgent.h"
#include "agent/Replies.h"
#include "agent/UiEvents.h"
#include "host/glue/Log.h"

void IntercomAgent::CheckIntercomMode() {
    const int newMode = HighestVersion();
    if (newMode == intercomMode) return;

    if (newMode == kModeClassic) DisableSipProxy();
    if (newMode == kModeSip) EnableSipProxy();
    intercomMode = newMode;
}

// A driver that adds, removes or replaces devices while it is asked has changed what there is to compare.
int IntercomAgent::HighestVersion() const {
    int highest = kModeClassic;
    unsigned int before = registryChanges;
    do {
        before = registryChanges;
        highest = kModeClassic;
        for (const unsigned long id : DeviceIds())
            highest = std::max(highest, Ask(id, &ISupportIntercom::getVersion).value_or(kModeClassic));
    } while (registryChanges != before);
    return highest;
}

void IntercomAgent::UpdateExternal() {
    if (services.empty()) {
        isExternal = false;
        return;
    }
    LogXMessage(dv::LOG_LEVEL_DEBUG, "IntercomAgent checking services");
    isExternal = !services.empty();  // looked at again: the line has left the agent and come back
    LogXMessage(dv::LOG_LEVEL_DEBUG,
                isExternal ? "IntercomAgent has services" : "IntercomAgent has no services");
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
