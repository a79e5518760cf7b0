// A device and the intercom agent: the way to the agent, which may or may not be running.
#ifndef DRIVERS_CALLS_AGENTLINK_H
#define DRIVERS_CALLS_AGENTLINK_H

#include <set>
#include <string>

#include "host/interfaces/IIntercomAgent.h"

class IInstanceManager;
class ISupportIntercom;

/// Looks the agent up each time and remembers only the ids under which it has registered the device,
/// so that a device never leaves a dangling pointer behind.  All operations: [driver thread]
class AgentLink {
public:
    AgentLink(IInstanceManager& instanceManager, ISupportIntercom& device);

    /// The agent, or null when none is running. Valid during the current call.
    IIntercomAgent* Find() const;

    /// The ids under which this object has registered the device.
    const std::set<unsigned long>& Ids() const { return ids_; }

    /// Registers the device; false when no agent is running.
    bool Add(unsigned long id);
    /// Removes whatever device the agent has under `id`; false when no agent is running.
    bool Remove(unsigned long id);
    /// Removes this device under every id that it still has. Passes on what another driver throws; call
    /// it again to remove the rest.
    void Withdraw();
    /// For when the agent goes away, which makes it forget the device.
    void Forget() { ids_.clear(); }

    /// Reports that a property of the device changed, once for each id; nothing without an id.
    void NotifyChanged(dvIntercom::DeviceProps property) const;

private:
    IInstanceManager& instanceManager_;
    ISupportIntercom& device_;
    std::set<unsigned long> ids_;
};

#endif
