// What the host offers to all drivers alike.
#ifndef DRIVERHOST_PLUGINS_HOSTSERVICES_H
#define DRIVERHOST_PLUGINS_HOSTSERVICES_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "driverhost/plugins/LibraryTrial.h"

namespace driverhost {

class DriverReaders;
class DriverThread;
class Metrics;
class StateKeeper;
class StateRoots;
class SystemEvents;

/// The interfaces that drivers publish for each other. All operations: [driver thread]
class InterfaceTable {
public:
    /// Who published an interface; only compared.
    using Owner = const void*;

    /// 0; negative when the id is empty, the object null, or the id already published.
    long Publish(const std::string& id, void* object, Owner owner) {
        if (id.empty() || !object) return -1;
        return published_.try_emplace(id, Entry{object, owner}).second ? 0 : -1;
    }

    /// 0; negative when that owner has not published the id.
    long Withdraw(const std::string& id, Owner owner) {
        const auto found = published_.find(id);
        if (found == published_.end() || found->second.owner != owner) return -1;
        published_.erase(found);
        return 0;
    }

    /// Null when nobody has published the id.
    void* Find(const std::string& id) const {
        const auto found = published_.find(id);
        return found == published_.end() ? nullptr : found->second.object;
    }

    void WithdrawAll(Owner owner) {
        std::erase_if(published_, [owner](const auto& entry) { return entry.second.owner == owner; });
    }

private:
    struct Entry {
        void* object;  // not owned
        Owner owner;
    };

    std::map<std::string, Entry> published_;
};

/// Not owned; all of it outlives every driver.
struct HostServices {
    DriverThread& thread;
    SystemEvents& events;
    InterfaceTable& interfaces;
    Metrics& metrics;
    StateKeeper& keeper;
    StateRoots& roots;
    DriverReaders& readers;
    /// Sends one notification, as XML text, to the user interfaces. Calls nobody back.
    std::function<void(std::string element)> sendToUi;
    /// Tries libraries before they are loaded; when empty they are loaded untried.
    std::function<LibraryFaults(const std::vector<std::string>& paths)> tryLibraries = {};
};

}  // namespace driverhost

#endif
