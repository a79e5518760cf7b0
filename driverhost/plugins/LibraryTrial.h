// Libraries are loaded once in a process of their own before the host loads them: one that crashes
// or hangs while it is loaded then ends that process, not the home.
#ifndef DRIVERHOST_PLUGINS_LIBRARYTRIAL_H
#define DRIVERHOST_PLUGINS_LIBRARYTRIAL_H

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace driverhost {

/// Why libraries must not be loaded, by path; those that can be are not in it.
using LibraryFaults = std::map<std::string, std::string>;

/// Has each library tried, all at once, by this program run with kTrialOption. One that is refused
/// in order is not a fault here: loading it tells why. [driver thread]
LibraryFaults TryLibraries(const std::vector<std::string>& paths, std::chrono::milliseconds time);

/// Its argument is the library's path. Not for users, so not among the options.
inline constexpr char kTrialOption[] = "--try-library";

/// What the program does then: loads the library, asks its entry, unloads it. The exit status.
int RunLibraryTrial(const std::string& path);

}  // namespace driverhost

#endif
