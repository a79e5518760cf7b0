// A panel's way to the intercom agent, which may be there or not at any moment.
#ifndef DRIVERS_PANEL_AGENTLINK_H
#define DRIVERS_PANEL_AGENTLINK_H

#include <set>

#include "host/interfaces/IIntercomAgent.h"

class IInstanceManager;
class ISupportIntercom;

/// Finds the agent anew at each use and remembers only under which ids it holds the device, so
/// that a panel never leaves a dangling pointer behind.  All operations: [driver thread]
class AgentLink {
public:
    AgentLink(IInstanceManager& instanceManager, ISupportIntercom& device);

    /// The agent, or null when none runs. Valid during the current call.
    IIntercomAgent* Find() const;

    /// The ids under which the device is registered, as far as the panel did it.
    const std::set<unsigned long>& Ids() const { return ids_; }

    /// Registers the device; false when no agent runs.
    bool Add(unsigned long id);
    /// Takes whatever the agent holds under `id` out of it; false when no agent runs.
    bool Remove(unsigned long id);
    /// Takes this device out under every id it still holds. What another driver throws passes through;
    /// the rest is taken out when called again.
    void Withdraw();
    /// The agent goes away and has forgotten the device.
    void Forget() { ids_.clear(); }

    /// Tells that a property of the registered device changed; nothing when it is not registered.
    void NotifyChanged(dvIntercom::DeviceProps property) const;

private:
    IInstanceManager& instanceManager_;
    ISupportIntercom& device_;
    std::set<unsigned long> ids_;
};

#endif
