// The command line.
#ifndef DRIVERHOST_SETTINGS_OPTIONS_H
#define DRIVERHOST_SETTINGS_OPTIONS_H

#include <stdexcept>
#include <string>

#include "driverhost/settings/Limits.h"
#include "driverhost/settings/ListenAddress.h"

namespace driverhost {

/// What the process returns.
enum ExitStatus : int {
    EXIT_ORDERLY = 0,   // ended as it was told to
    EXIT_NO_START = 1,  // address in use, state folder unusable; or the last state could not be stored
    EXIT_WRONG_USE = 2  // wrong options, faulty home file or plug-in
};

struct Options {
    std::string home;
    std::string stateFolder;
    ListenAddress listen;
    std::string token;  // empty: none is asked for
    std::string pluginFolder;
    unsigned int logLevel = 0;
    Limits limits;

    std::string printOnly;  // help or version: to be printed instead of anything else
};

/// One line that tells what is wrong with the command line.
class OptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Throws OptionError. Reads the token file, too.
Options ParseOptions(int argc, const char* const* argv);

}  // namespace driverhost

#endif
