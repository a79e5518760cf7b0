// System events: who listens to which class, and how events are delivered.
#ifndef DRIVERHOST_RUNTIME_SYSTEMEVENTS_H
#define DRIVERHOST_RUNTIME_SYSTEMEVENTS_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/interfaces/ISystemEventCallback.h"

namespace driverhost {

/// The parameters of an event or a command, in order. Names may repeat.
using Parameters = std::vector<std::pair<std::string, std::string>>;

struct SystemEvent {
    unsigned int eventClass;
    std::string name;
    Parameters parameters;
};

/// The element that listeners receive, see ISystemEventCallback::OnSystemEvent.
dv::auto_com<DvXML::INode> BuildEventElement(const SystemEvent& event);

/// All operations: [driver thread]
class SystemEvents {
public:
    /// Identifies who registered the listener; never dereferenced.
    using Owner = const void*;
    /// Makes the call to a listener on behalf of its owner.
    using Caller = std::function<void(Owner owner, const std::function<void()>& call)>;

    /// 0; negative when these three are already registered.
    long Register(ISystemEventCallback& callback, unsigned int eventClass, unsigned long number, Owner owner);
    /// 0; negative when they were not registered.
    long Unregister(ISystemEventCallback& callback, unsigned int eventClass, unsigned long number);
    void WithdrawAll(Owner owner);

    /// Calls the listeners of the event's class through `caller`, in the order of registration. A listener
    /// that is registered meanwhile gets the next event; one that is unregistered meanwhile gets nothing
    /// more.
    void Deliver(const SystemEvent& event, const Caller& caller) const;

private:
    struct Listener {
        ISystemEventCallback* callback;  // not owned
        unsigned int eventClass;
        unsigned long number;
        Owner owner;

        bool operator==(const Listener&) const = default;
    };

    std::vector<Listener> listeners_;
};

}  // namespace driverhost

#endif
