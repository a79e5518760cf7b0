// Takes the folder that holds all states: makes it, closes it to other users, and keeps other hosts out.
#ifndef DRIVERHOST_STATE_STATELOCK_H
#define DRIVERHOST_STATE_STATELOCK_H

#include <string>

#include "driverhost/runtime/FileDescriptor.h"

namespace driverhost {

class StateLock {
public:
    /// Two hosts must not write into one folder: the lock lasts as long as the object, and ends with
    /// the process however that ends. `holder` is what another host says about this one.
    ///
    /// Takes from other users what they may do with the folder, with the drivers' folders in it and
    /// with the files in those, also of drivers that have left the home, and logs each change. Throws
    /// FileError when the folder cannot be made, when something in it belongs to another user, or
    /// when another process holds the lock.
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
