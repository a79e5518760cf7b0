// Starts a process, and finds and ends one that was started earlier, perhaps by another run of this program.
// No other process is ever mistaken for it.
#ifndef SYSMAN_PROCESS_H
#define SYSMAN_PROCESS_H

#include <sys/types.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

/// The longest that a step may wait. Our caller waits for us in the middle of its own work, 200 ms at most,
/// and a request has at most three such steps: for the lock, for an end, for a start.
inline constexpr std::chrono::milliseconds kLongestStep{50};

/// Why a request could not be carried out.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What failed, and the system's reason.
inline Failure SystemFailure(const std::string& what, int error = errno) {
    return Failure(what + ": " + std::generic_category().message(error));
}

/// The system uses process numbers again, but never the same number, start time and boot together.
struct ProcessIdentity {
    pid_t id = 0;
    unsigned long long startTime = 0;  // clock ticks since the boot
    std::string boot;

    bool operator==(const ProcessIdentity&) const = default;

    /// None when there is no such process, or when it has ended and nobody has waited for it yet.
    static std::optional<ProcessIdentity> OfLiving(pid_t id);
    /// The same for a child of ours, which may have ended.
    static std::optional<ProcessIdentity> OfChild(pid_t id);
};

/// A handle of one process. Signals reach that process or none.
class Process {
public:
    /// None when that process has ended.
    static std::optional<Process> Find(const ProcessIdentity& identity);

    Process(Process&& other) noexcept;
    Process& operator=(Process&&) = delete;
    ~Process();

    void Signal(int number) const;
    /// False when the process is still there after `time`.
    bool WaitForEnd(std::chrono::milliseconds time) const;
    /// Leaves a small process behind, which kills this one unless it ends in time.
    void KillLater(std::chrono::milliseconds grace) const;

private:
    explicit Process(int handle) : handle_(handle) {}

    int handle_;  // a pidfd
};

/// Starts a program, given by its path or its name on the PATH, without arguments and in a session of its
/// own. It has no input, prints into `logFile`, and inherits no open file of ours or our caller's. Throws
/// Failure when it cannot be executed.
enum class Log { Anew, GoesOn };
ProcessIdentity StartProgram(const std::string& program, const std::string& logFile, Log log);

/// Leaves a process behind that has no open file of ours and does `work`.
void LeaveBehind(const std::function<void()>& work);

#endif
