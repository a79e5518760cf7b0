// The three requests on a service.
#ifndef SYSMAN_SERVICE_H
#define SYSMAN_SERVICE_H

#include <string>

#include "sysman/StateFolder.h"

/// Each request tells what it did, in words for a person; it throws Failure when it could not do it.
/// None of them waits for the program: an orderly end is watched from the background.
class Service {
public:
    /// `program` may be empty: then there is only the wanted state to keep.
    Service(StateFolder& state, std::string name, std::string program);

    /// Wanted from now on; started unless it runs. One that is still ending is killed first.
    std::string Enable();
    /// No longer wanted; asked to end (SIGTERM), and killed when it has not ended in time.
    std::string Disable();
    /// Killed at once. Whether it is wanted stays as it is.
    std::string Kill();

private:
    std::optional<Process> FindProcess() const;
    /// False when it has not ended by the time that may be waited.
    bool End(const Process& process);

    StateFolder& state_;
    const std::string name_;
    const std::string program_;
};

#endif
