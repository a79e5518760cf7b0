// Loads libraries in a process of their own before the host loads them: a library that crashes or hangs
// while it is loaded then ends that process, and not the host.
#ifndef DRIVERHOST_PLUGINS_LIBRARYTRIAL_H
#define DRIVERHOST_PLUGINS_LIBRARYTRIAL_H

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "driverhost/runtime/Fault.h"

namespace driverhost {

/// Why libraries must not be loaded, by path. A library that can be loaded is not in it.
using LibraryFaults = std::map<std::string, Fault>;

/// Tries all libraries at once, each in a process that runs this program with kTrialOption. A library
/// that PluginLibrary refuses is no fault here: loading it gives the reason. [driver thread]
LibraryFaults TryLibraries(const std::vector<std::string>& paths, std::chrono::milliseconds time);

/// Its argument is the library's path. It is not for users, so --help does not show it.
inline constexpr char kTrialOption[] = "--try-library";

/// What such a process does: loads the library, calls its entry, unloads it. The exit status.
int RunLibraryTrial(const std::string& path);

}  // namespace driverhost

#endif
