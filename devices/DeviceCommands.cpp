// Commands on one registered device, the list of all devices, and their display order. Ids of
// removed devices stay in the order, so that a device that comes back has its old place.
#include "agent/IntercomAgent.h"
#include "agent/Replies.h"
#include "agent/UiEvents.h"
#include "host/glue/Log.h"
#include "host/glue/XmlHelper.h"

IntercomAgent::Reply IntercomAgent::OnReqGetDeviceList(const ICmdMessage&) {
    return GetDeviceList();
}

void IntercomAgent::UpdateDeviceOrder(unsigned long id) {
    deviceOrder.AppendNew(id);
}

dv::auto_com<DvXML::INode> IntercomAgent::GetDeviceOrder() const {
    auto order = DvXML::CreateXmlNode("order", "");
    XmlHelper::toXml<unsigned long>(deviceOrder.Ids(), *order, "devices", "idDevice");
    return order;
}

IntercomAgent::Reply IntercomAgent::OnReqSetDeviceOrder(const ICmdMessage& message) {
    return SetDeviceOrder(XmlHelper::ReadIdList(message.GetString("xml")));
}

dv::auto_com<DvXML::INode> IntercomAgent::SetDeviceOrder(const std::vector<unsigned long>& ids) {
    if (ids.empty()) return Replies::Fail();
    deviceOrder = OrderedIds(ids);
    DmInvalidateState();
    MySendDataToUI(UiEvents::kDeviceOrderChanged, UiEvents::kNone, UiEvents::kNone);
    return Replies::Success();
}

IntercomAgent::Reply IntercomAgent::OnReqGetDeviceState(const ICmdMessage& message) {
    const unsigned long id = message.GetULong("idDevice");
    ISupportIntercom* const device = getIntercomDevice(id);
    if (!device) {
        LogXMessage(dv::LOG_LEVEL_ERROR, "IntercomAgent::OnReqGetDeviceState passed invalid device id of %d",
                    static_cast<int>(id));
        return Replies::Fail();
    }
    return device->toXml(dvIntercom::DEVICE_CURRENT_STATE);
}

IntercomAgent::Reply IntercomAgent::OnReqSetDeviceState(const ICmdMessage& message) {
    const unsigned long id = message.GetULong("idDevice");
    ISupportIntercom* const device = getIntercomDevice(id);
    if (!device) {
        LogXMessage(dv::LOG_LEVEL_ERROR, "IntercomAgent::OnReqSetDeviceState passed invalid device id of %d",
                    static_cast<int>(id));
        return Replies::Fail();
    }
    device->setDeviceState(message);
    return Replies::Success();
}

IntercomAgent::Reply IntercomAgent::OnReqGetCustomButtons(const ICmdMessage& message) {
    ISupportIntercom* const device = getIntercomDevice(message.GetULong("idDevice"));
    if (!device) return Replies::None();
    return device->PassToDriver(*CreateCommandMessageFromName("GET_CUSTOM_BUTTON"));
}

void IntercomAgent::handleCustomButtonEvent(const ICmdMessage& message) {
    if (ISupportIntercom* const device = getIntercomDevice(message.GetULong("idDevice")))
        device->PassToDriver(message);
}
