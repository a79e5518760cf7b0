// The file with the token that requests must show.
#ifndef DRIVERHOST_SETTINGS_TOKENFILE_H
#define DRIVERHOST_SETTINGS_TOKENFILE_H

#include <string>

namespace driverhost {

/// The token, which is the file's only line. Throws OptionError when the file cannot be read, when others
/// than its owner may read or change it, or when it holds no token that fits into a header line.
std::string ReadTokenFile(const std::string& path);

}  // namespace driverhost

#endif
