#include "driverhost/plugins/DriverRestart.h"

#include <utility>

#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/StateRoots.h"
#include "host/glue/Log.h"

namespace driverhost {

DriverRestart::DriverRestart(Driver& driver, HostServices& services, Start start)
    : driver_(driver), services_(services), start_(std::move(start)) {}

RestartResult DriverRestart::Run() {
    if (CheckLibrary() && StoreState() && Reload() && LoadState()) StartDriver();
    return result_;
}

RestartResult DriverRestart::RunWith(const DvXML::INode& document) {
    if (!CheckKind(document) || !CheckLibrary() || !StoreState()) return result_;
    const std::string text = document.NodeToText();
    const bool isReloaded = Reload();
    driver_.UseState(text);
    if (isReloaded && StartDriver() && StoreDocument(text)) {
        services_.keeper.ClearWarnings(driver_.StateKey());
        return result_;
    }
    CheckRoot(document);  // the library may have been asked for its root since
    RestoreFormerState();
    return result_;
}

bool DriverRestart::CheckKind(const DvXML::INode& document) {
    const PulledState own = driver_.PullState();
    if (driver_.IsRunning() && !own.document && own.error.empty())
        return Fail(Restarted::Refused, "driver " + driver_.Name() + " keeps no state");
    return CheckRoot(document);
}

// A library whose root is not known yet is asked for it when its new driver is about to be given the
// document.
bool DriverRestart::CheckRoot(const DvXML::INode& document) {
    const std::string known = services_.roots.Find(driver_.Entry().library);
    const std::string root(document.NodeGetName());
    if (known.empty() || root == known) return true;
    return Fail(Restarted::Refused,
                "the root element is '" + root + "'; driver " + driver_.Name() + " writes '" + known + "'");
}

// When the file cannot be loaded the running driver is left alone.
bool DriverRestart::CheckLibrary() {
    const std::string& path = driver_.Entry().libraryPath;
    try {
        PluginLibrary::CheckFile(path);
    } catch (const PluginError& error) {
        return Fail(Restarted::Failed, error.what());
    }
    if (!services_.tryLibraries) return true;
    const CallScope scope(services_.thread, driver_.Name(), "the trial of its library");
    const LibraryFaults faults = services_.tryLibraries({path});
    return faults.empty() || Fail(Restarted::Failed, faults.at(path));
}

// When the disk does not take the state the driver is left alone, too.
bool DriverRestart::StoreState() {
    const FlushResult flushed = services_.keeper.Flush(driver_.StateKey());
    if (!flushed.notStored.empty()) return Fail(Restarted::NotStored, flushed.notStored);
    if (!flushed.notGiven.empty() && !AcceptLoss(flushed.notGiven)) return false;
    stateIsKnown_ = driver_.IsRunning() && flushed.notGiven.empty();
    former_ = services_.keeper.Stored(driver_.StateKey());
    return true;
}

// A driver that cannot give its state is restarted nevertheless, since nothing else may end its trouble. The
// last document that was stored becomes its state; writes that are under way come before this reading.
bool DriverRestart::AcceptLoss(const Fault& error) {
    try {
        driver_.LoadState();
    } catch (const FileError& unreadable) {
        return Fail(Restarted::NotStored, unreadable.what());
    }
    services_.keeper.Warn(driver_.StateKey(),
                          "the newest state is lost, the last one stored is kept: " + error);
    return true;
}

bool DriverRestart::Reload() {
    driver_.Stop();
    driver_.UnloadLibrary();
    try {
        driver_.LoadLibrary();
    } catch (const PluginError& error) {
        driver_.Fail(error.what());
        return Fail(Restarted::Failed, error.what());
    }
    return true;
}

// Reads the document from the disk, as the next process would. When the disk does not give back what the
// driver has just stored, the driver gets that all the same.
bool DriverRestart::LoadState() {
    try {
        driver_.LoadState();
    } catch (const FileError& error) {
        if (!stateIsKnown_ || !former_) {
            driver_.Fail(error.what());
            return Fail(Restarted::Failed, error.what());
        }
        HostLog::Write(dv::LOG_LEVEL_ERROR, driver_.Name(), error.what());
        driver_.UseState(former_);
        return true;
    }
    const bool isSame = services_.keeper.Stored(driver_.StateKey()) == former_;
    if (!stateIsKnown_ || !former_ || isSame) return true;
    driver_.UseState(former_);
    services_.keeper.Replace(driver_.StateKey(), *former_);  // when it fails, the keeper tries again
    return true;
}

bool DriverRestart::StartDriver() {
    return start_(driver_) || Fail(Restarted::Failed, driver_.Failure());
}

bool DriverRestart::StoreDocument(const std::string& document) {
    const Fault error = services_.keeper.Replace(driver_.StateKey(), document);
    return error.empty() || Fail(Restarted::NotStored, error);
}

// After a failure to store, the disk may hold the document that was refused, so the former one is marked
// and stored again.
void DriverRestart::RestoreFormerState() {
    const RestartResult refused = std::exchange(result_, {});
    const bool isReloaded = Reload();
    driver_.UseState(former_);
    const bool runs = isReloaded && StartDriver();
    const std::string back = runs ? "; it runs again with its former state"
                                  : "; with its former state it does not start either: " + result_.reason;
    result_ = {refused.outcome, refused.reason + back};
    if (refused.outcome == Restarted::NotStored) services_.keeper.Mark(driver_.StateKey());
    services_.keeper.Settle();
}

bool DriverRestart::Fail(Restarted outcome, const std::string& reason) {
    result_ = {outcome, reason};
    return false;
}

}  // namespace driverhost
