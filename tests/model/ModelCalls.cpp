// Call requests, and the ending of sessions whose peer went offline.
#include "tests/model/AgentModel.h"

namespace model {
namespace {

constexpr int kSendReceive = 0;
constexpr int kSendOnly = 1;
constexpr int kReceiveOnly = 2;
constexpr int kNone = 3;
constexpr int kWithoutRing = -1;
constexpr unsigned char kNoSession = 255;

std::vector<std::string> Start(const std::string& operation, int audio, int video,
                               const std::string& addresses) {
    return {operation, std::to_string(audio), std::to_string(video), addresses};
}

}  // namespace

int AgentModel::VideoMode(const DeviceFacts& device, const std::string& call, int requested) const {
    const bool picture = device.camera && device.answerWithVideo;
    if (call == "broadcast") return picture ? kSendOnly : kNone;
    if (call == "monitor") return device.display ? kReceiveOnly : kNone;
    const bool mayReceive = device.display && requested >= 0 && requested <= 3;
    const bool maySend = picture && (requested == 0 || requested == 1);
    if (maySend && mayReceive) return kSendReceive;
    if (maySend) return kSendOnly;
    return mayReceive ? kReceiveOnly : kNone;
}

void AgentModel::RegularCall(const Message& message) {
    const DeviceFacts* source = Device(message.Id("source"));
    const DeviceFacts* destination = Device(message.Id("destination"));
    if (!source || !destination) return;
    const int audio = message.Int("ring") != 0 ? kSendReceive : kWithoutRing;
    const int video = VideoMode(*source, "regular", message.Int("video"));
    Tell(*source, Start("StartSipCall", audio, video, Address(*destination)), source->onCall);
}

void AgentModel::MonitorCall(const Message& message) {
    const DeviceFacts* source = Device(message.Id("source"));
    const DeviceFacts* destination = Device(message.Id("destination"));
    if (!source || !destination) return;
    const int video = VideoMode(*source, "monitor", message.Int("video"));
    Tell(*source, Start("StartSipMonitor", kSendReceive, video, Address(*destination)), source->onCall);
}

void AgentModel::ExternalCall(const Message& message) {
    const DeviceFacts* source = Device(message.Id("source"));
    if (!source) return;
    const int video = VideoMode(*source, "regular", message.Int("video"));
    Tell(*source, Start("StartSipCall", kSendReceive, video, message.Text("destination")), source->onCall);
}

void AgentModel::BroadcastCall(const Message& message) {
    const DeviceFacts* source = Device(message.Id("source"));
    if (!source) return;
    std::string addresses;
    for (const Tree& child : message.Children("destinations")) {
        const DeviceFacts* listener = Device(ReadId(child.text));
        if (!listener || listener == source || listener->monitorMode || listener->dnd) continue;
        addresses += (addresses.empty() ? "" : " ") + Address(*listener);
    }
    if (addresses.empty()) return;
    const int video = VideoMode(*source, "broadcast", message.Int("video"));
    Tell(*source, Start("StartSipBroadcast", kSendOnly, video, addresses), source->onCall);
}

void AgentModel::EndOfflineSession(const std::string& local, const std::string& remote) {
    if (local.empty()) return;
    Trace("finding local device " + local);
    const DeviceFacts* localDevice = DeviceByKey(local);
    if (!localDevice) return;
    Trace("found local device " + localDevice->key);
    const bool broadcast = remote.empty();
    if (!broadcast && remote != "down") return EndSessionWithPeer(*localDevice, local, remote);
    Trace(broadcast ? "checking for broadcast endpoints" : "connection status changed, end sessions");
    for (const unsigned long id : DeviceIds()) {
        const DeviceFacts* device = Device(id);
        if (!device) continue;
        Trace("checking endpoint " + device->key);
        if (!broadcast || device->key.empty()) EndSession(*device, local);
    }
}

void AgentModel::EndSession(const DeviceFacts& device, const std::string& local) {
    const unsigned char session = AskSession(device, local);
    if (session == kNoSession) return;
    Trace("hangup endpoint session " + std::to_string(session));
    Tell(device, {"HangupSipSession", std::to_string(session)}, device.onHangup);
}

void AgentModel::EndSessionWithPeer(const DeviceFacts& localDevice, const std::string& local,
                                    const std::string& remote) {
    Trace("finding remote device " + remote);
    const DeviceFacts* remoteDevice = DeviceByKey(remote);
    if (!remoteDevice) return;
    Trace("found remote device " + remoteDevice->key);
    const unsigned char session = AskSession(localDevice, remote);
    if (session == kNoSession) return Trace("Error: No session between local and remote");
    if (AskSession(*remoteDevice, local) != kNoSession) return;
    Tell(localDevice, {"HangupSipSession", std::to_string(session)}, localDevice.onHangup);
}

}  // namespace model
