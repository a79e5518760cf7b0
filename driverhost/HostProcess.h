// The host as a whole: everything that lives as long as the process, and the steps of its life.
#ifndef DRIVERHOST_HOSTPROCESS_H
#define DRIVERHOST_HOSTPROCESS_H

#include <memory>

#include "driverhost/home/HomeFile.h"
#include "driverhost/settings/Options.h"

namespace driverhost {

/// The steps in their order. All operations: [driver thread]
class HostProcess {
public:
    /// Takes the state folder. Throws FileError.
    HostProcess(const Options& options, const Home& home);
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;
    ~HostProcess();

    /// Throws PluginError; nothing is loaded then.
    void LoadLibraries();
    /// Throws FileError.
    void LoadStates();
    /// Takes the address. Throws ListenError.
    void Listen();
    /// Drivers that do not start are logged.
    void StartDrivers();
    /// Until SIGTERM or SIGINT. On SIGHUP the home file is read again.
    void Serve();
    /// Stores the states and ends the drivers. False when a state could not be stored.
    bool StopDrivers();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace driverhost

#endif
