// Looks from a thread of its own whether the driver thread turns. While one call holds it, the
// log names driver and command, the service manager is told nothing more, and new connections
// are answered here: 503, with the one at fault.
#ifndef DRIVERHOST_RUNTIME_WATCHDOG_H
#define DRIVERHOST_RUNTIME_WATCHDOG_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/FileDescriptor.h"
#include "driverhost/runtime/ServiceManager.h"

namespace driverhost {

struct WatchdogTimes {
    std::chrono::milliseconds held{10'000};  // a call that takes longer holds the thread
    std::chrono::milliseconds look{500};     // between looks
};

class Watchdog {
public:
    /// Answers in the place of the driver thread, with why it cannot: takes the whole text that is
    /// sent to the client from `answer`. [watchdog thread]
    using Answer = std::string (*)(const std::string& why);

    Watchdog(const DriverThread& thread, const ServiceManager& manager, int listeningSocket, Answer answer,
             WatchdogTimes times = {});
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
    ~Watchdog();

    /// The listening socket is about to be closed.
    void LetGoOfSocket();

private:
    void Run();
    std::optional<CallInfo> HeldCall() const;
    void OnHeld(const CallInfo& call);
    void OnTurning();
    void AnswerOne(const std::string& why);
    FileDescriptor AcceptOne();

    const DriverThread& thread_;
    const ServiceManager& manager_;
    const Answer answer_;
    const WatchdogTimes times_;

    std::optional<CallInfo> reported_;  // [watchdog thread]
    Clock::time_point lastNotified_{};  // [watchdog thread]

    std::mutex socketMutex_;
    int listeningSocket_;  // under socketMutex_; not owned
    std::mutex mutex_;
    std::condition_variable wake_;
    bool ending_ = false;  // under mutex_
    std::thread runner_;   // last: it uses what stands above
};

}  // namespace driverhost

#endif
