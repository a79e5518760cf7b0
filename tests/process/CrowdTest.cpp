// Many clients at once: every reader hears every event in order, whatever one of them does.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <vector>

#include "driverhost/runtime/FileDescriptor.h"
#include "tests/process/support/ProcessFixture.h"

namespace driverhost {
namespace {

using testing::HasSubstr;

// With a sanitizer every byte costs ten times as much, and a fifth of them shows the same.
#ifdef SANITIZED
constexpr int kReaders = 200;
#else
constexpr int kReaders = 1000;
#endif
constexpr int kSenders = 200;  // their events are more than what the system keeps for a reader that is dead
constexpr int kCommands = 2;   // of each sender
constexpr int kTimes = 2;      // that each command sends its event
constexpr int kEvents = kSenders * kCommands * kTimes;

/// One connection of the crowd; all are turned by one thread.
class Client {
public:
    explicit Client(FileDescriptor socket) : socket_(std::move(socket)) {}
    virtual ~Client() = default;

    int Socket() const { return socket_.Get(); }
    bool IsDone() const { return done_; }

    void Send(const std::string& text) {
        if (send(Socket(), text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size()))
            throw std::runtime_error("the host takes no request");
    }

    void Receive() {
        std::array<char, 64 * 1024> bytes;
        const ssize_t got = recv(Socket(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (got == 0) throw std::runtime_error("the host has closed a connection: " + received_);
        if (got < 0) return;
        received_.append(bytes.data(), static_cast<std::size_t>(got));
        OnReceived(received_);
    }

protected:
    /// Takes what it understands from the text.
    virtual void OnReceived(std::string& text) = 0;
    bool done_ = false;

private:
    FileDescriptor socket_;
    std::string received_;
};

class Reader final : public Client {
public:
    explicit Reader(FileDescriptor socket) : Client(std::move(socket)) {
        Send(RequestText("GET", "/events"));
    }

    bool Follows() const { return follows_; }
    bool IsInOrder() const { return inOrder_; }
    int Heard() const { return heard_; }

private:
    void OnReceived(std::string& text) override {
        std::size_t at = 0;
        for (std::size_t end; (end = text.find("\n\n", at)) != std::string::npos; at = end + 2)
            OnEvent(std::string_view(text).substr(at, end - at));
        if (!follows_ && text.find("\r\n\r\n") != std::string::npos) {
            follows_ = true;
            at = text.find("\r\n\r\n") + 4;
        }
        text.erase(0, at);
    }

    void OnEvent(std::string_view event) {
        if (!event.starts_with("id: ")) return;
        std::uint64_t id = 0;
        std::from_chars(event.data() + 4, event.data() + event.size(), id);
        if (lastId_ != 0 && id != lastId_ + 1) inOrder_ = false;
        lastId_ = id;
        done_ = ++heard_ == kEvents;
    }

    bool follows_ = false;
    bool inOrder_ = true;
    std::uint64_t lastId_ = 0;
    int heard_ = 0;
};

class Sender final : public Client {
public:
    explicit Sender(FileDescriptor socket) : Client(std::move(socket)) { SendNext(); }

private:
    void SendNext() {
        Send(RequestText("POST", "/drivers/lamp/commands/event",
                         "times=" + std::to_string(kTimes) + "&text=" + std::string(300, 'x')));
    }

    void OnReceived(std::string& text) override {
        const std::size_t end = text.find("\r\n\r\n");
        if (end == std::string::npos) return;
        if (!text.starts_with("HTTP/1.1 204 ")) throw std::runtime_error("no event was sent: " + text);
        text.erase(0, end + 4);
        if (++answers_ < kCommands) return SendNext();
        done_ = true;
    }

    int answers_ = 0;
};

class CrowdTest : public ProcessFixture {
protected:
    CrowdTest() {
        plugins_ = TEST_PLUGINS;
        WriteHome(Driver(1, "lamp", "probe"));
        rlimit files{};
        getrlimit(RLIMIT_NOFILE, &files);
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
    }

    /// A connected socket. A narrow one makes the host hold back little for it.
    FileDescriptor Connect(bool narrow = false) const {
        FileDescriptor made(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const int few = 4096;
        const int segment = 536;
        if (narrow) {
            setsockopt(made.Get(), SOL_SOCKET, SO_RCVBUF, &few, sizeof few);
            setsockopt(made.Get(), IPPROTO_TCP, TCP_MAXSEG, &segment, sizeof segment);
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port_);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(made.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("cannot connect");
        return made;
    }

    void Add(std::unique_ptr<Client> client) {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.ptr = client.get();
        epoll_ctl(poll_.Get(), EPOLL_CTL_ADD, client->Socket(), &event);
        clients_.push_back(std::move(client));
    }

    /// Serves the clients until the condition holds of all of them.
    template <class Condition>
    void ServeUntil(Condition condition) {
        constexpr int kMost = std::chrono::milliseconds(test::kPatience).count();
        while (!std::all_of(clients_.begin(), clients_.end(), condition)) {
            std::array<epoll_event, 256> ready;
            const int count = epoll_wait(poll_.Get(), ready.data(), ready.size(), kMost);
            if (count == 0) throw std::runtime_error("the host has stopped sending");
            for (int number = 0; number < count; ++number)
                static_cast<Client*>(ready[static_cast<std::size_t>(number)].data.ptr)->Receive();
        }
    }

    FileDescriptor poll_{epoll_create1(EPOLL_CLOEXEC)};
    std::vector<std::unique_ptr<Client>> clients_;
};

TEST_F(CrowdTest, EveryReaderHearsEveryEventInOrderThoughOneOfThemIsDead) {
    Start({"--reader-events", "100"});
    const FileDescriptor dead = Connect(true);
    const std::string ask = RequestText("GET", "/events");
    ASSERT_GT(send(dead.Get(), ask.data(), ask.size(), MSG_NOSIGNAL), 0);
    std::vector<const Reader*> readers;
    for (int reader = 0; reader < kReaders; ++reader) {
        auto client = std::make_unique<Reader>(Connect());
        readers.push_back(client.get());
        Add(std::move(client));
    }
    ServeUntil([](const auto& client) { return static_cast<const Reader&>(*client).Follows(); });
    EXPECT_EQ(Metric("driverhost_event_readers"), kReaders + 1);
    for (int sender = 0; sender < kSenders; ++sender)
        Add(std::make_unique<Sender>(Connect()));
    ServeUntil([](const auto& client) { return client->IsDone(); });
    for (const Reader* reader : readers) {
        ASSERT_TRUE(reader->IsInOrder());
        ASSERT_EQ(reader->Heard(), kEvents);
    }
    EXPECT_EQ(Metric("driverhost_event_readers"), kReaders) << "the dead one was dropped";
    EXPECT_THAT(Log(), HasSubstr("an event reader was too slow and has been dropped"));
    clients_.clear();
    EXPECT_EQ(Stop(), 0);
}

}  // namespace
}  // namespace driverhost
