#include "drivers/panel/AgentLink.h"

#include "host/interfaces/IInstanceManager.h"
#include "host/interfaces/InterfaceIds.h"

AgentLink::AgentLink(IInstanceManager& instanceManager, ISupportIntercom& device)
    : instanceManager_(instanceManager), device_(device) {}

IIntercomAgent* AgentLink::Find() const {
    return static_cast<IIntercomAgent*>(instanceManager_.InstanceFindInterface(IntercomAgentInterfaceId));
}

// The id is noted before the call, because the agent calls the device back before it returns, and has
// the pointer even if it throws.
bool AgentLink::Add(unsigned long id) {
    IIntercomAgent* const agent = Find();
    if (!agent) return false;
    ids_.insert(id);
    agent->AddIntercomDevice(id, &device_);
    return true;
}

bool AgentLink::Remove(unsigned long id) {
    IIntercomAgent* const agent = Find();
    if (!agent) return false;
    ids_.erase(id);
    agent->OnDeviceRemoved(id);
    return true;
}

// Another driver may have registered its device under the same id by now; that one stays.
void AgentLink::Withdraw() {
    while (!ids_.empty()) {
        const unsigned long id = *ids_.begin();
        ids_.erase(id);
        IIntercomAgent* const agent = Find();
        if (agent && agent->GetIntercomDevice(id) == &device_) agent->OnDeviceRemoved(id);
    }
}

void AgentLink::NotifyChanged(dvIntercom::DeviceProps property) const {
    IIntercomAgent* const agent = Find();
    if (!agent) return;
    for (const unsigned long id : std::set<unsigned long>(ids_))  // a copy: the agent may call back
        agent->OnDeviceChanged(id, property);
}

DvXML::INode& Operations::Add(const std::string& name) {
    if (operations_.size() == kMaxOperations) {
        operations_.pop_front();
        ++dropped_;
    }
    operations_.push_back(DvXML::CreateXmlNode(name, ""));
    return *operations_.back();
}

void Operations::Clear() {
    operations_.clear();
    dropped_ = 0;
}

dv::auto_com<DvXML::INode> Operations::ToXml() const {
    dv::auto_com<DvXML::INode> element = DvXML::CreateXmlNode("operations", "");
    if (dropped_ != 0) element->NodeSetAttribute("dropped", std::to_string(dropped_));
    for (const auto& operation : operations_)
        element->NodeAddChild(operation.get());
    return element;
}
