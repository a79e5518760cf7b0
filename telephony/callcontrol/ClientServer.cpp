#include "telephony/callcontrol/ClientServer.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "telephony/callcontrol/Log.h"

namespace telephony {
namespace {

constexpr std::size_t kMostConnections = 300;
constexpr std::size_t kPiece = 65536;
constexpr int kBacklog = 64;
// A connection that keeps sending what is no command is a fault or worse.
constexpr int kMostFaults = 100;

sockaddr_un AddressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw std::runtime_error("the socket's path " + path + " is longer than a socket's may be");
    path.copy(address.sun_path, path.size());
    return address;
}

bool SomebodyListens(const sockaddr_un& address) {
    const Descriptor trial(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return connect(trial.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

bool IsThisUsers(int connection, std::string& who) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return false;
    who = "user " + std::to_string(peer.uid) + ", process " + std::to_string(peer.pid);
    return peer.uid == geteuid();
}

}  // namespace

class ClientServer::Connection : public Client {
public:
    Connection(ClientServer& server, int number, std::string name)
        : server_(server), name_(std::move(name)), socket_(number), end_(server.loop_) {
        Watch();
    }

    const std::string& Name() const { return name_; }

    void Tell(const std::string& line) override {
        if (broken_) return;
        if (!queue_.Add(line))
            return Break("does not read what it is told: " + std::to_string(queue_.Waiting().size()) +
                         " bytes wait");
        Send();
    }

private:
    // Not at once: whoever tells this client goes through all of them.
    void Break(const std::string& why) {
        if (broken_) return;
        broken_ = true;
        end_.Start(std::chrono::milliseconds(0), [this, why] { server_.Drop(*this, why); });
    }

    void Watch() {
        socket_.Watch(true, !queue_.Waiting().empty(), [this](bool readable, bool writable) {
            if (writable) Send();
            if (readable && !broken_) Receive();
        });
    }

    void Send() {
        while (!queue_.Waiting().empty()) {
            const auto waiting = queue_.Waiting();
            const ssize_t sent =
                send(socket_.Get(), waiting.data(), waiting.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
            if (sent < 0) return Break(std::strerror(errno));
            queue_.Sent(static_cast<std::size_t>(sent));
        }
        Watch();
    }

    void Receive() {
        std::array<char, kPiece> piece;
        const ssize_t count = recv(socket_.Get(), piece.data(), piece.size(), MSG_DONTWAIT);
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return;
        if (count <= 0)
            return Break(count < 0               ? std::strerror(errno)
                         : reader_.HasHalfLine() ? "it broke off within a line"
                                                 : "");
        const bool fits = reader_.Add(std::string_view(piece.data(), static_cast<std::size_t>(count)));
        while (!broken_) {
            const auto line = reader_.Next();
            if (!line) break;
            Execute(*line);
        }
        if (!fits) {
            TellRefused("the line is longer than " + std::to_string(kLongestLine) + " bytes");
            Break("sent a line that does not end");
        }
    }

    void Execute(const std::string& line) {
        try {
            server_.table_.Execute(*this, ParseCommand(line));
        } catch (const CommandError& error) {
            TellRefused(error.what());
            if (++faults_ == 1) LogLine(name_ + " sent what is no command: " + error.what());
            if (faults_ == kMostFaults)
                Break("sent " + std::to_string(faults_) + " lines that are no commands");
        }
    }

    void TellRefused(const std::string& reason) {
        Event event;
        event.kind = EventKind::Refused;
        event.code = END_NOT_ACCEPTABLE;
        event.reason = reason;
        Tell(ToLine(event));
    }

    ClientServer& server_;
    const std::string name_;
    Descriptor socket_;
    LineReader reader_;
    LineQueue queue_;
    int faults_ = 0;
    bool broken_ = false;
    Timer end_;
};

ClientServer::ClientServer(Loop& loop, CallTable& table, std::string path)
    : loop_(loop), table_(table), path_(std::move(path)) {
    const sockaddr_un address = AddressOf(path_);
    if (SomebodyListens(address)) throw std::runtime_error("another process listens on " + path_);
    unlink(path_.c_str());
    socket_ = std::make_unique<Descriptor>(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const mode_t before = umask(0177);
    const int bound = bind(socket_->Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    umask(before);
    if (bound != 0 || listen(socket_->Get(), kBacklog) != 0)
        throw std::runtime_error("cannot listen on " + path_ + ": " + std::strerror(errno));
    socket_->Watch(true, false, [this](bool, bool) { Accept(); });
}

ClientServer::~ClientServer() {
    for (const auto& [connection, owner] : connections_)
        table_.Leave(*connection);
    unlink(path_.c_str());
}

void ClientServer::Accept() {
    const int number = accept4(socket_->Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (number < 0) return;
    std::string who;
    if (!IsThisUsers(number, who) || connections_.size() >= kMostConnections) {
        LogLine("a connection is refused (" + who +
                "): " + (connections_.size() >= kMostConnections ? "too many" : "not this program's user"));
        close(number);
        ++refused_;
        return;
    }
    const std::string name = "client " + std::to_string(next_++) + " (" + who + ")";
    auto connection = std::make_unique<Connection>(*this, number, name);
    connections_[connection.get()] = std::move(connection);
}

void ClientServer::Drop(Connection& connection, const std::string& why) {
    if (!why.empty()) {
        LogLine(connection.Name() + " is closed: " + why);
        ++closed_;
    }
    table_.Leave(connection);
    connections_.erase(&connection);
}

}  // namespace telephony
