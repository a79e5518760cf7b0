// The loop on libre: timers and descriptors of its re_main.
#ifndef TELEPHONY_CALLCONTROL_LIBRELOOP_H
#define TELEPHONY_CALLCONTROL_LIBRELOOP_H

#include <functional>
#include <map>
#include <memory>

#include "telephony/callcontrol/Loop.h"

namespace telephony {

class LibreLoop : public Loop {
public:
    LibreLoop();
    ~LibreLoop() override;

    TimePoint Now() const override;
    TimerId After(std::chrono::milliseconds delay, std::function<void()> callback) override;
    void Forget(TimerId id) override;

    /// Runs until Stop. SIGTERM, SIGINT call `onSignal`.
    void Run(std::function<void()> onSignal);
    void Stop();

private:
    struct Pending;
    static void Fire(void* pending);

    std::map<TimerId, std::unique_ptr<Pending>> pending_;
    TimerId next_ = 1;
};

/// A descriptor that is closed with its owner and, while it is watched, calls back.
class Descriptor {
public:
    using Ready = std::function<void(bool readable, bool writable)>;

    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Get() const { return number_; }
    void Watch(bool readable, bool writable, Ready ready);

private:
    static void OnReady(int flags, void* descriptor);

    int number_;
    Ready ready_;
};

}  // namespace telephony

#endif
