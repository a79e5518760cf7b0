#include "driverhost/runtime/SystemEvents.h"

#include <algorithm>

namespace driverhost {
namespace {

constexpr long kAlreadyRegistered = -1;
constexpr long kNotRegistered = -1;

}  // namespace

dv::auto_com<DvXML::INode> BuildEventElement(const SystemEvent& event) {
    auto element = DvXML::CreateXmlNode("event", "");
    element->NodeAddNamedValue("name", event.name);
    for (const auto& [name, value] : event.parameters) {
        const auto parameter = DvXML::CreateXmlNode("param", value);
        parameter->NodeAddNamedValue("name", name);
        element->NodeAddChild(parameter.get());
    }
    return element;
}

long SystemEvents::Register(ISystemEventCallback& callback, unsigned int eventClass, unsigned long number,
                            Owner owner) {
    const auto same = [&](const Listener& listener) {
        return listener.callback == &callback && listener.eventClass == eventClass &&
               listener.number == number;
    };
    if (std::any_of(listeners_.begin(), listeners_.end(), same)) return kAlreadyRegistered;
    listeners_.push_back({&callback, eventClass, number, owner});
    return 0;
}

long SystemEvents::Unregister(ISystemEventCallback& callback, unsigned int eventClass, unsigned long number) {
    const auto erased = std::erase_if(listeners_, [&](const Listener& listener) {
        return listener.callback == &callback && listener.eventClass == eventClass &&
               listener.number == number;
    });
    return erased > 0 ? 0 : kNotRegistered;
}

void SystemEvents::WithdrawAll(Owner owner) {
    std::erase_if(listeners_, [owner](const Listener& listener) { return listener.owner == owner; });
}

void SystemEvents::Deliver(const SystemEvent& event, const Caller& caller) const {
    const std::vector<Listener> walked = listeners_;
    for (const Listener& listener : walked) {
        if (listener.eventClass != event.eventClass) continue;
        if (std::find(listeners_.begin(), listeners_.end(), listener) == listeners_.end()) continue;
        // Each listener gets an element of its own, so that none sees the changes of another.
        const auto element = BuildEventElement(event);
        caller(listener.owner, [&] { listener.callback->OnSystemEvent(*element); });
    }
}

}  // namespace driverhost
