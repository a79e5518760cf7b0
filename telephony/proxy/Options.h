// What sipproxy is started with: the environment, since its system manager gives no arguments, and
// options, which come before it.
#ifndef TELEPHONY_PROXY_OPTIONS_H
#define TELEPHONY_PROXY_OPTIONS_H

#include <string>

namespace proxy {

struct Options {
    enum class Task { kRun, kCheck, kStatus, kHelp };
    Task task = Task::kRun;
    bool json = false;
    std::string hostSocket;
    std::string stateFolder;
    std::string runFolder;
    std::string reportsFolder;  // for metrics and warnings; empty: none
    std::string kamailio = "kamailio";
    bool onlyThisMachine = false;
};

/// Throws Failure with one line for wrong use.
Options ReadOptions(int count, char** words);

extern const char kUsage[];

}  // namespace proxy

#endif
