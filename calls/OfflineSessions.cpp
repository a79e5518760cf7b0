// Ends sessions whose other side has gone. The device drivers keep the sessions: each driver is asked
// for its session with the lost peer and told to hang it up.
#include "agent/FirstException.h"
#include "agent/IntercomAgent.h"
#include "host/glue/Log.h"

namespace {

// A driver reports this as the remote side when its own connection went down.
constexpr char kConnectionDown[] = "down";

}  // namespace

// Copies the arguments, because they are the driver's own strings and may change when it is called.
void IntercomAgent::EndOfflineSession(const std::string& local, const std::string& remote) {
    if (local.empty()) return;
    const std::string localKey = local;
    const std::string remoteKey = remote;

    LogXMessage(dv::LOG_LEVEL_DEBUG, "IntercomAgent::EndOfflineSession - finding local device %s",
                localKey.c_str());
    const std::optional<unsigned long> id = FindDeviceId(localKey);
    if (!id) return;
    LogXMessage(dv::LOG_LEVEL_DEBUG, "IntercomAgent::EndOfflineSession - found local device %s",
                Ask(*id, &ISupportIntercom::getKey).value_or(localKey).c_str());

    if (remoteKey.empty()) return EndBroadcastSessions(localKey);
    if (remoteKey == kConnectionDown) return EndAllSessions(localKey);
    EndSessionWithPeer(*id, localKey, remoteKey);
}

// Broadcast endpoints are the devices without a key. Here and below, a driver that fails must not
// keep the others' sessions open.
void IntercomAgent::EndBroadcastSessions(const std::string& local) {
    LogXMessage(dv::LOG_LEVEL_DEBUG, "IntercomAgent::EndOfflineSession - checking for broadcast endpoints");
    FirstException trouble;
    for (const unsigned long id : DeviceIds()) {
        trouble.Run([&] {
            const std::optional<std::string> key = LogEndpointKey(id);
            if (key && key->empty()) HangupEndpoint(id, local);
        });
    }
    trouble.Rethrow();
}

void IntercomAgent::EndAllSessions(const std::string& local) {
    LogXMessage(dv::LOG_LEVEL_DEBUG,
                "IntercomAgent::EndOfflineSession - connection status changed, end sessions");
    FirstException trouble;
    for (const unsigned long id : DeviceIds()) {
        trouble.Run([&] {
            if (LogEndpointKey(id)) HangupEndpoint(id, local);
        });
    }
    trouble.Rethrow();
}

std::optional<std::string> IntercomAgent::LogEndpointKey(unsigned long id) const {
    const std::optional<std::string> key = Ask(id, &ISupportIntercom::getKey);
    if (key)
        LogXMessage(dv::LOG_LEVEL_DEBUG, "IntercomAgent::EndOfflineSession - checking endpoint %s",
                    key->c_str());
    return key;
}

void IntercomAgent::HangupEndpoint(unsigned long id, const std::string& local) {
    ISupportIntercom* const endpoint = getIntercomDevice(id);
    if (!endpoint) return;
    const unsigned char session = endpoint->findSessionId(local);
    if (session == dvIntercom::NO_SESSION) return;
    LogXMessage(dv::LOG_LEVEL_DEBUG, "IntercomAgent::EndOfflineSession - hangup endpoint session %d",
                session);
    if (ISupportIntercom* const still = getIntercomDevice(id)) still->HangupSipSession(session);
}

// The local side hangs up only if the peer no longer knows of the session.
void IntercomAgent::EndSessionWithPeer(unsigned long local, const std::string& localKey,
                                       const std::string& remoteKey) {
    LogXMessage(dv::LOG_LEVEL_DEBUG, "IntercomAgent::EndOfflineSession - finding remote device %s",
                remoteKey.c_str());
    const std::optional<unsigned long> remote = FindDeviceId(remoteKey);
    if (!remote) return;
    LogXMessage(dv::LOG_LEVEL_DEBUG, "IntercomAgent::EndOfflineSession - found remote device %s",
                Ask(*remote, &ISupportIntercom::getKey).value_or(remoteKey).c_str());

    ISupportIntercom* const localDevice = getIntercomDevice(local);
    if (!localDevice) return;
    const unsigned char session = localDevice->findSessionId(remoteKey);
    if (session == dvIntercom::NO_SESSION) {
        LogXMessage(dv::LOG_LEVEL_DEBUG,
                    "IntercomAgent::EndOfflineSession - Error: No session between local and remote");
        return;
    }
    ISupportIntercom* const remoteDevice = getIntercomDevice(*remote);
    if (remoteDevice && remoteDevice->findSessionId(localKey) != dvIntercom::NO_SESSION) return;
    if (ISupportIntercom* const still = getIntercomDevice(local)) still->HangupSipSession(session);
}
