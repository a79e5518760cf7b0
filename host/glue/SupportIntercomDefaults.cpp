// The operations of ISupportIntercom that have defaults.
#include "host/interfaces/ISupportIntercom.h"

using dvIntercom::DeviceProps;

namespace {

void AddUnlessEmpty(DvXML::INode& element, const char* name, const std::string& value) {
    if (!value.empty()) element.NodeAddNamedValue(name, value);
}

void AddSettings(DvXML::INode& element, ISupportIntercom& device) {
    element.NodeAddNamedValue("key", device.getKey());
    element.NodeAddNamedValue("name", device.getIntercomName());
    element.NodeAddNamedInt("version", device.getVersion());
    element.NodeAddNamedInt("state", device.getCurrentState());
    element.NodeAddNamedBool("dnd", device.getDnD());
    element.NodeAddNamedBool("autoAnswer", device.getAutoAnswer());
    element.NodeAddNamedBool("monitorMode", device.getMonitorMode());
    element.NodeAddNamedBool("answerWithVideo", device.getAnswerWithVideo());
    element.NodeAddNamedInt("speakerVolume", device.getSpeakerVol());
    element.NodeAddNamedBool("excludeFromNav", device.getExcludeFromNav());
    element.NodeAddNamedBool("ringDoorbell", device.getRingDoorbell());
    element.NodeAddNamedBool("doorStation", device.isDoorStation());
    element.NodeAddNamedBool("thirdParty", device.is3rdParty());
    element.NodeAddNamedBool("camera", device.hasCamera());
    element.NodeAddNamedBool("display", device.hasDisplay());
}

// Adds the one value that the property names; DEVICE_UPDATED and numbers outside the table name none.
void AddProperty(DvXML::INode& element, ISupportIntercom& device, DeviceProps prop) {
    switch (prop) {
        case dvIntercom::DEVICE_DND:
            return element.NodeAddNamedBool("dnd", device.getDnD());
        case dvIntercom::DEVICE_AUTO_ANSWER:
            return element.NodeAddNamedBool("autoAnswer", device.getAutoAnswer());
        case dvIntercom::DEVICE_MONITOR_MODE:
            return element.NodeAddNamedBool("monitorMode", device.getMonitorMode());
        case dvIntercom::DEVICE_CURRENT_STATE:
            return element.NodeAddNamedInt("state", device.getCurrentState());
        case dvIntercom::DEVICE_SEND_VIDEO:
            return element.NodeAddNamedBool("answerWithVideo", device.getAnswerWithVideo());
        case dvIntercom::DEVICE_EXCLUDE_NAV:
            return element.NodeAddNamedBool("excludeFromNav", device.getExcludeFromNav());
        case dvIntercom::DEVICE_RING_TONE:
            return element.NodeAddNamedBool("ringDoorbell", device.getRingDoorbell());
        case dvIntercom::DEVICE_VOLUME:
            return element.NodeAddNamedInt("speakerVolume", device.getSpeakerVol());
        default:
            return;
    }
}

}  // namespace

SipAccount ISupportIntercom::getSipAccount() const {
    return {key, user, domain, realm, password, name, email, forwardAddress};
}

std::string ISupportIntercom::getKey() {
    return key;
}

dv::auto_com<DvXML::INode> ISupportIntercom::toXml(DeviceProps prop) {
    dv::auto_com<DvXML::INode> element = DvXML::CreateXmlNode("device", "");
    element->NodeAddNamedULong("id", getDeviceId());
    if (prop != dvIntercom::DEVICE_CHANGED) {
        AddProperty(*element, *this, prop);
        return element;
    }
    AddSettings(*element, *this);
    AddUnlessEmpty(*element, "user", user);
    AddUnlessEmpty(*element, "domain", domain);
    AddUnlessEmpty(*element, "realm", realm);
    AddUnlessEmpty(*element, "displayName", name);
    AddUnlessEmpty(*element, "email", email);
    AddUnlessEmpty(*element, "forwardAddress", forwardAddress);
    return element;
}

dv::auto_com<DvXML::INode> ISupportIntercom::PassToDriver(const ICmdMessage&) {
    return nullptr;
}
