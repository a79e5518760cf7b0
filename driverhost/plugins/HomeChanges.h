// What a home file that was read again changes: which drivers go, stay and come.
#ifndef DRIVERHOST_PLUGINS_HOMECHANGES_H
#define DRIVERHOST_PLUGINS_HOMECHANGES_H

#include <set>
#include <string>
#include <vector>

#include "driverhost/home/HomeFile.h"

namespace driverhost {

/// A driver that has changed goes and comes.
struct HomeChanges {
    std::vector<DriverEntry> incoming;  // new or changed, in file order
    std::set<std::string> outgoing;     // the names of those that are gone or changed
    std::string summary;                // "driver door is new, driver hall is gone"
};

/// Drivers are told apart by name, since their states are stored under it.
HomeChanges CompareHomes(const std::vector<DriverEntry>& present, const Home& home);

}  // namespace driverhost

#endif
