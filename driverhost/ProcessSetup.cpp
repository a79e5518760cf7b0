#include "driverhost/ProcessSetup.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include "driverhost/settings/Limits.h"

namespace driverhost {
namespace {

// Descriptors for everything but connections: log, state store, event loop, libraries, and what drivers open.
constexpr std::size_t kOtherDescriptors = 128;

rlim_t RaisedLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return RLIM_INFINITY;
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = limit.rlim_max;
    return setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_max : before;
}

}  // namespace

void KeepStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) >= 0 || errno != EBADF) continue;
        // open() returns the lowest free number, which is this one.
        static_cast<void>(open("/dev/null", O_RDWR));
    }
}

// Handlers, not SIG_IGN: a program that a driver starts gets the default back, and would inherit SIG_IGN.
void SurviveWriteSignals() {
    for (const int number : {SIGPIPE, SIGXFSZ})
        std::signal(number, [](int) {});
}

void RestoreChildSignal() {
    std::signal(SIGCHLD, SIG_DFL);
}

Fault FitToDescriptors(Limits& limits) {
    const rlim_t allowed = RaisedLimit();
    const std::size_t others = kOtherDescriptors + limits.refusals;
    const std::size_t wanted = limits.connections + others;
    if (allowed >= wanted) return {};
    limits.connections = std::max<std::size_t>(1, allowed > others ? allowed - others : 0);
    return "the limit of open files is " + std::to_string(allowed) + ", so only " +
           std::to_string(limits.connections) + " connections can be open; raise it to " +
           std::to_string(wanted) + " (ulimit -n, LimitNOFILE=), or lower --connections";
}

void IgnoreEndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace driverhost
