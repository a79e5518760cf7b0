// Changes of the home's project: items removed, renamed, moved.
#include <string_view>

#include "agent/FirstException.h"
#include "agent/IntercomAgent.h"
#include "host/glue/Numbers.h"

namespace {

struct ItemEvent {
    int item = 0;
    int room = 0;
};

// Of a repeated parameter the last one counts.
ItemEvent ReadItemEvent(const DvXML::INode& event) {
    ItemEvent read;
    for (const DvXML::INode* parameter : event.NodeChildren()) {
        const std::string_view name = parameter->NodeGetNamedValue("name");
        if (name == "iditem") read.item = parameter->NodeGetIntValue();
        if (name == "idroom") read.room = parameter->NodeGetIntValue();
    }
    return read;
}

}  // namespace

void IntercomAgent::OnSystemEvent(DvXML::INode& event) {
    const ItemEvent changed = ReadItemEvent(event);
    if (changed.item == 0) return;

    const std::string name(event.NodeGetNamedValue("name"));
    const unsigned long id = dv::ToULong32(changed.item);  // events carry ids above 2^31 as negatives
    if (name == "OnItemRemoved") return OnDeviceRemoved(id);

    // Names and places matter to the SIP proxy alone, and devices count on it in mode 2 only.
    if (intercomMode != kModeSip) return;
    const bool renamed = name == "OnItemNameChanged";
    if (!renamed && name != "OnItemMoved") return;

    if (!renamed || changed.item != changed.room) return RefreshSipInfo(id);
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
