// Starts one driver again, with its library loaded anew, and puts it back as it was when that fails.
#ifndef DRIVERHOST_PLUGINS_DRIVERRESTART_H
#define DRIVERHOST_PLUGINS_DRIVERRESTART_H

#include <functional>
#include <optional>
#include <string>

#include "driverhost/plugins/Driver.h"

namespace driverhost {

enum class Restarted {
    Done,
    Refused,    // the document is not one that the driver writes
    NotStored,  // a state could not be stored, so the driver was left with what it had
    Failed      // the driver does not run, or runs on as it was because its library cannot be loaded
};

struct RestartResult {
    Restarted outcome = Restarted::Done;
    std::string reason;  // empty when it is Done
};

/// One restart. All operations: [driver thread]
class DriverRestart {
public:
    /// `start` starts the driver, whose library is loaded, and returns true when it runs.
    using Start = std::function<bool(Driver& driver)>;

    DriverRestart(Driver& driver, HostServices& services, Start start);

    /// With the state that it has.
    RestartResult Run();
    /// With `document` instead, see DriverTable::RestartWith.
    RestartResult RunWith(const DvXML::INode& document);

private:
    // The steps; each returns true when the restart goes on, else result_ says why not.
    bool CheckKind(const DvXML::INode& document);
    bool CheckRoot(const DvXML::INode& document);
    bool CheckLibrary();
    bool StoreState();
    bool AcceptLoss(const Fault& error);
    bool Reload();
    bool LoadState();
    bool StartDriver();
    bool StoreDocument(const std::string& document);
    void RestoreFormerState();

    bool Fail(Restarted outcome, const std::string& reason);

    Driver& driver_;
    HostServices& services_;
    const Start start_;

    RestartResult result_;
    bool stateIsKnown_ = false;          // the driver gave its state, and that is what former_ holds
    std::optional<std::string> former_;  // the document that was stored before
};

}  // namespace driverhost

#endif
