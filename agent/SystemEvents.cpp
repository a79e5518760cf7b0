// Changes to the home's project: items that are removed, renamed or moved.
#include <string_view>

#include "agent/FirstException.h"
#include "agent/IntercomAgent.h"
#include "host/glue/Numbers.h"

namespace {

struct ItemEvent {
    unsigned long item = 0;
    unsigned long room = 0;
};

// Both parameters are ids: one above 2147483647 may also arrive as a negative number. Of a repeated
// parameter the last one counts.
ItemEvent ReadItemEvent(const DvXML::INode& event) {
    ItemEvent read;
    for (const DvXML::INode* parameter : event.NodeChildren()) {
        const std::string_view name = parameter->NodeGetNamedValue("name");
        if (name == "iditem") read.item = dv::ParseULong(parameter->NodeGetText());
        if (name == "idroom") read.room = dv::ParseULong(parameter->NodeGetText());
    }
    return read;
}

}  // namespace

void IntercomAgent::OnSystemEvent(DvXML::INode& event) {
    const ItemEvent changed = ReadItemEvent(event);
    if (changed.item == 0) return;

    const std::string name(event.NodeGetNamedValue("name"));
    if (name == "OnItemRemoved") return OnDeviceRemoved(changed.item);

    // Names and places matter only to the SIP proxy, and only in mode 2 do devices depend on it.
    if (intercomMode != kModeSip) return;
    const bool renamed = name == "OnItemNameChanged";
    if (!renamed && name != "OnItemMoved") return;

    if (!renamed || changed.item != changed.room) return RefreshSipInfo(changed.item);
    FirstException trouble;
    for (const unsigned long device : DeviceIds())
        trouble.Run([&] { RefreshSipInfo(device); });
    trouble.Rethrow();
}

void IntercomAgent::RefreshSipInfo(unsigned long id) {
    ISupportIntercom* const device = getIntercomDevice(id);
    if (!device) return;
    const std::string address = sipProxyIP;
    device->updateSipInfoFromDriver(address);
    OnDeviceChanged(id, dvIntercom::DEVICE_CHANGED);
}
