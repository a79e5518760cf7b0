#include "drivers/calls/AgentLink.h"

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
