// System events: who listens to which class, and their delivery.
#ifndef DRIVERHOST_RUNTIME_SYSTEMEVENTS_H
#define DRIVERHOST_RUNTIME_SYSTEMEVENTS_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/interfaces/ISystemEventCallback.h"

namespace driverhost {

/// Parameters of an event or a command, in order, repeats included.
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
    /// Whoever registered the listener; only compared.
    using Owner = const void*;
    /// Makes the call of a listener in its owner's name.
    using Caller = std::function<void(Owner owner, const std::function<void()>& call)>;

    /// 0, or negative when these three are registered already.
    long Register(ISystemEventCallback& callback, unsigned int eventClass, unsigned long number, Owner owner);
    /// 0, or negative when there was none.
    long Unregister(ISystemEventCallback& callback, unsigned int eventClass, unsigned long number);
    void WithdrawAll(Owner owner);

    /// Calls the listeners of the event's class in the order of registration, through `caller`.
    /// Those registered meanwhile hear the next event, those unregistered meanwhile nothing more.
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
