// Checks from its own thread whether the driver thread is running. While one call holds that up, the log
// names the driver and the command, the service manager gets no more signs of life, and new connections are
// answered here, with 503 and the names.
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
    std::chrono::milliseconds held{10'000};  // a call that takes longer is reported
    std::chrono::milliseconds look{500};     // between checks
};

class Watchdog {
public:
    /// Makes the complete answer that a client gets when the driver thread cannot answer, for the reason
    /// `why`. [watchdog thread]
    using Answer = std::string (*)(const std::string& why);

    /// Without a socket (-1) nobody is answered.
    Watchdog(const DriverThread& thread, const ServiceManager& manager, int listeningSocket, Answer answer,
             WatchdogTimes times = {});
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
    ~Watchdog();

    /// Stops using the listening socket, which is about to be closed.
    void ReleaseSocket();

private:
    void Run();
    std::optional<CallInfo> HeldCall() const;
    void OnHeld(const CallInfo& call);
    void OnRunning();
    void AnswerOne(const std::string& why);
    FileDescriptor AcceptOne();

    const DriverThread& thread_;
    const ServiceManager& manager_;
    const Answer answer_;
    const WatchdogTimes times_;
    const bool answers_;

    std::optional<CallInfo> reported_;  // [watchdog thread]
    Clock::time_point lastNotified_{};  // [watchdog thread]

    std::mutex socketMutex_;
    int listeningSocket_;  // under socketMutex_; not owned
    std::mutex mutex_;
    std::condition_variable wake_;
    bool ending_ = false;  // under mutex_
    std::thread runner_;   // last, because it uses everything above
};

}  // namespace driverhost

#endif
