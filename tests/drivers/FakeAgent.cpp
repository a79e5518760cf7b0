#include "tests/drivers/FakeAgent.h"

#include "host/glue/Numbers.h"

namespace test {

void FakeAgent::AddIntercomDevice(unsigned long id, ISupportIntercom* device) {
    if (device) devices[id] = device;
    recorder_.Note("agent AddIntercomDevice " + std::to_string(id) + (device ? "" : " null"));
    if (device) device->updateSipInfoFromDriver("10.0.0.2");
}

void FakeAgent::OnDeviceRemoved(unsigned long id) {
    devices.erase(id);
    recorder_.Note("agent OnDeviceRemoved " + std::to_string(id));
}

void FakeAgent::OnDeviceChanged(unsigned long id, dvIntercom::DeviceProps prop) {
    ISupportIntercom* const device = GetIntercomDevice(id);
    const std::string element = device ? " " + device->toXml(prop)->NodeToText() : "";
    recorder_.Note("agent OnDeviceChanged " + std::to_string(id) + " " + std::to_string(prop) + element);
}

dv::auto_com<DvXML::INode> FakeAgent::GetGroupList(bool includeAll) {
    return DvXML::CreateXmlNode("groups", dv::BoolText(includeAll));
}

dv::auto_com<DvXML::INode> FakeAgent::GetDeviceList() {
    return DvXML::CreateXmlNode("devices", "");
}

std::string FakeAgent::GetDeviceAOR(unsigned long id) {
    return "aor " + std::to_string(id);
}

dv::auto_com<DvXML::INode> FakeAgent::GetContactList() {
    return DvXML::CreateXmlNode("contacts", "");
}

void FakeAgent::AddRecentContact(const std::string& displayName, const std::string& address,
                                 const std::string& callTime, const std::string& callLength,
                                 bool receivedCall, bool acceptedCall) {
    recorder_.Note("agent AddRecentContact [" + displayName + "] [" + address + "] [" + callTime + "] [" +
                   callLength + "] " + dv::BoolText(receivedCall) + " " + dv::BoolText(acceptedCall));
}

void FakeAgent::GetDeviceListByGroup(std::vector<unsigned long>& out, int groupId) {
    if (groupId == 7) out = {101, 102};
}

ISupportIntercom* FakeAgent::GetIntercomDevice(unsigned long id) {
    const auto found = devices.find(id);
    return found == devices.end() ? nullptr : found->second;
}

void FakeAgent::EndOfflineSession(const std::string& local, const std::string& remote) {
    recorder_.Note("agent EndOfflineSession [" + local + "] [" + remote + "]");
}

}  // namespace test
