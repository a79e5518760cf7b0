// Commands about one registered device, or the list of all.
#include "agent/IntercomAgent.h"
#include "agent/Replies.h"
#include "host/glue/Log.h"

IntercomAgent::Reply IntercomAgent::OnReqGetDeviceList(const ICmdMessage&) {
    return GetDeviceList();
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
