// Time, as everything here sees it: one thread, callbacks after a delay. The program runs on libre's loop
// (LibreLoop.h), tests on a clock of their own.
#ifndef TELEPHONY_CALLCONTROL_LOOP_H
#define TELEPHONY_CALLCONTROL_LOOP_H

#include <chrono>
#include <cstdint>
#include <functional>

namespace telephony {

class Loop {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using TimerId = std::uint64_t;

    virtual ~Loop() = default;
    virtual TimePoint Now() const = 0;
    /// Calls back once, from the loop, which keeps the callback until it has returned.
    virtual TimerId After(std::chrono::milliseconds delay, std::function<void()> callback) = 0;
    /// No callback any more. An id that is over is fine.
    virtual void Forget(TimerId id) = 0;
};

/// One timer with an owner: it never fires after its end.
class Timer {
public:
    explicit Timer(Loop& loop) : loop_(loop) {}
    ~Timer() { Stop(); }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Replaces what was started before.
    void Start(std::chrono::milliseconds delay, std::function<void()> callback) {
        Stop();
        running_ = true;
        id_ = loop_.After(delay, [this, callback = std::move(callback)] {
            running_ = false;
            callback();
        });
    }
    void Stop() {
        if (running_) loop_.Forget(id_);
        running_ = false;
    }
    bool IsRunning() const { return running_; }

private:
    Loop& loop_;
    Loop::TimerId id_ = 0;
    bool running_ = false;
};

}  // namespace telephony

#endif
