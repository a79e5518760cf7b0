// Drivers that are restarted, and put back as they were when that fails.
#include "driverhost/plugins/DriverTable.h"
#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/FileSystem.h"
#include "host/glue/Log.h"

namespace driverhost {

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
    if (const std::string fault = TryLibrary(driver); !fault.empty()) return {Restarted::Failed, fault};
    const std::string error = services_.keeper.Flush(driver.StateKey());
    if (!error.empty()) return {Restarted::NotStored, error};
    return {Restarted::Done, {}};
}

RestartResult DriverTable::Reload(Driver& driver) {
    driver.Stop();
    driver.UnloadLibrary();
    return Load(driver);
}

RestartResult DriverTable::Load(Driver& driver) {
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

std::string DriverTable::TryLibrary(const Driver& driver) const {
    const CallScope scope(services_.thread, driver.Name(), "the trial of its library");
    const std::string& path = driver.Entry().libraryPath;
    const LibraryFaults faults = TryLibraries({path});
    return faults.empty() ? std::string() : faults.at(path);
}

}  // namespace driverhost
