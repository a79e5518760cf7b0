// The intercom mode, which follows from the devices; the external mode, which follows from the
// services; and the pop-up time-out.
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

// Starts again if a driver adds, removes or replaces devices while it is asked for its version.
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
    isExternal = !services.empty();  // may have changed: writing a log line calls out of the agent
    LogXMessage(dv::LOG_LEVEL_DEBUG,
                isExternal ? "IntercomAgent has services" : "IntercomAgent has no services");
}

int IntercomAgent::GetPopupTimeout() {
    return popupTimeout;
}

IntercomAgent::Reply IntercomAgent::OnReqGetPopupTimeout(const ICmdMessage&) {
    return DvXML::CreateXmlNode("timeout", popupTimeout);
}

// Does not mark the state: the value is saved with the next change that does.
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
