// The one thread that calls drivers, and its event loop, which serves the network as well.
//
// The driver thread is the one that creates the object. Run runs the loop. Other threads use Post to have
// something done here.
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

/// The time of Clock at the kernel's last tick, at most 10 ms ago (clock_gettime(2), CLOCK_MONOTONIC_COARSE).
/// It costs a fifth of reading the exact time, and serves where that is done several times in each request
/// and the result is compared with seconds.
inline Clock::time_point CoarseNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return Clock::time_point(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
}

/// A call that the thread is making.
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

    /// The loop, for sockets and timers.  [driver thread]
    boost::asio::io_context& Loop() { return *loop_; }

    /// True when the caller is the driver thread. [any thread]
    bool IsCurrent() const noexcept { return std::this_thread::get_id() == id_; }

    /// Runs `work` on the driver thread, but never during another piece of work. [any thread]
    void Post(std::function<void()> work);

    /// Runs `work` once, after `delay`.  [driver thread]
    void After(std::chrono::milliseconds delay, std::function<void()> work);

    /// Runs the loop until Stop.  [driver thread]
    void Run();
    /// [any thread]
    void Stop();

    /// The call that is being made into a driver; none between calls. [any thread]
    std::optional<CallInfo> CurrentCall() const;

    /// When the loop last showed that it is running, by a heartbeat or a call that returned. None before the
    /// first Run. [any thread]
    std::optional<Clock::time_point> LastHeartbeat() const;

private:
    friend class CallScope;

    struct Current {
        std::string_view driver;  // empty: no call
        std::string_view call;
        Clock::time_point since;
    };

    Current Enter(const Current& call);
    bool RunLoop();
    void NoteHeartbeat();
    void Beat();

    const std::thread::id id_ = std::this_thread::get_id();
    std::unique_ptr<boost::asio::io_context> loop_;
    bool beating_ = false;
    std::atomic<Clock::rep> lastHeartbeat_{0};
    mutable std::mutex callMutex_;
    Current current_;  // under callMutex_
};

/// Marks the time during which a driver is being called. The texts must outlive the scope. Where scopes are
/// nested, the inner one counts.
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
