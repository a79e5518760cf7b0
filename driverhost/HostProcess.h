// The whole host: what lives as long as the process, and the steps from its start to its end.
#ifndef DRIVERHOST_HOSTPROCESS_H
#define DRIVERHOST_HOSTPROCESS_H

#include <memory>

#include "driverhost/home/HomeFile.h"
#include "driverhost/settings/Options.h"

namespace driverhost {

/// The operations are called in this order. All of them: [driver thread]
class HostProcess {
public:
    /// Locks the state folder and reads the pages. Throws FileError.
    HostProcess(const Options& options, const Home& home);
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;
    ~HostProcess();

    /// Throws PluginError, and then nothing is loaded.
    void LoadLibraries();
    /// Throws FileError.
    void LoadStates();
    /// Binds the address. Throws ListenError.
    void Listen();
    /// A driver that does not start is logged.
    void StartDrivers();
    /// Returns after SIGTERM or SIGINT. On SIGHUP the home file, the tokens and the pages are read again.
    void Serve();
    /// Stores the states and ends the drivers. False when a state could not be stored.
    bool StopDrivers();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace driverhost

#endif
