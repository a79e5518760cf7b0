// Why a request is not carried out.
#ifndef SYSMAN_FAILURE_H
#define SYSMAN_FAILURE_H

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What failed, with the system's words for `error`.
inline Failure SystemFailure(const std::string& what, int error = errno) {
    return Failure(what + ": " + std::generic_category().message(error));
}

#endif
