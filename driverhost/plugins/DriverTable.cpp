#include "driverhost/plugins/DriverTable.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <set>
#include <thread>

#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/FileSystem.h"
#include "host/glue/Log.h"
#include "host/interfaces/InterfaceIds.h"

namespace driverhost {
namespace {

constexpr long kNotUnderstood = -1;
constexpr int kLastTries = 3;  // to store a state before its driver ends
constexpr std::chrono::milliseconds kBetweenTries{500};

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

DriverTable::DriverTable(const Home& home, HostServices& services) : services_(services) {
    for (const DriverEntry& entry : home.drivers)
        drivers_.push_back(std::make_unique<Driver>(entry, services, *this));
}

// Every file is looked at before a line of any is run.
void DriverTable::LoadLibraries() {
    std::vector<std::string> paths;
    for (const auto& driver : drivers_) {
        PluginLibrary::CheckFile(driver->Entry().libraryPath);
        paths.push_back(driver->Entry().libraryPath);
    }
    const LibraryFaults faults = TryLibraries(paths);
    for (const auto& driver : drivers_) {
        const auto fault = faults.find(driver->Entry().libraryPath);
        if (fault != faults.end()) {
            driver->SetFailure(fault->second);
        } else {
            driver->LoadLibrary();
        }
    }
}

LibraryFaults DriverTable::TryLibraries(const std::vector<std::string>& paths) const {
    return services_.tryLibraries ? services_.tryLibraries(paths) : LibraryFaults();
}

std::string DriverTable::TryLibrary(const Driver& driver) const {
    const CallScope scope(services_.thread, driver.Name(), "the trial of its library");
    const std::string& path = driver.Entry().libraryPath;
    const LibraryFaults faults = TryLibraries({path});
    return faults.empty() ? std::string() : faults.at(path);
}

void DriverTable::LoadStates() {
    for (const auto& driver : drivers_)
        driver->LoadState();
}

void DriverTable::StartAll() {
    for (const auto& driver : drivers_) {
        driver->Start();
        services_.keeper.Settle();
    }
}

bool DriverTable::StopAll() {
    bool allStored = true;
    for (Driver* driver : OrderOfEnding())
        allStored = StopStored(*driver) && allStored;
    return allStored;
}

// A device driver that went first would take its devices out of the agent's groups.
std::vector<Driver*> DriverTable::OrderOfEnding() {
    std::vector<Driver*> agents;
    std::vector<Driver*> others;
    for (auto driver = drivers_.rbegin(); driver != drivers_.rend(); ++driver) {
        if (!(*driver)->IsRunning()) continue;
        const bool isAgent = (*driver)->QueryInterface(IntercomAgentInterfaceId) != nullptr;
        (isAgent ? agents : others).push_back(driver->get());
    }
    agents.insert(agents.end(), others.begin(), others.end());
    return agents;
}

bool DriverTable::StopStored(Driver& driver) {
    const std::string error = FlushPatiently(driver);
    if (!error.empty()) {
        HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                       "the last state of driver " + driver.Name() + " is lost: " + error);
    }
    driver.Stop();
    driver.UnloadLibrary();
    return error.empty();
}

std::string DriverTable::FlushPatiently(Driver& driver) {
    std::string error = services_.keeper.Flush(driver.StateKey());
    for (int tries = 1; !error.empty() && tries < kLastTries; ++tries) {
        std::this_thread::sleep_for(kBetweenTries);
        error = services_.keeper.Flush(driver.StateKey());
    }
    return error;
}

Driver* DriverTable::Find(std::string_view nameOrId) {
    const auto byName = std::find_if(drivers_.begin(), drivers_.end(),
                                     [&](const auto& driver) { return driver->Name() == nameOrId; });
    if (byName != drivers_.end()) return byName->get();
    const auto byId = std::find_if(drivers_.begin(), drivers_.end(), [&](const auto& driver) {
        return std::to_string(driver->Entry().id) == nameOrId;
    });
    return byId == drivers_.end() ? nullptr : byId->get();
}

const Driver* DriverTable::FindRunning(const std::string& libraryPath) const {
    const auto found = std::find_if(drivers_.begin(), drivers_.end(), [&](const auto& driver) {
        return driver->IsRunning() && driver->Entry().libraryPath == libraryPath;
    });
    return found == drivers_.end() ? nullptr : found->get();
}

// A file that cannot be a plug-in of this host leaves the running driver alone.
RestartResult DriverTable::Restart(Driver& driver, const std::optional<std::string>& document) {
    try {
        PluginLibrary::CheckFile(driver.Entry().libraryPath);
    } catch (const PluginError& error) {
        return {Restarted::Failed, error.what()};
    }
    if (const std::string fault = TryLibrary(driver); !fault.empty()) return {Restarted::Failed, fault};
    std::string error = services_.keeper.Flush(driver.StateKey());
    if (error.empty() && document) error = services_.keeper.Replace(driver.StateKey(), *document);
    if (!error.empty()) return {Restarted::NotStored, error};
    return StartAnew(driver);
}

RestartResult DriverTable::StartAnew(Driver& driver) {
    driver.Stop();
    driver.UnloadLibrary();
    return LoadAndStart(driver);
}

RestartResult DriverTable::LoadAndStart(Driver& driver) {
    try {
        driver.LoadLibrary();
        driver.LoadState();
    } catch (const std::exception& error) {
        driver.SetFailure(error.what());
        return {Restarted::Failed, error.what()};
    }
    if (!driver.Start()) return {Restarted::Failed, driver.Failure()};
    return {Restarted::Done, {}};
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
        LoadAndStart(*driver);
        services_.keeper.Settle();
    }
}

std::string DriverTable::Deliver(const SystemEvent& event) {
    std::string faults;
    services_.events.Deliver(event, [&](const void* instance, const std::function<void()>& call) {
        Driver* driver = FindInstance(instance);
        if (!driver) return;
        const std::string fault = driver->CallDriver("OnSystemEvent", call);
        if (!fault.empty()) faults.append(faults.empty() ? "" : "; ").append(fault);
    });
    return faults;
}

Driver* DriverTable::FindInstance(const void* instance) {
    const auto found = std::find_if(drivers_.begin(), drivers_.end(),
                                    [&](const auto& driver) { return driver->Instance() == instance; });
    return found == drivers_.end() ? nullptr : found->get();
}

long DriverTable::DriverManagerFindByInterface(unsigned long reserved, const std::string& interfaceId,
                                               std::vector<ISupportIntercom*>& found) {
    found.clear();
    if (reserved != 0 || interfaceId.empty()) return kNotUnderstood;
    for (const auto& driver : drivers_) {
        if (!driver->IsRunning()) continue;
        if (void* object = driver->QueryInterface(interfaceId)) {
            found.push_back(static_cast<ISupportIntercom*>(object));
        }
    }
    return 0;
}

}  // namespace driverhost
