// Makes a state folder and keeps it for this process: two hosts must not write into one.
#ifndef DRIVERHOST_STATE_STATELOCK_H
#define DRIVERHOST_STATE_STATELOCK_H

#include <string>

#include "driverhost/runtime/FileDescriptor.h"

namespace driverhost {

class StateLock {
public:
    /// `holder` tells another host who is here. Nobody else may read the folder afterwards. Throws
    /// FileError when the folder cannot be made, belongs to somebody else, or another process
    /// holds it. The lock ends with the object, and with the process however that ends.
    StateLock(const std::string& folder, const std::string& holder);

private:
    void Take(const std::string& folder);
    void Sign(const std::string& folder, const std::string& holder);

    FileDescriptor file_;
};

/// "process 4711 with the home file /etc/home.xml": this process as a holder.
std::string DescribeHolder(const std::string& homeFile);

}  // namespace driverhost

#endif
