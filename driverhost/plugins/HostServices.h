// What the instance managers of all drivers share.
#ifndef DRIVERHOST_PLUGINS_HOSTSERVICES_H
#define DRIVERHOST_PLUGINS_HOSTSERVICES_H

#include <functional>
#include <string>

namespace driverhost {

class DriverThread;
class InterfaceTable;
class Metrics;
class StateKeeper;
class SystemEvents;

/// Not owned; all of it outlives every driver.
struct HostServices {
    DriverThread& thread;
    SystemEvents& events;
    InterfaceTable& interfaces;
    Metrics& metrics;
    StateKeeper& keeper;
    /// Takes one notification for user interfaces, as XML text. Calls nobody back.
    std::function<void(std::string element)> sendToUi;
};

}  // namespace driverhost

#endif
