// Reads from a library file which host it was built for, before a line of it runs.
#ifndef DRIVERHOST_PLUGINS_ABINOTE_H
#define DRIVERHOST_PLUGINS_ABINOTE_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace driverhost {

/// Names the library's path and what was expected of it.
class PluginError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The version in the file's dv::AbiNote; none when it has no such note. Throws PluginError when
/// the file cannot be read or is no shared library of this machine.
std::optional<std::uint32_t> ReadAbiVersion(const std::string& path);

}  // namespace driverhost

#endif
