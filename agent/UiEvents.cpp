#include "agent/UiEvents.h"

#include <iterator>

#include "agent/IntercomAgent.h"

namespace UiEvents {

namespace {

struct PropertyEvent {
    dvIntercom::DeviceProps prop;
    const char* name;
};

constexpr PropertyEvent kPropertyEvents[] = {
    {dvIntercom::DEVICE_CHANGED, "DeviceChanged"},
    {dvIntercom::DEVICE_UPDATED, "DeviceUpdated"},
    {dvIntercom::DEVICE_DND, "DeviceDnDChanged"},
    {dvIntercom::DEVICE_AUTO_ANSWER, "DeviceAutoAnswerChanged"},
    {dvIntercom::DEVICE_MONITOR_MODE, "DeviceMonitorModeChanged"},
    {dvIntercom::DEVICE_CURRENT_STATE, "DeviceCurrentStateChanged"},
    {dvIntercom::DEVICE_SEND_VIDEO, "DeviceSendVideoChanged"},
    {dvIntercom::DEVICE_EXCLUDE_NAV, "DeviceExcludeNavChanged"},
    {dvIntercom::DEVICE_RING_TONE, "DeviceRingToneChanged"},
    {dvIntercom::DEVICE_VOLUME, "DeviceVolumeChanged"},
};

constexpr bool RowsStandInOrder() {
    for (int row = 0; row < dvIntercom::DEVICE_PROPS_COUNT; ++row)
        if (kPropertyEvents[row].prop != row) return false;
    return true;
}
static_assert(std::size(kPropertyEvents) == dvIntercom::DEVICE_PROPS_COUNT && RowsStandInOrder());

}  // namespace

const char* NameOfProperty(dvIntercom::DeviceProps prop) {
    if (prop < 0 || prop >= dvIntercom::DEVICE_PROPS_COUNT) return nullptr;
    return kPropertyEvents[prop].name;
}

dv::auto_com<DvXML::INode> EventDocument(const std::string& name, int id, int state) {
    auto event = DvXML::CreateXmlNode(name, "");
    if (id != kNone) event->NodeAddNamedInt("id", id);
    if (state != kNone) event->NodeAddNamedInt("state", state);
    return event;
}

}  // namespace UiEvents

void IntercomAgent::MySendDataToUI(const std::string& name, int id, int state) {
    ConSendDataToUI(*UiEvents::EventDocument(name, id, state));
}

void IntercomAgent::EchoCommand(const ICmdMessage& message) {
    ConSendDataToUI(*message.ToXml());
}
