#include "driverhost/plugins/DriverTable.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "driverhost/plugins/HomeChanges.h"
#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/HostLog.h"
#include "host/glue/Log.h"
#include "host/interfaces/InterfaceIds.h"

namespace driverhost {
namespace {

constexpr long kNotUnderstood = -1;
constexpr int kLastTries = 3;  // to store a state before its driver ends
constexpr std::chrono::milliseconds kBetweenTries{500};

}  // namespace

DriverTable::DriverTable(const Home& home, HostServices& services) : services_(services) {
    for (const DriverEntry& entry : home.drivers)
        drivers_.push_back(std::make_unique<Driver>(entry, services, *this));
}

// All files are checked before code of any library runs.
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
            driver->Fail(fault->second);
        } else {
            driver->LoadLibrary();
        }
    }
}

LibraryFaults DriverTable::TryLibraries(const std::vector<std::string>& paths) const {
    return services_.tryLibraries ? services_.tryLibraries(paths) : LibraryFaults();
}

void DriverTable::LoadStates() {
    for (const auto& driver : drivers_)
        driver->LoadState();
}

void DriverTable::StartAll() {
    for (const auto& driver : drivers_) {
        Start(*driver);
        services_.keeper.Settle();
    }
}

bool DriverTable::Start(Driver& driver) {
    if (!driver.HasLibrary()) return false;  // its failure is known already
    const Fault fault = StartChecked(driver);
    if (!fault.empty()) driver.Fail(fault);
    return fault.empty();
}

// A constructor may act on the home: an agent's restarts the SIP proxy. So no second driver is created beside
// a single one that runs. When no driver of the library runs, the new one says itself whether it is single.
Fault DriverTable::StartChecked(Driver& driver) {
    Fault fault = FindConflict(driver);
    if (fault.empty()) fault = driver.Create();
    if (fault.empty()) fault = FindConflict(driver);
    if (fault.empty()) fault = driver.Initialize();
    return fault;
}

Fault DriverTable::FindConflict(const Driver& driver) {
    const Driver* other = FindRunning(driver.Entry().libraryPath);
    if (!other || (!other->IsSingle() && !driver.IsSingle())) return {};
    return "one home holds one driver of this library, and that is " + other->Name();
}

Driver* DriverTable::FindRunning(const std::string& libraryPath) {
    const auto found = std::find_if(drivers_.begin(), drivers_.end(), [&](const auto& driver) {
        return driver->IsRunning() && driver->Entry().libraryPath == libraryPath;
    });
    return found == drivers_.end() ? nullptr : found->get();
}

bool DriverTable::StopAll() {
    bool allStored = true;
    for (Driver* driver : StopOrder())
        allStored = StoreAndStop(*driver) && allStored;
    return allStored;
}

// A device driver that ended before the agent would take its devices out of the agent's groups.
std::vector<Driver*> DriverTable::StopOrder() {
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

// This is the last chance to store the state, so a disk that fails is tried again.
bool DriverTable::StoreAndStop(Driver& driver) {
    FlushResult flushed = services_.keeper.Flush(driver.StateKey());
    for (int tries = 1; !flushed.notStored.empty() && tries < kLastTries; ++tries) {
        std::this_thread::sleep_for(kBetweenTries);
        flushed = services_.keeper.Flush(driver.StateKey());
    }
    if (!flushed.IsStored()) {
        HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                       "the last state of driver " + driver.Name() + " is lost: " + flushed.notGiven +
                           flushed.notStored);
    }
    driver.Stop();
    driver.UnloadLibrary();
    return flushed.IsStored();
}

std::string DriverTable::RemoveOutdated(const Home& home) {
    std::vector<DriverEntry> present;
    for (const auto& driver : drivers_)
        present.push_back(driver->Entry());
    const HomeChanges changes = CompareHomes(present, home);
    CheckLibraries(changes.incoming);
    for (const auto& driver : drivers_)
        if (changes.outgoing.contains(driver->Name())) CheckStored(*driver);
    for (Driver* driver : StopOrder())
        if (changes.outgoing.contains(driver->Name())) StoreAndStop(*driver);
    for (const std::string& name : changes.outgoing) {
        const auto gone = Extract(name);
        std::erase(drivers_, nullptr);
    }
    services_.keeper.Settle();
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

// A driver that cannot give its state is no reason to leave the home as it was: nothing would change that.
void DriverTable::CheckStored(const Driver& driver) const {
    const Fault error = services_.keeper.Flush(driver.StateKey()).notStored;
    if (error.empty()) return;
    throw FileError("the state of driver " + driver.Name() + " could not be stored: " + error);
}

// Null when there is none of that name; else its place stays empty.
std::unique_ptr<Driver> DriverTable::Extract(std::string_view name) {
    const auto found = std::find_if(drivers_.begin(), drivers_.end(),
                                    [&](const auto& driver) { return driver && driver->Name() == name; });
    return found == drivers_.end() ? nullptr : std::move(*found);
}

void DriverTable::AddMissing(const Home& home) {
    std::vector<std::unique_ptr<Driver>> inFileOrder;
    std::vector<Driver*> incoming;
    for (const DriverEntry& entry : home.drivers) {
        auto driver = Extract(entry.name);
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

void DriverTable::LoadAndStart(Driver& driver) {
    try {
        driver.LoadLibrary();
        driver.LoadState();
    } catch (const std::runtime_error& error) {  // PluginError, FileError
        return driver.Fail(error.what());
    }
    Start(driver);
}

RestartResult DriverTable::Restart(Driver& driver) {
    return DriverRestart(driver, services_, [this](Driver& again) { return Start(again); }).Run();
}

RestartResult DriverTable::RestartWith(Driver& driver, const DvXML::INode& document) {
    // What a driver that does not run would write, another one of its library can show.
    Driver* sibling = driver.IsRunning() ? nullptr : FindRunning(driver.Entry().libraryPath);
    if (sibling) sibling->PullState();
    return DriverRestart(driver, services_, [this](Driver& again) { return Start(again); }).RunWith(document);
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

void* DriverTable::FindInterface(const std::string& id) const {
    return services_.interfaces.Find(id);
}

std::string DriverTable::Deliver(const SystemEvent& event) {
    std::string faults;
    services_.events.Deliver(event, [&](const void* instance, const std::function<void()>& call) {
        Driver* driver = FindInstance(instance);
        if (!driver) return;
        const Fault fault = driver->CallDriver("OnSystemEvent", call);
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
