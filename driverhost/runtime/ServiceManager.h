// Reports the state of the process to the service manager with its datagram protocol (sd_notify(3)). Does
// nothing when there is no service manager.
#ifndef DRIVERHOST_RUNTIME_SERVICEMANAGER_H
#define DRIVERHOST_RUNTIME_SERVICEMANAGER_H

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace driverhost {

class ServiceManager {
public:
    /// Reads NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID.
    ServiceManager();

    /// For instance "READY=1". [any thread]
    void Notify(std::string_view state) const;

    /// How often it expects WATCHDOG=1; none when it does not. [any thread]
    std::optional<std::chrono::milliseconds> WatchdogInterval() const { return watchdogInterval_; }

private:
    std::string socketName_;
    std::optional<std::chrono::milliseconds> watchdogInterval_;
};

}  // namespace driverhost

#endif
