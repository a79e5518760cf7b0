// What went wrong, in words.
#ifndef DRIVERHOST_RUNTIME_FAULT_H
#define DRIVERHOST_RUNTIME_FAULT_H

#include <cerrno>
#include <string>
#include <system_error>

namespace driverhost {

/// Why something failed or was refused; empty when all is well.
using Fault = std::string;

/// The system's words for the error of a call, for instance "No such file or directory".
inline std::string SystemReason(int error = errno) {
    return std::generic_category().message(error);
}

}  // namespace driverhost

#endif
