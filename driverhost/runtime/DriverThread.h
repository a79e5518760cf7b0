// The one thread that calls drivers, and the event loop that the network runs on as well.
//
// The thread that makes the object is the driver thread. Run turns the loop; what other threads
// want done here they Post.
#ifndef DRIVERHOST_RUNTIME_DRIVERTHREAD_H
#define DRIVERHOST_RUNTIME_DRIVERTHREAD_H

#include <time.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace boost::asio {
class io_context;
}

namespace driverhost {

/// The clock of deadlines and durations.
using Clock = std::chrono::steady_clock;

/// What Clock showed at the kernel's last tick, at most 10 ms ago (clock_gettime(2): CLOCK_MONOTONIC_COARSE
/// is the time of CLOCK_MONOTONIC, which Clock shows). For what is looked at several times in each request
/// and compared with seconds: reading the tick takes a fifth of asking the counter.
inline Clock::time_point CoarseNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return Clock::time_point(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
}

/// What the thread is busy with.
struct CallInfo {
    std::string driver;
    std::string call;
    Clock::time_point since;
};

class DriverThread {
public:
    DriverThread();
    DriverThread(const DriverThread&) = delete;
    DriverThread& operator=(const DriverThread&) = delete;
    ~DriverThread();

    /// For whoever puts sockets and timers on the loop.  [driver thread]
    boost::asio::io_context& Loop() { return *loop_; }

    /// True on the driver thread itself. [any thread]
    bool IsCurrent() const noexcept { return std::this_thread::get_id() == id_; }

    /// Runs `work` on the driver thread, never inside another piece of work. [any thread]
    void Post(std::function<void()> work);

    /// Runs `work` after a while, once.  [driver thread]
    void After(std::chrono::milliseconds delay, std::function<void()> work);

    /// Turns the loop until Stop.  [driver thread]
    void Run();
    /// [any thread]
    void Stop();

    /// The call that a driver is executing now; empty between calls. [any thread]
    std::optional<CallInfo> CurrentCall() const;

    /// When the loop last showed that it turns: by a beat, or a call that returned. Empty before the
    /// first Run. [any thread]
    std::optional<Clock::time_point> LastTurn() const;

private:
    friend class CallScope;

    struct Current {
        std::string_view driver;  // empty: no call
        std::string_view call;
        Clock::time_point since;
    };

    Current Enter(const Current& call);
    bool TurnLoop();
    void NoteTurn();
    void Beat();

    const std::thread::id id_ = std::this_thread::get_id();
    std::unique_ptr<boost::asio::io_context> loop_;
    bool beating_ = false;
    std::atomic<Clock::rep> lastTurn_{0};
    mutable std::mutex callMutex_;
    Current current_;  // under callMutex_
};

/// Marks the time during which a driver is being called. The texts must outlive the scope. Scopes
/// nest: the inner one counts.
class CallScope {
public:
    CallScope(DriverThread& thread, std::string_view driver, std::string_view call);
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;
    ~CallScope();

private:
    DriverThread& thread_;
    const DriverThread::Current outer_;
};

}  // namespace driverhost

#endif
