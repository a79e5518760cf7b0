// The four call requests. The agent carries no media and keeps no record of a call: it only tells
// the calling device's driver whom to call, and with which media.
#include "agent/IntercomAgent.h"
#include "host/glue/Log.h"
#include "host/glue/Numbers.h"
#include "host/glue/XmlText.h"

using namespace dvIntercom;

namespace {

// Only for regular calls: broadcasts and monitor calls ignore the requested mode.
bool WantsToSendVideo(MediaMode requested) {
    return requested == MEDIA_SEND_RECEIVE || requested == MEDIA_SEND_ONLY;
}

MediaMode RegularVideo(MediaMode requested, bool cameraVideo, bool display) {
    if (requested < MEDIA_SEND_RECEIVE || requested > MEDIA_NONE) return MEDIA_NONE;
    const bool sends = cameraVideo && WantsToSendVideo(requested);
    if (sends && display) return MEDIA_SEND_RECEIVE;
    if (sends) return MEDIA_SEND_ONLY;
    return display ? MEDIA_RECEIVE_ONLY : MEDIA_NONE;
}

MediaMode RequestedVideo(const ICmdMessage& message) {
    return static_cast<MediaMode>(message.GetInt("video"));
}

}  // namespace

MediaMode IntercomAgent::evalVideoType(const ISupportIntercom* device, SessionType type,
                                       MediaMode requested) const {
    // The device may go away while it is asked. Searching for it is slow in a large home, so the
    // search is made only if the registry has changed.
    const auto isStillThere = [&, before = registryChanges] {
        return registryChanges == before || IsRegistered(device);
    };
    const bool display = device->hasDisplay();
    const bool cameraVideo =
        isStillThere() && device->hasCamera() && isStillThere() && device->getAnswerWithVideo();
    switch (type) {
        case SESSION_REGULAR:
            return RegularVideo(requested, cameraVideo, display);
        case SESSION_BROADCAST:
            return cameraVideo ? MEDIA_SEND_ONLY : MEDIA_NONE;
        case SESSION_MONITOR:
            return display ? MEDIA_RECEIVE_ONLY : MEDIA_NONE;
    }
    // The log line names another operation; programs that read the log expect it that way.
    LogXMessage(dv::LOG_LEVEL_ERROR, "IntercomAgent::evaluateAudioType invalid call type: %d",
                static_cast<int>(type));
    return MEDIA_NONE;
}

void IntercomAgent::handleSipRegularCall(const ICmdMessage& message) {
    const MediaMode audio = message.GetInt("ring") != 0 ? MEDIA_SEND_RECEIVE : MEDIA_WITHOUT_RING;
    StartCallBetween(message, SESSION_REGULAR, audio, &ISupportIntercom::StartSipCall);
}

void IntercomAgent::handleSipMonitorCall(const ICmdMessage& message) {
    StartCallBetween(message, SESSION_MONITOR, MEDIA_SEND_RECEIVE, &ISupportIntercom::StartSipMonitor);
}

void IntercomAgent::StartCallBetween(const ICmdMessage& message, SessionType type, MediaMode audio,
                                     StartOperation start) {
    const unsigned long source = message.GetULong("source");
    const unsigned long destination = message.GetULong("destination");
    const ISupportIntercom* const caller = getIntercomDevice(source);
    if (!caller || !getIntercomDevice(destination)) return;

    const MediaMode video = evalVideoType(caller, type, RequestedVideo(message));
    const std::optional<std::string> address = SipAddress(destination);
    // Either device may have gone, or been replaced, while the two were asked.
    ISupportIntercom* const device = getIntercomDevice(source);
    if (address && device) (device->*start)(audio, video, *address);
}

std::optional<std::string> IntercomAgent::SipAddress(unsigned long id) const {
    const auto name = Ask(id, &ISupportIntercom::getIntercomName);
    if (!name) return std::nullopt;
    return *name + "@" + sipProxyIP;
}

void IntercomAgent::handleSipExternalCall(const ICmdMessage& message) {
    const unsigned long source = message.GetULong("source");
    const ISupportIntercom* const caller = getIntercomDevice(source);
    if (!caller) return;
    const MediaMode video = evalVideoType(caller, SESSION_REGULAR, RequestedVideo(message));
    if (ISupportIntercom* const device = getIntercomDevice(source))
        device->StartSipCall(MEDIA_SEND_RECEIVE, video, message.GetString("destination"));
}

void IntercomAgent::handleSipBroadcastCall(const ICmdMessage& message) {
    const unsigned long source = message.GetULong("source");
    const ISupportIntercom* const caller = getIntercomDevice(source);
    if (!caller) return;
    const MediaMode video = evalVideoType(caller, SESSION_BROADCAST, RequestedVideo(message));
    const std::vector<std::string> addresses = BroadcastAddresses(message, source);
    ISupportIntercom* const device = getIntercomDevice(source);
    if (device && !addresses.empty()) device->StartSipBroadcast(MEDIA_SEND_ONLY, video, addresses);
}

std::vector<std::string> IntercomAgent::BroadcastAddresses(const ICmdMessage& message,
                                                           unsigned long source) const {
    std::vector<std::string> addresses;
    const auto root = DvXML::ParseParameter(message.GetString("destinations"));
    if (!root) return addresses;
    for (const DvXML::INode* child : root->NodeChildren()) {
        const unsigned long id = dv::ParseULong(child->NodeGetText());
        // Compares the devices, not the ids: the source may be registered under a second id.
        if (getIntercomDevice(id) == getIntercomDevice(source) || !AcceptsBroadcasts(id)) continue;
        if (const auto address = SipAddress(id)) addresses.push_back(*address);
    }
    return addresses;
}

bool IntercomAgent::AcceptsBroadcasts(unsigned long id) const {
    return Ask(id, &ISupportIntercom::getMonitorMode) == false && Ask(id, &ISupportIntercom::getDnD) == false;
}
