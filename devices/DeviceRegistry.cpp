// The registry of intercom devices: look-ups, and what device drivers report to it.
#include <algorithm>

#include "agent/FirstException.h"
#include "agent/IntercomAgent.h"
#include "agent/UiEvents.h"
#include "host/glue/Log.h"

ISupportIntercom* IntercomAgent::getIntercomDevice(unsigned long id) const {
    return devices.Find(id);
}

ISupportIntercom* IntercomAgent::getIntercomDevice(const std::string& key) const {
    const std::optional<unsigned long> id = FindDeviceId(key);
    return id ? getIntercomDevice(*id) : nullptr;
}

std::optional<unsigned long> IntercomAgent::FindDeviceId(const std::string& key) const {
    const std::string wanted = key;  // the caller's string may change while devices are asked
    for (const unsigned long id : DeviceIds())
        if (Ask(id, &ISupportIntercom::getKey) == wanted && getIntercomDevice(id)) return id;
    return std::nullopt;
}

ISupportIntercom* IntercomAgent::GetIntercomDevice(unsigned long id) {
    return getIntercomDevice(id);
}

std::string IntercomAgent::GetDeviceAOR(unsigned long id) {
    // The first user after a start has this id and is hidden, here as in the device list.
    if (id == ReproUser::BASE_REPRO_USER_ID) return "";
    return Ask(id, &ISupportIntercom::getKey).value_or("");
}

std::vector<unsigned long> IntercomAgent::DeviceIds() const {
    std::vector<unsigned long> ids;
    ids.reserve(devices.All().size());
    for (const auto& [id, device] : devices.All())
        ids.push_back(id);
    return ids;
}

bool IntercomAgent::IsRegistered(const ISupportIntercom* device) const {
    return std::any_of(devices.All().begin(), devices.All().end(),
                       [&](const auto& entry) { return entry.second == device; });
}

void IntercomAgent::AddIntercomDevice(unsigned long id, ISupportIntercom* device) {
    if (!device) {
        // "%ul" prints the id and the letter l; programs that read the log expect it that way.
        LogXMessage(dv::LOG_LEVEL_ERROR, "Unable to add intercom device %ul", static_cast<unsigned int>(id));
        return;
    }
    // The tables are complete before anybody is called, because every call may come back here.
    devices.Set(id, device);
    ++registryChanges;
    UpdateDeviceOrder(id);
    FirstException trouble;
    trouble.Run([&] {
        if (device->getVersion() != intercomMode) CheckIntercomMode();
    });
    trouble.Run([&] {
        const std::string address = sipProxyIP;
        // Looked up again: during the mode check a driver may have removed or replaced it.
        if (ISupportIntercom* const registered = getIntercomDevice(id))
            registered->updateSipInfoFromDriver(address);
    });
    MySendDataToUI(UiEvents::kDeviceAdded, static_cast<int>(id), UiEvents::kNone);
    trouble.Rethrow();
}

void IntercomAgent::OnDeviceRemoved(unsigned long id) {
    if (!devices.Erase(id)) return;
    ++registryChanges;
    FirstException trouble;
    trouble.Run([&] { CheckIntercomMode(); });
    MySendDataToUI(UiEvents::kDeviceRemoved, static_cast<int>(id), UiEvents::kNone);
    for (const auto& [groupId, group] : groups.All())
        group->RemoveFromGroup(id);
    trouble.Rethrow();
}

void IntercomAgent::OnDeviceChanged(unsigned long id, dvIntercom::DeviceProps prop) {
    if (prop == dvIntercom::DEVICE_VOLUME) return;
    const char* const name = UiEvents::NameOfProperty(prop);
    if (!name) return;

    const auto event = DvXML::CreateXmlNode(name, "");
    if (ISupportIntercom* const device = getIntercomDevice(id))
        event->NodeAddChild(device->toXml(prop).get());
    else
        event->NodeAddNamedULong("id", id);  // nobody can describe an unregistered device
    ConSendDataToUI(*event);
}

dv::auto_com<DvXML::INode> IntercomAgent::GetDeviceList() {
    auto list = DvXML::CreateXmlNode("devices", "");
    const std::vector<unsigned long> order = deviceOrder.Ids();  // a device may register others meanwhile
    for (const unsigned long id : order) {
        if (id == ReproUser::BASE_REPRO_USER_ID) continue;
        if (ISupportIntercom* const device = getIntercomDevice(id))
            list->NodeAddChild(device->toXml(dvIntercom::DEVICE_CHANGED).get());
    }
    return list;
}
