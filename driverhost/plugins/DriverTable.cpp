#include "driverhost/plugins/DriverTable.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/FileSystem.h"
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

void DriverTable::LoadLibraries() {
    for (const auto& driver : drivers_)
        driver->LoadLibrary();
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

RestartResult DriverTable::Restart(Driver& driver) {
    RestartResult result = Prepare(driver);
    if (result.outcome != Restarted::Done) return result;
    const bool isKnown = driver.IsRunning();
    const std::optional<std::string> flushed = services_.keeper.Stored(driver.StateKey());
    result = Reload(driver);
    if (result.outcome == Restarted::Done) result = TakeState(driver, isKnown ? flushed : std::nullopt);
    return result.outcome == Restarted::Done ? StartAgain(driver) : result;
}

// The state of a driver that ran is known: a disk that does not give it back takes nothing from it.
RestartResult DriverTable::TakeState(Driver& driver, const std::optional<std::string>& known) {
    try {
        driver.LoadState();
    } catch (const FileError& error) {
        if (!known) {
            driver.SetFailure(error.what());
            return {Restarted::Failed, error.what()};
        }
        HostLog::Write(dv::LOG_LEVEL_ERROR, driver.Name(), error.what());
        driver.UseState(known);
        return {Restarted::Done, {}};
    }
    if (!known || services_.keeper.Stored(driver.StateKey()) == known) return {Restarted::Done, {}};
    driver.UseState(known);
    services_.keeper.Replace(driver.StateKey(), *known);  // when it fails, the keeper tries again
    return {Restarted::Done, {}};
}

RestartResult DriverTable::RestartWith(Driver& driver, const std::string& document) {
    RestartResult result = Prepare(driver);
    if (result.outcome != Restarted::Done) return result;
    const std::optional<std::string> former = services_.keeper.Stored(driver.StateKey());
    result = TryState(driver, document);
    if (result.outcome == Restarted::Done) {
        services_.keeper.Forgive(driver.StateKey());
    } else {
        GoBack(driver, former, result);
    }
    return result;
}

// A file that cannot be a plug-in of this host leaves the running driver alone, as does a disk that
// does not take its state.
RestartResult DriverTable::Prepare(Driver& driver) {
    try {
        PluginLibrary::CheckFile(driver.Entry().libraryPath);
    } catch (const PluginError& error) {
        return {Restarted::Failed, error.what()};
    }
    const std::string error = services_.keeper.Flush(driver.StateKey());
    if (!error.empty()) return {Restarted::NotStored, error};
    return {Restarted::Done, {}};
}

RestartResult DriverTable::Reload(Driver& driver) {
    driver.Stop();
    driver.UnloadLibrary();
    try {
        driver.LoadLibrary();
    } catch (const PluginError& error) {
        driver.SetFailure(error.what());
        return {Restarted::Failed, error.what()};
    }
    return {Restarted::Done, {}};
}

RestartResult DriverTable::StartAgain(Driver& driver) {
    if (!driver.Start()) return {Restarted::Failed, driver.Failure()};
    return {Restarted::Done, {}};
}

RestartResult DriverTable::TryState(Driver& driver, const std::string& document) {
    RestartResult result = Reload(driver);
    if (result.outcome != Restarted::Done) return result;
    driver.UseState(document);
    result = StartAgain(driver);
    if (result.outcome != Restarted::Done) return result;
    const std::string error = services_.keeper.Replace(driver.StateKey(), document);
    if (!error.empty()) return {Restarted::NotStored, error};
    return result;
}

// After a failure to store, the disk may hold the document that was not taken; so the former one is
// marked and stored anew.
void DriverTable::GoBack(Driver& driver, const std::optional<std::string>& former, RestartResult& result) {
    RestartResult back = Reload(driver);
    if (back.outcome == Restarted::Done) {
        driver.UseState(former);
        back = StartAgain(driver);
    }
    result.reason += back.outcome == Restarted::Done
                         ? "; it runs again with its former state"
                         : "; with its former state it does not start either: " + back.reason;
    if (result.outcome == Restarted::NotStored) services_.keeper.Mark(driver.StateKey());
    services_.keeper.Settle();
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
