// The home file: which drivers a home has, and how each of them is configured.
//
//     <home>
//       <controller><address>192.168.1.10</address></controller>
//       <driver><id>1</id><name>agent</name><library>intercom_agent</library></driver>
//       <driver><id>101</id><name>frontdoor</name><library>panel</library>
//         <config><key>frontdoor</key></config>
//       </driver>
//     </home>
#ifndef DRIVERHOST_HOME_HOMEFILE_H
#define DRIVERHOST_HOME_HOMEFILE_H

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace driverhost {

struct DriverEntry {
    unsigned long id = 0;     // 1 to 4294967295, each once
    std::string name;         // can be the name of a folder; each once
    std::string library;      // a name without folder and ending
    std::string libraryPath;  // the file
    std::string config;       // the element as XML text; "<config/>" when there is none

    bool operator==(const DriverEntry&) const = default;
};

struct Home {
    /// The controller's IPv4 address. Empty means that it has no address; none that the host finds it out.
    std::optional<std::string> address;
    std::vector<DriverEntry> drivers;  // in file order
    std::string warning = {};          // for the log; empty: none
};

/// What is wrong, in one line: FILE:LINE: fault.
class HomeFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the text of a home file. The libraries must be in `pluginFolder`. Throws HomeFileError, which calls
/// the file `fileName`.
Home ParseHome(std::string_view text, const std::string& fileName, const std::string& pluginFolder);

/// The same for the content of a file, with a warning when passwords stand in it that others may read.
Home ReadHomeFile(const std::string& path, const std::string& pluginFolder);

}  // namespace driverhost

#endif
