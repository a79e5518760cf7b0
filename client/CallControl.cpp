#include "client/CallControl.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "client/Failure.h"

using telephony::Command;
using telephony::CommandKind;
using telephony::Event;
using telephony::EventKind;

namespace {

constexpr std::chrono::seconds kAnswerTime{5};
constexpr char kIsItRunning[] = ". Is callcontrol running?";

std::string Words(int error) {
    return std::generic_category().message(error);
}

}  // namespace

CallControl::CallControl(std::string path)
    : path_(std::move(path)), end_(Clock::now() + kAnswerTime), socket_(Connect()) {
    Command hello;
    hello.kind = CommandKind::Hello;
    hello.version = telephony::kProtocolVersion;
    hello.all = true;
    Send(hello);
}

CallControl::~CallControl() {
    ::close(socket_);
}

int CallControl::Connect() const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.size() >= sizeof address.sun_path)
        throw WrongUse("--call-control " + path_ + ": a socket's path is shorter than " +
                       std::to_string(sizeof address.sun_path) + " bytes");
    path_.copy(address.sun_path, path_.size());
    const int connection = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return connection;
    const std::string why = Words(errno);
    ::close(connection);
    Fail(why + kIsItRunning);
}

void CallControl::Fail(const std::string& why) const {
    throw Unreachable("cannot reach call control at " + path_ + ": " + why);
}

void CallControl::WaitFor(short events) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end_ - Clock::now());
    pollfd waiting{socket_, events, 0};
    const int ready =
        ::poll(&waiting, 1, static_cast<int>(std::max(left, std::chrono::milliseconds(0)).count()));
    if (ready == 0) Fail("no answer within " + std::to_string(kAnswerTime.count()) + " s");
}

void CallControl::Send(const Command& command) {
    std::string text = telephony::ToLine(command) + "\n";
    while (!text.empty()) {
        const ssize_t sent = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent >= 0)
            text.erase(0, static_cast<std::size_t>(sent));
        else if (errno == EAGAIN || errno == EINTR)
            WaitFor(POLLOUT);
        else if (errno == EPIPE)
            return;  // what it said before it closed the connection tells more
        else
            Fail(Words(errno));
    }
}

Event CallControl::Next() {
    for (;;) {
        if (auto line = reader_.Next()) {
            line_ = std::move(*line);
            try {
                return telephony::ParseEvent(line_);
            } catch (const std::exception& error) {
                Fail(std::string("what it says makes no sense: ") + error.what());
            }
        }
        WaitFor(POLLIN);
        std::array<char, 65536> piece;
        const ssize_t count = ::recv(socket_, piece.data(), piece.size(), 0);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (count < 0) Fail(Words(errno));
        if (count == 0) Fail("it closed the connection; it lets in programs of its own user only");
        if (!reader_.Add({piece.data(), static_cast<std::size_t>(count)}))
            Fail("it says a line that does not end");
    }
}

Event CallControl::Snapshot() {
    for (;;) {
        const Event event = Next();
        if (event.kind == EventKind::Snapshot) return event;
        if (event.kind == EventKind::Refused) throw Failure(EXIT_NO_ANSWER, event.reason);
    }
}
