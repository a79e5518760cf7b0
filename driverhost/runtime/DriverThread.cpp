#include "driverhost/runtime/DriverThread.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <exception>
#include <utility>

#include "driverhost/runtime/HostLog.h"
#include "host/glue/Log.h"

namespace driverhost {
namespace {

constexpr std::chrono::milliseconds kBeat{1000};  // between heartbeats
constexpr int kOneThread = 1;

}  // namespace

DriverThread::DriverThread() : loop_(std::make_unique<boost::asio::io_context>(kOneThread)) {}

DriverThread::~DriverThread() = default;

void DriverThread::Post(std::function<void()> work) {
    boost::asio::post(*loop_, std::move(work));
}

void DriverThread::After(std::chrono::milliseconds delay, std::function<void()> work) {
    auto timer = std::make_shared<boost::asio::steady_timer>(*loop_, delay);
    timer->async_wait([timer, work = std::move(work)](const boost::system::error_code& error) {
        if (!error) work();
    });
}

void DriverThread::Run() {
    loop_->restart();
    if (!std::exchange(beating_, true)) Beat();
    const auto stayInLoop = boost::asio::make_work_guard(*loop_);
    while (!RunLoop()) {
    }
}

// One piece of work that fails, for example because there is no memory, must not end the others.
bool DriverThread::RunLoop() {
    try {
        loop_->run();
        return true;
    } catch (const std::exception& error) {
        HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                       std::string("a piece of work failed: ") + error.what());
        return false;
    }
}

void DriverThread::Stop() {
    loop_->stop();
}

std::optional<CallInfo> DriverThread::CurrentCall() const {
    const std::lock_guard lock(callMutex_);
    if (current_.driver.empty()) return std::nullopt;
    return CallInfo{std::string(current_.driver), std::string(current_.call), current_.since};
}

std::optional<Clock::time_point> DriverThread::LastHeartbeat() const {
    const Clock::rep ticks = lastHeartbeat_;
    if (ticks == 0) return std::nullopt;
    return Clock::time_point(Clock::duration(ticks));
}

DriverThread::Current DriverThread::Enter(const Current& call) {
    const std::lock_guard lock(callMutex_);
    return std::exchange(current_, call);
}

void DriverThread::NoteHeartbeat() {
    if (!beating_) return;
    lastHeartbeat_ = CoarseNow().time_since_epoch().count();
}

void DriverThread::Beat() {
    NoteHeartbeat();
    After(kBeat, [this] { Beat(); });
}

CallScope::CallScope(DriverThread& thread, std::string_view driver, std::string_view call)
    : thread_(thread), outer_(thread.Enter({driver, call, CoarseNow()})) {}

// A call that returns counts as a heartbeat: the next real one may be late by the length of the call.
CallScope::~CallScope() {
    thread_.NoteHeartbeat();
    thread_.Enter(outer_);
}

}  // namespace driverhost
