// The order in which user interfaces show the devices. Ids of devices that went away stay in it,
// so that a device that comes back has its old place.
#include "agent/IntercomAgent.h"
#include "agent/Replies.h"
#include "agent/UiEvents.h"
#include "host/glue/XmlHelper.h"

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
