#include "driverhost/plugins/DriverTable.h"

#include <algorithm>
#include <chrono>
#include <thread>

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
