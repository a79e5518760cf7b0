#include "drivers/calls/CallControlLink.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "host/glue/Log.h"
#include "host/interfaces/IInstanceManager.h"

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using telephony::Command;
using telephony::CommandKind;
using telephony::Event;
using telephony::EventKind;

namespace {

constexpr std::size_t kPiece = 65536;
// A call control that keeps sending what is no event is none.
constexpr int kMostFaults = 100;

void Wake(int wakeup) {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeup, &one, sizeof one);
}

void Drain(int wakeup) {
    std::uint64_t count;
    [[maybe_unused]] const ssize_t taken = read(wakeup, &count, sizeof count);
}

}  // namespace

// What is known of one connection.
struct CallControlLink::Conversation {
    int socket;
    telephony::LineReader reader;
    int faults = 0;
    bool greeted = false;   // the snapshot has come
    bool answerDue = true;  // to the hello, then to each status
    steady_clock::time_point asked = steady_clock::now();
    steady_clock::time_point heard = steady_clock::now();
};

CallControlLink::CallControlLink(IInstanceManager& instanceManager, CallControlUser& user, std::string path,
                                 telephony::Device device, Times times)
    : instanceManager_(instanceManager),
      user_(user),
      path_(std::move(path)),
      device_(std::move(device)),
      times_(times),
      wakeup_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      alive_(std::make_shared<CallControlLink*>(this)) {
    if (wakeup_ < 0) throw std::runtime_error(std::string("no eventfd: ") + std::strerror(errno));
    thread_ = std::thread([this] { Run(); });
}

CallControlLink::~CallControlLink() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    Wake(wakeup_);
    thread_.join();
    close(wakeup_);
}

bool CallControlLink::Send(const Command& command) {
    const std::lock_guard lock(mutex_);
    if (!queue_ || connection_ != seen_ || overflown_) return false;
    if (!queue_->Add(telephony::ToLine(command))) {
        overflown_ = true;  // the thread ends the connection
        Wake(wakeup_);
        return false;
    }
    asked_ = false;
    Wake(wakeup_);
    return true;
}

// ---- the thread

void CallControlLink::Run() {
    milliseconds retry = times_.firstRetry;
    std::string told;
    while (!IsEnding()) {
        std::string trouble;
        bool spoke = false;
        if (const int socket = Connect(trouble); socket >= 0) {
            trouble = Serve(socket, spoke);
            close(socket);
        }
        if (spoke) {
            retry = times_.firstRetry;
            told.clear();
        }
        if (IsEnding()) return;
        if (trouble != told) PostLost(trouble);
        told = trouble;
        if (EndsWithin(retry)) return;
        retry = std::min(2 * retry, times_.longestRetry);
    }
}

bool CallControlLink::IsEnding() {
    const std::lock_guard lock(mutex_);
    return ending_;
}

bool CallControlLink::EndsWithin(milliseconds time) {
    const auto end = steady_clock::now() + time;
    while (!IsEnding()) {
        const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now()).count();
        pollfd ready{wakeup_, POLLIN, 0};
        if (left <= 0 || poll(&ready, 1, static_cast<int>(left)) == 0) return false;
        Drain(wakeup_);
    }
    return true;
}

