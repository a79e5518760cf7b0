// The command line.
#ifndef DRIVERHOST_SETTINGS_OPTIONS_H
#define DRIVERHOST_SETTINGS_OPTIONS_H

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "driverhost/settings/Limits.h"
#include "driverhost/settings/ListenAddress.h"
#include "driverhost/settings/TokenFile.h"

namespace driverhost {

/// The exit statuses of the process.
enum ExitStatus : int {
    EXIT_ORDERLY = 0,  // ended when asked to, states stored
    EXIT_NO_START =
        1,  // could not start (address in use, state folder unusable), or could not store the last state
    EXIT_WRONG_USE = 2  // wrong options, a fault in the home file, or a plug-in that does not fit
};

/// The paths; empty when there is none.
struct TlsFiles {
    std::string certificate;  // with those between it and the authority, if any
    std::string key;
    std::string authority;  // given to clients on the plain port
};

struct Options {
    std::string home;
    std::string stateFolder;
    ListenAddress listen;
    TlsFiles tls;
    std::optional<ListenAddress> plainListen;  // the port without TLS
    std::string socket;                        // the unix socket's path
    std::string tokenFile;                     // empty: requests need no token
    std::vector<Token> tokens;                 // those that stand in it
    std::string pluginFolder;
    std::string webFolder;      // the pages; empty: there are none
    std::string reportsFolder;  // where other programs leave metrics and warnings; empty: none
    unsigned int logLevel = 0;
    Limits limits;

    std::string printOnly;  // help, version or rights; the process prints it and does nothing else
};

/// What is wrong with the command line, in one line.
class OptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the token file as well. Throws OptionError.
Options ParseOptions(int argc, const char* const* argv);

}  // namespace driverhost

#endif
