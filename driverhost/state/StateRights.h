// States hold passwords in clear: nobody but the owner of the process may read or write them.
#ifndef DRIVERHOST_STATE_STATERIGHTS_H
#define DRIVERHOST_STATE_STATERIGHTS_H

#include <string>

namespace driverhost {

/// Looks at the folder itself. What others may do there is taken from them, and the log says so.
/// Throws FileError when it is no folder, belongs to somebody else, or cannot be changed.
void SecureFolder(const std::string& path);

/// The same for all that lies in it, two levels deep: the drivers' folders and their files, of
/// drivers that have left the home, too.
void SecureContents(const std::string& path);

}  // namespace driverhost

#endif
