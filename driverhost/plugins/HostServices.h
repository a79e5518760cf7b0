// What the instance managers of all drivers share.
#ifndef DRIVERHOST_PLUGINS_HOSTSERVICES_H
#define DRIVERHOST_PLUGINS_HOSTSERVICES_H

#include <functional>
#include <string>
#include <vector>

#include "driverhost/plugins/LibraryTrial.h"

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
    /// Has libraries tried before they are loaded; when empty they are loaded untried.
    std::function<LibraryFaults(const std::vector<std::string>& paths)> tryLibraries = {};
};

}  // namespace driverhost

#endif
