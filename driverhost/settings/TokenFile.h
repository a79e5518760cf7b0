// Small files that the command line names: the token that requests must show, and what TLS needs.
#ifndef DRIVERHOST_SETTINGS_TOKENFILE_H
#define DRIVERHOST_SETTINGS_TOKENFILE_H

#include <cstddef>
#include <string>

namespace driverhost {

/// The token, which is the file's only line. Throws OptionError when the file cannot be read, when others
/// than its owner may read or change it, or when it holds no token that fits into a header line.
std::string ReadTokenFile(const std::string& path);

/// The content of a file. `option` is named in faults. Throws OptionError when it cannot be read, is no file,
/// or has more than `mostBytes`.
std::string ReadSmallFile(const std::string& option, const std::string& path, std::size_t mostBytes);

/// The same of a secret one. Throws OptionError, too, when others than its owner may read or change it.
std::string ReadOwnersFile(const std::string& option, const std::string& path, std::size_t mostBytes);

}  // namespace driverhost

#endif
