// Devices: registry, display order, SIP users, and what is asked of a device.
#include <algorithm>

#include "tests/model/AgentModel.h"

namespace model {
namespace {

constexpr unsigned long kHiddenId = 99999;
constexpr int kUnreportedProperty = 9;
constexpr unsigned char kNoSession = 255;

const char* const kPropertyEvents[] = {"DeviceChanged",
                                       "DeviceUpdated",
                                       "DeviceDnDChanged",
                                       "DeviceAutoAnswerChanged",
                                       "DeviceMonitorModeChanged",
                                       "DeviceCurrentStateChanged",
                                       "DeviceSendVideoChanged",
                                       "DeviceExcludeNavChanged",
                                       "DeviceRingToneChanged",
                                       "DeviceVolumeChanged"};

void AddUnlessEmpty(Tree& tree, const std::string& name, const std::string& text) {
    if (!text.empty()) tree.Add(name, text);
}

Tree FullDescription(const DeviceFacts& device) {
    Tree tree("device");
    tree.AddInt("id", static_cast<long long>(device.id)).Add("key", device.key).Add("name", device.name);
    tree.AddInt("version", device.version).AddInt("state", device.state).AddBool("dnd", device.dnd);
    tree.AddBool("autoAnswer", device.autoAnswer).AddBool("monitorMode", device.monitorMode);
    tree.AddBool("answerWithVideo", device.answerWithVideo).AddInt("speakerVolume", device.volume);
    tree.AddBool("excludeFromNav", device.excludeFromNav).AddBool("ringDoorbell", device.ringDoorbell);
    tree.AddBool("doorStation", device.doorStation).AddBool("thirdParty", device.thirdParty);
    tree.AddBool("camera", device.camera).AddBool("display", device.display);
    AddUnlessEmpty(tree, "user", device.user);
    AddUnlessEmpty(tree, "domain", device.domain);
    AddUnlessEmpty(tree, "realm", device.realm);
    AddUnlessEmpty(tree, "displayName", device.displayName);
    AddUnlessEmpty(tree, "email", device.email);
    AddUnlessEmpty(tree, "forwardAddress", device.forwardAddress);
    return tree;
}

}  // namespace

Tree DeviceTree(const DeviceFacts& device, int property) {
    if (property == 0) return FullDescription(device);
    Tree tree("device");
    tree.AddInt("id", static_cast<long long>(device.id));
    switch (property) {
        case 2:
            tree.AddBool("dnd", device.dnd);
            break;
        case 3:
            tree.AddBool("autoAnswer", device.autoAnswer);
            break;
        case 4:
            tree.AddBool("monitorMode", device.monitorMode);
            break;
        case 5:
            tree.AddInt("state", device.state);
            break;
        case 6:
            tree.AddBool("answerWithVideo", device.answerWithVideo);
            break;
        case 7:
            tree.AddBool("excludeFromNav", device.excludeFromNav);
            break;
        case 8:
            tree.AddBool("ringDoorbell", device.ringDoorbell);
            break;
        case 9:
            tree.AddInt("speakerVolume", device.volume);
            break;
        default:
            break;
    }
    return tree;
}

void AgentModel::AddIntercomDevice(unsigned long id, const DeviceFacts* device) {
    if (!device) return Log(3, "Unable to add intercom device " + std::to_string(id) + "l");
    devices_[id] = device;
    if (std::find(order_.begin(), order_.end(), id) == order_.end()) order_.push_back(id);
    if (device->version != mode_) CheckMode();
    TellAddress(*device);
    Event("DeviceAdded", static_cast<int>(id));
}

void AgentModel::OnDeviceRemoved(unsigned long id) {
    if (devices_.erase(id) == 0) return;
    CheckMode();
    Event("DeviceRemoved", static_cast<int>(id));
    for (auto& [groupId, group] : groups_) {
        const auto member = std::find(group.devices.begin(), group.devices.end(), id);
        if (member != group.devices.end()) group.devices.erase(member);
    }
}

void AgentModel::OnDeviceChanged(unsigned long id, int property) {
    if (property < 0 || property >= kUnreportedProperty) return;
    Tree event(kPropertyEvents[property]);
    const DeviceFacts* device = Device(id);
    if (device) {
        event.Add(DeviceTree(*device, property));
    } else {
        event.AddInt("id", static_cast<long long>(id));
    }
    Ui(event);
}

Tree AgentModel::DeviceList() const {
    Tree list("devices");
    for (const unsigned long id : order_) {
        if (id != kHiddenId && Device(id)) list.Add(DeviceTree(*Device(id), 0));
    }
    return list;
}

std::string AgentModel::DeviceAOR(unsigned long id) const {
    return id == kHiddenId || !Device(id) ? "" : Device(id)->key;
}

const DeviceFacts* AgentModel::Device(unsigned long id) const {
    const auto found = devices_.find(id);
    return found == devices_.end() ? nullptr : found->second;
}

std::vector<unsigned long> AgentModel::DeviceIds() const {
    std::vector<unsigned long> ids;
    for (const auto& [id, device] : devices_)
        ids.push_back(id);
    return ids;
}

const DeviceFacts* AgentModel::DeviceByKey(const std::string& key) const {
    for (const auto& [id, device] : devices_) {
        if (device->key == key) return device;
    }
    return nullptr;
}

Tree AgentModel::Order() const {
    Tree ids("devices");
    for (const unsigned long id : order_)
        ids.AddInt("idDevice", static_cast<long long>(id));
    return Tree("order").Add(ids);
}

AgentModel::Element AgentModel::SetDeviceOrder(const Message& message) {
    const std::vector<unsigned long> ids = IdsOf(message.Children("xml"));
    if (ids.empty()) return Fail();
    order_ = ids;
    Mark();
    Event("DeviceOrderChanged");
    return Success();
}

AgentModel::Element AgentModel::GetDeviceState(const Message& message) {
    const unsigned long id = message.Id("idDevice");
    if (Device(id)) return DeviceTree(*Device(id), 5);
    Log(3, "IntercomAgent::OnReqGetDeviceState passed invalid device id of " +
               std::to_string(static_cast<int>(id)));
    return Fail();
}

AgentModel::Element AgentModel::SetDeviceState(const Message& message) {
    const unsigned long id = message.Id("idDevice");
    if (Device(id)) {
        Tell(*Device(id), {"setDeviceState", ToText(message.Xml())});
        return Success();
    }
    Log(3, "IntercomAgent::OnReqSetDeviceState passed invalid device id of " +
               std::to_string(static_cast<int>(id)));
    return Fail();
}

AgentModel::Element AgentModel::GetCustomButtons(const Message& message) {
    const DeviceFacts* device = Device(message.Id("idDevice"));
    return device ? Pass(*device, Message("GET_CUSTOM_BUTTON")) : std::nullopt;
}

void AgentModel::CustomButton(const Message& message) {
    const DeviceFacts* device = Device(message.Id("idDevice"));
    if (device) Pass(*device, message);
}

AgentModel::Element AgentModel::AddUser(const Message& message) {
    DeviceFacts user;
    user.isUser = true;
    user.id = nextUserId++;
    user.label = "user " + std::to_string(user.id);
    user.version = 2;
    user.state = 1;
    user.excludeFromNav = true;
    user.thirdParty = true;
    user.key = message.Text("key");
    user.user = user.name = message.Text("user");
    user.domain = message.Text("domain");
    user.realm = message.Text("realm");
    user.password = message.Text("password");
    user.displayName = message.Text("name");
    user.email = message.Text("email");
    user.forwardAddress = message.Text("forwardAddress");
    users_.push_back(user);
    AddIntercomDevice(user.id, &users_.back());
    Mark();
    return Success();
}

AgentModel::Element AgentModel::EraseUser(const Message& message) {
    const std::string key = message.Text("key");
    const DeviceFacts* device = DeviceByKey(key);
    if (!device) return Fail("Unable to erase sip entity " + key + ", entity not found.");
    OnDeviceRemoved(device->id);
    return Success();
}

AgentModel::Element AgentModel::GetUser(const Message& message) {
    if (message.Has("key")) {
        const std::string key = message.Text("key");
        const DeviceFacts* device = DeviceByKey(key);
        return device ? DeviceTree(*device, 0) : Fail("Unable to find sip entity " + key + ".");
    }
    if (!message.Has("index")) return Fail("OnReqGetUser: Invalid parameters");
    const unsigned long index = message.Id("index");
    if (index < devices_.size()) {
        return Tree("key", Device(DeviceIds()[index])->key);
    }
    return Fail("No entity located at index " + std::to_string(index) + ".  Not that many items");
}

/// SIP users do nothing, whatever they are told.
void AgentModel::Tell(const DeviceFacts& device, const Names& words, Reaction reaction) {
    if (device.isUser) return;
    std::string line = "device " + device.label;
    for (const std::string& word : words)
        line += (word.empty() ? "" : " ") + word;
    Line(line);
    switch (reaction) {
        case Reaction::None:
            return;
        case Reaction::Announce:
            return OnDeviceChanged(device.id, 1);
        case Reaction::Report:
            return AddRecentContact({0, device.name, device.key, "now", "1", true, false});
        case Reaction::Leave:
            return OnDeviceRemoved(device.id);
        case Reaction::Evict:
            return OnDeviceRemoved(device.victim);
    }
}

void AgentModel::TellAddress(const DeviceFacts& device) {
    Tell(device, {"updateSipInfoFromDriver", proxyAddress_}, device.onAddress);
}

unsigned char AgentModel::AskSession(const DeviceFacts& device, const std::string& key) {
    Tell(device, {"findSessionId", key});
    const auto found = device.sessions.find(key);
    return found == device.sessions.end() ? kNoSession : found->second;
}

AgentModel::Element AgentModel::Pass(const DeviceFacts& device, const Message& message) {
    Tell(device, {"PassToDriver", ToText(message.Xml())});
    return device.buttons;
}

}  // namespace model
