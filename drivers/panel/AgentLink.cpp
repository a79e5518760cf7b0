#include "drivers/panel/AgentLink.h"

#include "host/interfaces/IInstanceManager.h"
#include "host/interfaces/InterfaceIds.h"

AgentLink::AgentLink(IInstanceManager& instanceManager, ISupportIntercom& device)
    : instanceManager_(instanceManager), device_(device) {}

IIntercomAgent* AgentLink::Find() const {
    return static_cast<IIntercomAgent*>(instanceManager_.InstanceFindInterface(IntercomAgentInterfaceId));
}

// The id is noted first: the agent calls the device back before it returns, and what it throws
// after it has taken the pointer must not make the panel forget that.
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

// Another driver may have registered its device under the same id since.
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
    for (const unsigned long id : std::set<unsigned long>(ids_))
        agent->OnDeviceChanged(id, property);
}
