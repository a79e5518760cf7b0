#include "driverhost/plugins/LibraryTrial.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>
#include <optional>
#include <thread>

#include "driverhost/plugins/PluginLibrary.h"
#include "driverhost/runtime/Fault.h"
#include "driverhost/runtime/HostLog.h"
#include "host/glue/Log.h"

namespace driverhost {
namespace {

using std::chrono::steady_clock;

constexpr char kThisProgram[] = "/proc/self/exe";
constexpr std::chrono::milliseconds kBetweenLooks{1};

// Exit statuses that a library does not use by chance, as it might 0 and 1.
constexpr int kFits = 86;
constexpr int kRefused = 87;
constexpr int kThrew = 88;

// The standard streams lead nowhere: what a library prints while it is loaded it prints again in the host.
pid_t Spawn(const std::string& path) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
    std::string option = kTrialOption;
    std::string argument = path;
    std::string program = kThisProgram;
    const std::array<char*, 4> words = {program.data(), option.data(), argument.data(), nullptr};
    pid_t id = 0;
    const int error = posix_spawn(&id, kThisProgram, &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error == 0) return id;
    HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                   path + " is loaded without a trial: " + SystemReason(error));
    return 0;
}

// The status; no value when the process had not ended in time and was killed.
std::optional<int> WaitFor(pid_t id, steady_clock::time_point end) {
    int status = 0;
    for (;;) {
        const pid_t ended = waitpid(id, &status, WNOHANG);
        if (ended != 0) return ended == id ? status : 0;
        if (steady_clock::now() >= end) break;
        std::this_thread::sleep_for(kBetweenLooks);
    }
    kill(id, SIGKILL);
    waitpid(id, &status, 0);
    return std::nullopt;
}

Fault FaultOf(const std::optional<int>& status, std::chrono::milliseconds time) {
    if (!status) {
        return "its library was not loaded within " + std::to_string(time.count()) + " ms (--library-time)";
    }
    const std::string crash = "its library ends the process that loads it: ";
    if (WIFSIGNALED(*status)) return crash + strsignal(WTERMSIG(*status));
    switch (WEXITSTATUS(*status)) {
        case kFits:
        case kRefused:
            return {};
        case kThrew:
            return "its library throws while it is loaded";
        default:
            return crash + "exit status " + std::to_string(WEXITSTATUS(*status));
    }
}

}  // namespace

LibraryFaults TryLibraries(const std::vector<std::string>& paths, std::chrono::milliseconds time) {
    std::map<std::string, pid_t> trials;
    for (const std::string& path : paths)
        if (!trials.contains(path)) trials[path] = Spawn(path);
    const steady_clock::time_point end = steady_clock::now() + time;
    LibraryFaults faults;
    for (const auto& [path, id] : trials) {
        if (id == 0) continue;
        const Fault fault = FaultOf(WaitFor(id, end), time);
        if (!fault.empty()) faults[path] = fault;
    }
    return faults;
}

int RunLibraryTrial(const std::string& path) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // a hanging library must not outlive the host
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);  // the host reports the crash; a core file would only fill the disk
    try {
        const PluginLibrary library(path);
    } catch (const PluginError&) {
        return kRefused;
    } catch (...) {
        return kThrew;
    }
    return kFits;
}

}  // namespace driverhost
