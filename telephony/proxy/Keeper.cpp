#include "telephony/proxy/Keeper.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>
#include <thread>
#include <vector>

#include "telephony/proxy/Configuration.h"

namespace proxy {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kGrace{5};
constexpr std::chrono::milliseconds kAskAgain{50};
constexpr std::chrono::milliseconds kStep{2};

void ResetSignals() {
    for (int number = 1; number < NSIG; ++number)
        std::signal(number, SIG_DFL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void Execute(const std::string& program, const std::string& folder, pid_t keeper) {
    ::setsid();  // a process group of its own, by which it is killed as a whole
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != keeper) ::_exit(127);
    ResetSignals();
    ::umask(S_IRWXG | S_IRWXO);
    const int nothing = ::open("/dev/null", O_RDONLY);
    ::dup2(nothing, STDIN_FILENO);
    ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    // -DD: the main process stays in the foreground. -E: log to standard error. -m, -M: megabytes of
    // memory, shared and of each process. A transaction stays for five seconds after its end: 32 were full
    // after 280 calls in two seconds. What is not needed is not taken from the machine.
    std::vector<std::string> words = {
        program, "-DD", "-E", "-m", "128", "-M", "4", "-Y", folder, "-w", folder, "-f", ScriptFile(folder)};
    words.insert(words.end() - 2, {"-P", folder + "/kamailio.pid"});
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    ::execvp(arguments[0], arguments.data());
    ::_exit(127);
}

// A watched process group.
class ProcessGroup {
public:
    explicit ProcessGroup(pid_t leader) : leader_(leader) {}

    /// Collects what has ended; true when the leader is among it.
    bool Collect() {
        bool ended = false;
        int status = 0;
        pid_t process = ::waitpid(-1, &status, WNOHANG);
        for (; process > 0; process = ::waitpid(-1, &status, WNOHANG)) {
            if (process != leader_) continue;
            status_ = status;
            ended = true;
        }
        isEmpty_ = process < 0 && errno == ECHILD;
        return ended;
    }

    void Ask() const { ::kill(leader_, SIGTERM); }

    // Orphans fall to this process, so when it has no child left there is nothing left at all.
    void Kill() {
        for (Collect(); !isEmpty_; Collect()) {
            ::kill(-leader_, SIGKILL);
            std::this_thread::sleep_for(kStep);
        }
    }

    int Status() const { return status_; }

private:
    const pid_t leader_;
    int status_ = 0;
    bool isEmpty_ = false;
};

void Tell(int connection, const std::string& text) {
    ::send(connection, text.data(), text.size(), MSG_NOSIGNAL);
}

// Returns when the leader has ended, or is to be killed. sipproxy asks, or is gone; either way Kamailio gets
// the time to write down who is registered.
void Watch(ProcessGroup& group, int connection, int signals) {
    std::optional<Clock::time_point> end;  // once it was asked to end
    for (;;) {
        std::array<pollfd, 2> files{pollfd{end ? -1 : connection, POLLIN, 0}, pollfd{signals, POLLIN, 0}};
        ::poll(files.data(), files.size(), end ? static_cast<int>(kAskAgain.count()) : -1);
        if (files[1].revents != 0) {
            signalfd_siginfo signal;
            while (::read(signals, &signal, sizeof signal) > 0) {
            }
            if (group.Collect()) return;
        }
        if (files[0].revents != 0) end = Clock::now() + kGrace;
        if (end && Clock::now() >= *end) return;
        // A Kamailio that is still starting notes a signal and then sleeps over it, until the next one.
        if (end) group.Ask();
    }
}

}  // namespace

void Keep(const std::string& program, const std::string& folder, int connection) {
    ResetSignals();
    std::signal(SIGINT, SIG_IGN);  // from a terminal it comes to sipproxy as well, which then asks
    std::signal(SIGTERM, SIG_IGN);
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    sigset_t children;
    ::sigemptyset(&children);
    ::sigaddset(&children, SIGCHLD);
    ::sigprocmask(SIG_BLOCK, &children, nullptr);
    const int signals = ::signalfd(-1, &children, SFD_CLOEXEC | SFD_NONBLOCK);
    const pid_t keeper = ::getpid();
    const pid_t leader = ::fork();
    if (leader == 0) Execute(program, folder, keeper);
    if (leader > 0) {
        ProcessGroup group(leader);
        Tell(connection, std::to_string(leader) + "\n");
        Watch(group, connection, signals);
        group.Kill();
        Tell(connection, std::to_string(group.Status()) + "\n");
    }
    ::_exit(0);
}

}  // namespace proxy
