// A process that was started earlier, perhaps by another run of this program: found again without
// ever taking a stranger for it, ended, and started.
#ifndef SYSMAN_PROCESS_H
#define SYSMAN_PROCESS_H

#include <sys/types.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

/// The longest that a step may wait. Our caller waits for us in the middle of its own work, 200 ms at most,
/// and a request has at most three such steps: for the lock, for an end, for a start.
inline constexpr std::chrono::milliseconds kLongestStep{50};

/// Why a request is not carried out.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What failed, with the system's words for `error`.
inline Failure SystemFailure(const std::string& what, int error = errno) {
    return Failure(what + ": " + std::generic_category().message(error));
}

/// Process numbers are used again; number, start time and boot together are not.
struct ProcessIdentity {
    pid_t id = 0;
    unsigned long long startTime = 0;  // clock ticks since the boot
    std::string boot;

    bool operator==(const ProcessIdentity&) const = default;

    /// None when no such process lives; one that has ended and nobody has waited for does not.
    static std::optional<ProcessIdentity> OfLiving(pid_t id);
    /// The same for a child that nobody has waited for, be it alive or not.
    static std::optional<ProcessIdentity> OfChild(pid_t id);
};

/// A handle on one living process. Signals reach it or nobody.
class Process {
public:
    /// None when that process has ended.
    static std::optional<Process> Find(const ProcessIdentity& identity);

    Process(Process&& other) noexcept;
    Process& operator=(Process&&) = delete;
    ~Process();

    void Signal(int number) const;
    /// False when it still lives after `time`.
    bool WaitForEnd(std::chrono::milliseconds time) const;
    /// Leaves a small process behind that kills this one unless it ends in time.
    void KillLater(std::chrono::milliseconds grace) const;

private:
    explicit Process(int handle) : handle_(handle) {}

    int handle_;  // a pidfd
};

/// Starts a program by its path or by its name on the PATH, without arguments, in a session of its
/// own: it reads nothing, prints into `logFile`, and inherits no open file of ours or of our caller's.
/// Throws Failure when it cannot be executed.
ProcessIdentity StartProgram(const std::string& program, const std::string& logFile);

#endif
