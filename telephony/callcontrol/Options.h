// The command line.
#ifndef TELEPHONY_CALLCONTROL_OPTIONS_H
#define TELEPHONY_CALLCONTROL_OPTIONS_H

#include <chrono>
#include <stdexcept>
#include <string>

namespace telephony {

struct Options {
    std::string socket;   // for clients
    std::string proxy;    // the file that the proxy writes
    std::string journal;  // folder
    std::string media;    // rtpengine's address and port
    std::string digits;   // where it tells of digits; empty: nowhere
    std::string reports;  // folder for metrics and warnings; empty: none
    std::chrono::milliseconds silence{3000};
    std::chrono::milliseconds ringing{120000};

    std::string printOnly;  // help: to be printed instead of anything else
};

/// One line that tells what is wrong with the command line.
class OptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Throws OptionError.
Options ParseOptions(int argc, const char* const* argv);

}  // namespace telephony

#endif
