// How long it takes until every reader has one event.
//
//     event_readers sse|mqtt PORT READERS ROUNDS [dead]
//
// Opens the readers, all on one epoll loop, then causes one event a round and measures from there until the
// last reader has it whole. Prints the seconds of each round as JSON. With `dead` there is one more reader
// beside them, with a small buffer, that asks for all the past and never reads.
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench/events/Protocol.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kEventsAtOnce = 256;
constexpr int kPatienceMs = 10'000;
constexpr std::size_t kReadBytes = 4096;
constexpr int kSmallBuffer = 4096;
constexpr std::chrono::milliseconds kPause{5};  // between rounds: whatever a round leaves behind is done
constexpr std::chrono::milliseconds kUntilFull{
    500};  // for the server to fill what the dead reader has room for

int Checked(int result, const char* what) {
    if (result < 0) throw std::runtime_error(std::string("event_readers: cannot ") + what);
    return result;
}

class Connection {
public:
    explicit Connection(int port, int receiveBuffer = 0)
        : socket_(Checked(::socket(AF_INET, SOCK_STREAM, 0), "make a socket")) {
        if (receiveBuffer > 0)
            setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        const int on = 1;
        setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        Checked(connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), "connect");
    }
    Connection(Connection&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() {
        if (socket_ >= 0) close(socket_);
    }

    int Socket() const { return socket_; }

    void Send(const std::string& text) const {
        if (send(socket_, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size()))
            throw std::runtime_error("event_readers: cannot send");
    }

    std::string Receive() const {
        std::array<char, kReadBytes> bytes;
        const ssize_t got = recv(socket_, bytes.data(), bytes.size(), 0);
        if (got <= 0) throw std::runtime_error("event_readers: the server closed a connection");
        return {bytes.data(), static_cast<std::size_t>(got)};
    }

private:
    int socket_;
};

struct Reader {
    Connection connection;
    std::string pending;
    bool greeted = false;
};

class Crowd {
public:
    Crowd(const Protocol& protocol, int port, std::size_t readers)
        : protocol_(protocol), epoll_(Checked(epoll_create1(0), "make an epoll")), trigger_(port) {
        readers_.reserve(readers);
        for (std::size_t number = 0; number < readers; ++number)
            Open(port, number);
        AwaitAll();
        if (protocol_.AnswersTriggerHello()) {
            trigger_.Send(protocol_.TriggerHello());
            trigger_.Receive();
        }
    }
    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;
    ~Crowd() { close(epoll_); }

    double Round() {
        const auto begin = Clock::now();
        trigger_.Send(protocol_.Trigger());
        AwaitAll();
        const std::chrono::duration<double> taken = Clock::now() - begin;
        if (protocol_.AnswersTrigger()) trigger_.Receive();
        return taken.count();
    }

private:
    void Open(int port, std::size_t number) {
        readers_.push_back({Connection(port), {}, false});
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u64 = number;
        Checked(epoll_ctl(epoll_, EPOLL_CTL_ADD, readers_.back().connection.Socket(), &event), "watch");
        readers_.back().connection.Send(protocol_.Hello(number, false));
    }

    // Until every reader has one thing more: the greeting at first, then an event.
    void AwaitAll() {
        std::size_t left = readers_.size();
        std::array<epoll_event, kEventsAtOnce> events;
        while (left > 0) {
            const int count = Checked(epoll_wait(epoll_, events.data(), kEventsAtOnce, kPatienceMs), "wait");
            if (count == 0) throw std::runtime_error("event_readers: readers wait in vain");
            for (int at = 0; at < count; ++at)
                left -= Take(readers_[events[static_cast<std::size_t>(at)].data.u64]);
        }
    }

    std::size_t Take(Reader& reader) {
        reader.pending += reader.connection.Receive();
        if (!reader.greeted) return TakeGreeting(reader);
        std::size_t found = 0;
        bool isEvent = false;
        while (const std::size_t bytes = protocol_.PieceBytes(reader.pending, isEvent)) {
            reader.pending.erase(0, bytes);
            found += isEvent ? 1 : 0;
        }
        return found;
    }

    std::size_t TakeGreeting(Reader& reader) {
        const std::size_t bytes = protocol_.GreetingBytes(reader.pending);
        reader.pending.erase(0, bytes);
        reader.greeted = bytes > 0;
        return reader.greeted ? 1 : 0;
    }

    const Protocol& protocol_;
    const int epoll_;
    const Connection trigger_;
    std::vector<Reader> readers_;
};

void Measure(const Protocol& protocol, int port, std::size_t readers, int rounds, bool withDeadReader) {
    std::vector<Connection> dead;
    if (withDeadReader) {
        dead.emplace_back(port, kSmallBuffer).Send(protocol.Hello(readers, true));
        std::this_thread::sleep_for(kUntilFull);
    }
    Crowd crowd(protocol, port, readers);
    const char* before = "{\"seconds\": [";
    for (int round = 0; round < rounds; ++round) {
        std::this_thread::sleep_for(kPause);
        std::printf("%s%.9f", before, crowd.Round());
        before = ", ";
    }
    std::puts("]}");
}

}  // namespace

int main(int argc, char** argv) {
    const std::string name = argc > 1 ? argv[1] : "";
    if (argc < 5 || argc > 6 || (name != "sse" && name != "mqtt")) {
        std::fputs("usage: event_readers sse|mqtt PORT READERS ROUNDS [dead]\n", stderr);
        return 2;
    }
    try {
        const auto protocol = name == "sse" ? MakeServerSentEvents() : MakeMqtt();
        Measure(*protocol, std::atoi(argv[2]), std::strtoul(argv[3], nullptr, 10), std::atoi(argv[4]),
                argc == 6);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
