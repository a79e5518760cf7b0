// Makes a state folder and keeps it for this process: two hosts must not write into one.
#ifndef DRIVERHOST_STATE_STATELOCK_H
#define DRIVERHOST_STATE_STATELOCK_H

#include <string>

#include "driverhost/runtime/FileDescriptor.h"

namespace driverhost {

class StateLock {
public:
    /// Throws FileError when the folder cannot be made or another process holds it. The lock ends
    /// with the object, and with the process however that ends.
    explicit StateLock(const std::string& folder);

private:
    FileDescriptor file_;
};

}  // namespace driverhost

#endif
