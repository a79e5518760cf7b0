// The three requests for a service.
#ifndef SYSMAN_SERVICE_H
#define SYSMAN_SERVICE_H

#include <string>

#include "sysman/StateFolder.h"

/// Each request returns what it did, in words, and throws Failure when it could not do it. None of them waits
/// for the program to end in an orderly way: that happens in the background.
class Service {
public:
    /// With an empty `program`, only the wanted state is kept.
    Service(StateFolder& state, std::string name, std::string program);

    /// The service is wanted from now on. Starts the program unless it is running; if it is still ending,
    /// kills it first. A program that ends though it is wanted is started again.
    std::string Enable();
    /// The service is no longer wanted. Asks the program to end (SIGTERM), and has it killed if it does not
    /// end in time.
    std::string Disable();
    /// Kills the program at once. Whether the service is wanted does not change.
    std::string Kill();

private:
    std::optional<Process> FindProcess() const;
    /// Kills the process. False when it has not ended after the longest wait.
    bool End(const Process& process);
    /// Leaves a process behind that sees to it, as long as nobody else starts or ends the program.
    void KeepRunning(const ProcessIdentity& started) const;

    StateFolder& state_;
    const std::string name_;
    const std::string program_;
};

#endif
