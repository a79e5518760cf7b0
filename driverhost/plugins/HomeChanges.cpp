#include "driverhost/plugins/HomeChanges.h"

#include <map>

namespace driverhost {
namespace {

void Append(std::string& summary, const std::string& name, const char* what) {
    summary.append(summary.empty() ? "" : ", ").append("driver ").append(name).append(what);
}

}  // namespace

HomeChanges CompareHomes(const std::vector<DriverEntry>& present, const Home& home) {
    HomeChanges changes;
    std::map<std::string, DriverEntry> rest;
    for (const DriverEntry& entry : present)
        rest.emplace(entry.name, entry);
    for (const DriverEntry& entry : home.drivers) {
        const auto earlier = rest.extract(entry.name);
        if (!earlier.empty() && earlier.mapped() == entry) continue;
        changes.incoming.push_back(entry);
        if (!earlier.empty()) changes.outgoing.insert(entry.name);
        Append(changes.summary, entry.name, earlier.empty() ? " is new" : " is changed and starts anew");
    }
    for (const auto& [name, entry] : rest) {
        changes.outgoing.insert(name);
        Append(changes.summary, name, " is gone");
    }
    if (changes.summary.empty()) changes.summary = "no driver changed";
    return changes;
}

}  // namespace driverhost
