#include "tests/support/FakeHost.h"

#include <algorithm>

#include "host/interfaces/InterfaceIds.h"

namespace test {

namespace {

std::string Subscription(const char* verb, unsigned int eventClass, unsigned long number) {
    return std::string(verb) + " " + std::to_string(eventClass) + " " + std::to_string(number);
}

}  // namespace

std::size_t FakeHost::Deliver(unsigned int eventClass, DvXML::INode& event) {
    std::size_t told = 0;
    for (const Listener& listener : std::vector<Listener>(listeners_)) {
        if (listener.eventClass != eventClass) continue;
        listener.callback->OnSystemEvent(event);
        ++told;
    }
    return told;
}

void FakeHost::RunPosted() {
    while (!posted_.empty()) {
        const boost::function<void()> work = posted_.front();
        posted_.pop_front();
        work();
    }
}

long FakeHost::InstanceRegisterInterface(const std::string& interfaceId, void* object) {
    const bool taken = !published_.emplace(interfaceId, object).second;
    recorder_.Note("register " + interfaceId);
    return taken ? -1 : 0;
}

long FakeHost::InstanceUnregisterInterface(const std::string& interfaceId) {
    const bool known = published_.erase(interfaceId) != 0;
    recorder_.Note("unregister " + interfaceId);
    return known ? 0 : -1;
}

void* FakeHost::InstanceFindInterface(const std::string& interfaceId) {
    const auto found = published_.find(interfaceId);
    return found == published_.end() ? nullptr : found->second;
}

long FakeHost::RegisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                                unsigned long number) {
    const Listener listener{&callback, eventClass, number};
    const bool known = std::find(listeners_.begin(), listeners_.end(), listener) != listeners_.end();
    if (!known) listeners_.push_back(listener);
    recorder_.Note(Subscription("listen", eventClass, number));
    return known ? -1 : 0;
}

long FakeHost::UnregisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                                  unsigned long number) {
    const auto erased = std::erase(listeners_, Listener{&callback, eventClass, number});
    recorder_.Note(Subscription("unlisten", eventClass, number));
    return erased != 0 ? 0 : -1;
}

void FakeHost::SendDataToUI(const DvXML::INode& element) {
    recorder_.Note("ui " + element.NodeToText());
}

void FakeHost::WriteLog(unsigned int level, const std::string& text) {
    recorder_.Note("log " + std::to_string(level) + " " + text);
}

void FakeHost::PostToDriverThread(boost::function<void()> work) {
    posted_.push_back(work);
    recorder_.Note("post");
}

void FakeHost::WithdrawAll() {
    published_.clear();
    listeners_.clear();
    recorder_.Note("withdraw all");
}

bool FakeHost::SendDataToReader(unsigned long reader, const DvXML::INode& element) {
    if (!readers.contains(reader)) return false;
    recorder_.Note("reader " + std::to_string(reader) + " " + element.NodeToText());
    return true;
}

long FakeHost::DriverManagerFindByInterface(unsigned long reserved, const std::string& interfaceId,
                                            std::vector<ISupportIntercom*>& found) {
    found.clear();
    if (interfaceId == IntercomDeviceInterfaceId) found = drivers;
    recorder_.Note("find " + std::to_string(reserved) + " " + interfaceId);
    return 0;
}

}  // namespace test
