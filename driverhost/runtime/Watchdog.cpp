#include "driverhost/runtime/Watchdog.h"

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>

#include <array>
#include <string_view>

#include "driverhost/runtime/FileDescriptor.h"
#include "driverhost/runtime/HostLog.h"
#include "host/glue/Log.h"

namespace driverhost {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kPatience{200};  // with a client that is slow to send or to read
constexpr milliseconds kWaitForClient{100};

bool IsReadable(int socket, milliseconds time) {
    pollfd entry{socket, POLLIN, 0};
    return poll(&entry, 1, static_cast<int>(time.count())) > 0;
}

// What the client sends makes no difference. But if it were left unread, closing the socket would destroy the
// answer.
bool ReadSome(int socket) {
    std::array<char, 4096> bytes;
    return IsReadable(socket, kPatience) && recv(socket, bytes.data(), bytes.size(), MSG_DONTWAIT) > 0;
}

void Send(int socket, std::string_view text) {
    // A new connection has room for so few bytes. If the client has gone, nothing is lost.
    static_cast<void>(send(socket, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
    shutdown(socket, SHUT_WR);
}

std::string Seconds(Clock::duration time) {
    return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(time).count()) + " s";
}

std::string Describe(const CallInfo& call) {
    return "driver " + call.driver + " has held the driver thread in " + call.call + " for " +
           Seconds(Clock::now() - call.since);
}

}  // namespace

Watchdog::Watchdog(const DriverThread& thread, const ServiceManager& manager, int listeningSocket,
                   Answer answer, WatchdogTimes times)
    : thread_(thread),
      manager_(manager),
      answer_(answer),
      times_(times),
      answers_(listeningSocket >= 0),
      listeningSocket_(listeningSocket),
      runner_([this] { Run(); }) {}

Watchdog::~Watchdog() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    wake_.notify_one();
    runner_.join();
}

void Watchdog::ReleaseSocket() {
    const std::lock_guard lock(socketMutex_);
    listeningSocket_ = -1;
}

void Watchdog::Run() {
    pthread_setname_np(pthread_self(), "watchdog");
    std::unique_lock lock(mutex_);
    while (!ending_) {
        lock.unlock();
        if (const auto call = HeldCall()) {
            OnHeld(*call);
        } else {
            OnRunning();
        }
        lock.lock();
        const milliseconds pause = reported_ ? milliseconds(0) : times_.look;
        wake_.wait_for(lock, pause, [this] { return ending_; });
    }
}

// If the loop does not run although no driver is being called, the host itself is at fault.
std::optional<CallInfo> Watchdog::HeldCall() const {
    const Clock::time_point now = Clock::now();
    if (auto call = thread_.CurrentCall()) {
        if (now - call->since >= times_.held) return call;
        return std::nullopt;
    }
    const auto heartbeat = thread_.LastHeartbeat();
    if (!heartbeat || now - *heartbeat < times_.held) return std::nullopt;
    return CallInfo{std::string(kHostName), "its own work", *heartbeat};
}

void Watchdog::OnHeld(const CallInfo& call) {
    const std::string why = Describe(call);
    if (!reported_ || reported_->since != call.since) {
        const char* what =
            answers_ ? "; requests are answered with 503 meanwhile" : "; requests wait meanwhile";
        HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName, why + what);
    }
    reported_ = call;
    AnswerOne(why);
}

void Watchdog::OnRunning() {
    if (reported_) {
        HostLog::Write(dv::LOG_LEVEL_INFO, kHostName,
                       "driver " + reported_->driver + " has released the driver thread after " +
                           Seconds(Clock::now() - reported_->since));
        reported_.reset();
    }
    const auto interval = manager_.WatchdogInterval();
    const Clock::time_point now = Clock::now();
    if (!interval || now - lastNotified_ < *interval / 2) return;
    lastNotified_ = now;
    manager_.Notify("WATCHDOG=1");
}

void Watchdog::AnswerOne(const std::string& why) {
    const FileDescriptor client = AcceptOne();
    if (!client || !ReadSome(client.Get())) return;
    Send(client.Get(), answer_(why));
    while (ReadSome(client.Get())) {
    }
}

FileDescriptor Watchdog::AcceptOne() {
    const std::lock_guard lock(socketMutex_);
    if (listeningSocket_ < 0) {
        std::this_thread::sleep_for(kWaitForClient);
        return {};
    }
    if (!IsReadable(listeningSocket_, kWaitForClient)) return {};
    if (!HeldCall()) return {};  // the call has returned meanwhile, and the driver thread accepts again
    return FileDescriptor(accept4(listeningSocket_, nullptr, nullptr, SOCK_CLOEXEC));
}

}  // namespace driverhost
