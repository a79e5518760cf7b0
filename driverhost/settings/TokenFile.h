// The file that holds the token which requests must show.
#ifndef DRIVERHOST_SETTINGS_TOKENFILE_H
#define DRIVERHOST_SETTINGS_TOKENFILE_H

#include <string>

namespace driverhost {

/// The token: the file's one line. Throws OptionError when the file cannot be read, may be read by
/// others than its owner, or holds no token that fits into a header line.
std::string ReadTokenFile(const std::string& path);

}  // namespace driverhost

#endif
