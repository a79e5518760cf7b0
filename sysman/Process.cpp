#include "sysman/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <fstream>
#include <sstream>
#include <utility>

// The header of this C library does not declare that its functions are C.
extern "C" {
#include <sys/pidfd.h>
}

namespace {

struct Stat {
    std::string state;  // empty when there is no such process
    unsigned long long startTime = 0;
};

// See /proc/PID/stat in proc(5). The program's name is in parentheses, and may have blanks and parentheses in
// it. Of the fields after it, the first is the state and the twentieth the start time.
Stat ReadStat(pid_t id) {
    constexpr int kFieldsBetween = 18;
    std::ifstream file("/proc/" + std::to_string(id) + "/stat");
    std::string line;
    std::getline(file, line);
    Stat stat;
    if (line.empty()) return stat;
    std::istringstream fields(line.substr(line.rfind(')') + 1));
    std::string skipped;
    fields >> stat.state;
    for (int number = 0; number < kFieldsBetween; ++number)
        fields >> skipped;
    fields >> stat.startTime;
    return stat;
}

std::string BootId() {
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string id;
    file >> id;
    return id.empty() ? "unknown" : id;
}

bool WaitReadable(int file, std::chrono::milliseconds time) {
    pollfd waiting{file, POLLIN, 0};
    return ::poll(&waiting, 1, static_cast<int>(time.count())) > 0;
}

// The first thing that a child process does. It must not keep anything open that somebody waits for.
void Detach(int output) {
    ::setsid();
    const int nothing = ::open("/dev/null", O_RDWR);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(output < 0 ? nothing : output, STDOUT_FILENO);
    ::dup2(output < 0 ? nothing : output, STDERR_FILENO);
}

// The host blocks or handles signals that the program must get.
void ResetSignals() {
    for (int number = 1; number < NSIG; ++number)
        std::signal(number, SIG_DFL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Runs in the child. Writes the error into `report` when it fails.
[[noreturn]] void Execute(const std::string& program, int log, int report) {
    Detach(log);
    ResetSignals();
    ::umask(S_IWGRP | S_IWOTH);
    ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    std::string name = program;
    std::array<char*, 2> arguments = {name.data(), nullptr};
    ::execvp(name.c_str(), arguments.data());
    const int error = errno;
    const ssize_t told = ::write(report, &error, sizeof error);
    ::_exit(told == sizeof error ? 126 : 127);
}

// The report is closed without a word when the program runs. Nobody waits long for a slow disk.
void CheckStarted(pid_t child, int report, const std::string& program) {
    int error = 0;
    if (!WaitReadable(report, kLongestStep)) return;
    if (::read(report, &error, sizeof error) != sizeof error) return;
    ::waitpid(child, nullptr, 0);
    throw SystemFailure("cannot start " + program, error);
}

}  // namespace

std::optional<ProcessIdentity> ProcessIdentity::OfLiving(pid_t id) {
    const Stat stat = ReadStat(id);
    if (stat.state.empty() || stat.state == "Z" || stat.state == "X") return std::nullopt;
    return ProcessIdentity{id, stat.startTime, BootId()};
}

std::optional<ProcessIdentity> ProcessIdentity::OfChild(pid_t id) {
    const Stat stat = ReadStat(id);
    if (stat.state.empty()) return std::nullopt;
    return ProcessIdentity{id, stat.startTime, BootId()};
}

// Opens the handle before it checks the identity: if the process ends in between, the handle still means that
// one.
std::optional<Process> Process::Find(const ProcessIdentity& identity) {
    const int handle = ::pidfd_open(identity.id, 0);
    if (handle < 0) return std::nullopt;
    Process process(handle);
    if (ProcessIdentity::OfLiving(identity.id) != identity) return std::nullopt;
    return process;
}

Process::Process(Process&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}

Process::~Process() {
    if (handle_ >= 0) ::close(handle_);
}

void Process::Signal(int number) const {
    if (::pidfd_send_signal(handle_, number, nullptr, 0) != 0 && errno != ESRCH)
        throw SystemFailure("cannot signal the program");
}

bool Process::WaitForEnd(std::chrono::milliseconds time) const {
    return WaitReadable(handle_, time);
}

void Process::KillLater(std::chrono::milliseconds grace) const {
    const pid_t child = ::fork();
    if (child < 0) throw SystemFailure("cannot wait for the program's end");
    if (child > 0) return;
    Detach(-1);
    const int handle = ::dup2(handle_, STDERR_FILENO);
    ::close_range(STDERR_FILENO + 1, ~0U, 0);
    if (!WaitReadable(handle, grace)) ::pidfd_send_signal(handle, SIGKILL, nullptr, 0);
    ::_exit(0);
}

void LeaveBehind(const std::function<void()>& work) {
    const pid_t child = ::fork();
    if (child < 0) throw SystemFailure("cannot start a process");
    if (child > 0) return;
    Detach(-1);
    ::close_range(STDERR_FILENO + 1, ~0U, 0);
    work();
    ::_exit(0);
}

ProcessIdentity StartProgram(const std::string& program, const std::string& logFile, Log wanted) {
    const int how = wanted == Log::Anew ? O_TRUNC : O_APPEND;
    const int log = ::open(logFile.c_str(), O_WRONLY | O_CREAT | how | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (log < 0) throw SystemFailure("cannot write " + logFile);
    int report[2];
    if (::pipe2(report, O_CLOEXEC) != 0) throw SystemFailure("cannot start " + program);
    const pid_t child = ::fork();
    if (child < 0) throw SystemFailure("cannot start " + program);
    if (child == 0) Execute(program, log, report[1]);
    ::close(report[1]);
    const std::optional<ProcessIdentity> identity = ProcessIdentity::OfChild(child);
    CheckStarted(child, report[0], program);
    if (!identity) throw Failure("cannot identify " + program + ": /proc does not show it");
    return *identity;
}
