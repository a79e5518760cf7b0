// A driver's clock: it is called on the driver thread when a time has come.
#ifndef DRIVERS_CALLS_ALARM_H
#define DRIVERS_CALLS_ALARM_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

class IInstanceManager;

/// All operations: [driver thread]. None of them waits.
class Alarm {
public:
    using Clock = std::chrono::steady_clock;

    /// The manager outlives the alarm.
    Alarm(IInstanceManager& instanceManager, std::function<void()> ring);
    /// Afterwards it does not ring.
    ~Alarm();
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

    /// Rings once at that time, and no longer at the one that was set before; without one, never. One that
    /// was under way already may still ring, so whoever is called looks at the clock.
    void Set(std::optional<Clock::time_point> time);

private:
    void Run();
    void Post();

    IInstanceManager& instanceManager_;
    const std::function<void()> ring_;
    std::shared_ptr<Alarm*> alive_;  // work that is posted holds it weakly

    std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<Clock::time_point> time_;  // both threads', as the next
    bool ending_ = false;

    std::thread thread_;
};

#endif