int CallControlLink::Connect(std::string& trouble) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.size() >= sizeof address.sun_path) {
        trouble = "the path " + path_ + " is longer than a socket's may be";
        return -1;
    }
    path_.copy(address.sun_path, path_.size());
    // Without waiting: a call control that accepts nobody must not hold this thread.
    const int number = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (number >= 0 && connect(number, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return number;
    trouble = "nobody can be reached on " + path_ + ": " + std::strerror(errno);
    if (number >= 0) close(number);
    return -1;
}

void CallControlLink::Ask(const Command& question) {
    if (!queue_->Add(telephony::ToLine(question))) overflown_ = true;
    asked_ = true;
}

std::string CallControlLink::Serve(int socket, bool& spoke) {
    Conversation conversation{socket, telephony::LineReader()};
    {
        const std::lock_guard lock(mutex_);
        queue_ = std::make_unique<telephony::LineQueue>();
        ++connection_;
        overflown_ = false;
        Command hello;
        hello.kind = CommandKind::Hello;
        hello.version = telephony::kProtocolVersion;
        hello.devices = {device_};
        Ask(hello);
    }
    std::string trouble;
    while (trouble.empty()) {
        trouble = Transmit(socket);
        if (!trouble.empty()) break;
        const auto now = steady_clock::now();
        const auto limit =
            conversation.answerDue ? conversation.asked + times_.answer : conversation.heard + times_.idle;
        bool writes = false;
        {
            const std::lock_guard lock(mutex_);
            if (ending_) break;
            // Each batch of commands is followed by a question that is always answered, so that a call
            // control that hangs is noticed.
            if (!conversation.answerDue && (!asked_ || now >= limit)) {
                Command status;
                status.kind = CommandKind::Status;
                Ask(status);
                conversation.answerDue = true;
                conversation.asked = now;
                continue;
            }
            writes = !queue_->Waiting().empty();
        }
        if (now >= limit) {
            trouble = "it does not answer";
            break;
        }
        const auto wait = std::chrono::ceil<milliseconds>(limit - now).count();
        pollfd ready[] = {{socket, static_cast<short>(writes ? POLLIN | POLLOUT : POLLIN), 0},
                          {wakeup_, POLLIN, 0}};
        poll(ready, std::size(ready), static_cast<int>(wait));
        if (ready[1].revents != 0) Drain(wakeup_);
        if (ready[0].revents & (POLLIN | POLLHUP | POLLERR)) trouble = Receive(conversation);
    }
    spoke = conversation.greeted;
    const std::lock_guard lock(mutex_);
    queue_.reset();
    return trouble;
}

std::string CallControlLink::Transmit(int socket) {
    const std::lock_guard lock(mutex_);
    if (overflown_) return "it does not read what it is told";
    while (!queue_->Waiting().empty()) {
        const auto waiting = queue_->Waiting();
        const ssize_t sent = send(socket, waiting.data(), waiting.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) break;
        if (sent < 0) return std::string("it cannot be told anything: ") + std::strerror(errno);
        queue_->Sent(static_cast<std::size_t>(sent));
    }
    return {};
}

std::string CallControlLink::Receive(Conversation& conversation) {
    std::array<char, kPiece> piece;
    const ssize_t count = recv(conversation.socket, piece.data(), piece.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return {};
    // A reset is how it shows that the other end closed with something unread.
    if (count < 0 && errno != ECONNRESET) return std::strerror(errno);
    if (count <= 0)
        return conversation.reader.HasHalfLine() ? "it broke off within a line" : "it closed the connection";
    conversation.heard = steady_clock::now();
    const bool fits = conversation.reader.Add({piece.data(), static_cast<std::size_t>(count)});
    while (const auto line = conversation.reader.Next())
        if (std::string trouble = Take(conversation, *line); !trouble.empty()) return trouble;
    return fits ? "" : "it sent a line that does not end";
}

std::string CallControlLink::Take(Conversation& conversation, const std::string& line) {
    Event event;
    try {
        event = telephony::ParseEvent(line);
    } catch (const std::exception& error) {
        if (++conversation.faults == 1)
            instanceManager_.WriteLog(dv::LOG_LEVEL_ERROR,
                                      std::string("call control sent what is no event: ") + error.what());
        return conversation.faults < kMostFaults ? "" : "it keeps sending what is no event";
    }
    if (event.kind == EventKind::Snapshot) {
        conversation.greeted = true;
        conversation.answerDue = false;
    }
    if (!conversation.greeted)
        return event.kind == EventKind::Refused ? "it refuses this driver: " + event.reason : "";
    PostEvent(std::move(event));
    return {};
}

// A link that has ended by the time the work runs hears nothing of it.
void CallControlLink::PostEvent(Event event) {
    instanceManager_.PostToDriverThread(
        [weak = std::weak_ptr(alive_), connection = connection_, event = std::move(event)] {
            const auto alive = weak.lock();
            if (!alive) return;
            if (event.kind == EventKind::Snapshot) (*alive)->seen_ = connection;
            (*alive)->user_.OnCallControlEvent(event);
        });
}

void CallControlLink::PostLost(const std::string& reason) {
    instanceManager_.PostToDriverThread([weak = std::weak_ptr(alive_), reason] {
        if (const auto alive = weak.lock()) (*alive)->user_.OnCallControlLost(reason);
    });
}
