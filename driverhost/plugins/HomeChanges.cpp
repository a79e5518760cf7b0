// A home file that was read again: who goes, who stays, who comes.
#include <algorithm>
#include <map>
#include <set>

#include "driverhost/plugins/DriverTable.h"
#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/FileSystem.h"

namespace driverhost {
namespace {

struct HomeChanges {
    std::vector<DriverEntry> incoming;  // new or changed
    std::set<std::string> outgoing;     // gone or changed
    std::string summary;
};

void Tell(std::string& summary, const std::string& name, const char* what) {
    summary.append(summary.empty() ? "" : ", ").append("driver ").append(name).append(what);
}

// A driver is known by its name, under which its state is stored.
HomeChanges CompareHomes(const std::vector<std::unique_ptr<Driver>>& drivers, const Home& home) {
    HomeChanges changes;
    std::map<std::string, DriverEntry> earlier;
    for (const auto& driver : drivers)
        earlier.emplace(driver->Name(), driver->Entry());
    for (const DriverEntry& entry : home.drivers) {
        const auto node = earlier.extract(entry.name);
        if (!node.empty() && node.mapped() == entry) continue;
        changes.incoming.push_back(entry);
        if (!node.empty()) changes.outgoing.insert(entry.name);
        Tell(changes.summary, entry.name, node.empty() ? " is new" : " is changed and starts anew");
    }
    for (const auto& [name, entry] : earlier) {
        changes.outgoing.insert(name);
        Tell(changes.summary, name, " is gone");
    }
    if (changes.summary.empty()) changes.summary = "no driver changed";
    return changes;
}

}  // namespace

void DriverTable::StartNew(Driver& driver) {
    RestartResult result = Load(driver);
    if (result.outcome == Restarted::Done) result = TakeState(driver, std::nullopt);
    if (result.outcome == Restarted::Done) StartAgain(driver);
}

std::string DriverTable::Retire(const Home& home) {
    const HomeChanges changes = CompareHomes(drivers_, home);
    CheckLibraries(changes.incoming);
    std::vector<Driver*> outgoing;
    for (const auto& driver : drivers_)
        if (changes.outgoing.contains(driver->Name())) outgoing.push_back(driver.get());
    FlushAll(outgoing);
    for (Driver* driver : OrderOfEnding())
        if (changes.outgoing.contains(driver->Name())) StopStored(*driver);
    for (Driver* driver : outgoing)
        TakeAway(*driver);
    return changes.summary;
}

void DriverTable::CheckLibraries(const std::vector<DriverEntry>& entries) const {
    std::vector<std::string> paths;
    for (const DriverEntry& entry : entries) {
        PluginLibrary::CheckFile(entry.libraryPath);
        paths.push_back(entry.libraryPath);
    }
    const CallScope scope(services_.thread, kHostName, "the trial of libraries");
    const LibraryFaults faults = TryLibraries(paths);
    for (const DriverEntry& entry : entries) {
        const auto fault = faults.find(entry.libraryPath);
        if (fault != faults.end()) throw PluginError("driver " + entry.name + ": " + fault->second);
    }
}

void DriverTable::FlushAll(const std::vector<Driver*>& drivers) {
    for (const Driver* driver : drivers) {
        const std::string error = services_.keeper.Flush(driver->StateKey());
        if (error.empty()) continue;
        throw FileError("the state of driver " + driver->Name() + " could not be stored: " + error);
    }
}

void DriverTable::TakeAway(Driver& driver) {
    driver.UnloadLibrary();  // of one that did not run
    retired_.push_back(TakeOut(driver.Name()));
    std::erase(drivers_, nullptr);
    services_.keeper.Settle();
}

std::unique_ptr<Driver> DriverTable::TakeOut(std::string_view name) {
    const auto found = std::find_if(drivers_.begin(), drivers_.end(),
                                    [&](const auto& driver) { return driver && driver->Name() == name; });
    return found == drivers_.end() ? nullptr : std::move(*found);
}

bool DriverTable::Holds(std::string_view name) const {
    return std::any_of(drivers_.begin(), drivers_.end(),
                       [&](const auto& driver) { return driver->Name() == name; });
}

void DriverTable::Adopt(const Home& home) {
    std::vector<std::unique_ptr<Driver>> inFileOrder;
    std::vector<Driver*> incoming;
    for (const DriverEntry& entry : home.drivers) {
        auto driver = TakeOut(entry.name);
        if (!driver) {
            driver = std::make_unique<Driver>(entry, services_, *this);
            incoming.push_back(driver.get());
        }
        inFileOrder.push_back(std::move(driver));
    }
    drivers_ = std::move(inFileOrder);
    for (Driver* driver : incoming) {
        StartNew(*driver);
        services_.keeper.Settle();
    }
}

}  // namespace driverhost
