#include "driverhost/runtime/Watchdog.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "driverhost/http/server/Server.h"
#include "tests/driverhost/support/HttpClient.h"
#include "tests/driverhost/support/TemporaryFolder.h"
#include "tests/support/process/Patience.h"

namespace driverhost {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

std::string AnswerForTest(const std::string& why) {
    return "HTTP/1.1 503 Service Unavailable\r\nContent-Length: " + std::to_string(why.size()) + "\r\n\r\n" +
           why;
}

// Captures standard error, like CaptureStderr of gtest, but can be read while others still write.
class CapturedErrors {
public:
    CapturedErrors() { dup2(text_.Get(), STDERR_FILENO); }
    ~CapturedErrors() { dup2(before_.Get(), STDERR_FILENO); }
    CapturedErrors(const CapturedErrors&) = delete;
    CapturedErrors& operator=(const CapturedErrors&) = delete;

    std::string Text() const {
        std::array<char, 4096> bytes;
        const ssize_t got = pread(text_.Get(), bytes.data(), bytes.size(), 0);
        return got > 0 ? std::string(bytes.data(), static_cast<std::size_t>(got)) : std::string();
    }

    /// Waits for the text to appear.
    bool Shows(const std::string& text) const {
        return test::Eventually([&] { return Text().find(text) != std::string::npos; });
    }

private:
    const FileDescriptor before_{fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)};
    const FileDescriptor text_{memfd_create("errors", MFD_CLOEXEC)};
};

class WatchdogTest : public testing::Test {
protected:
    void Watch(std::chrono::milliseconds held = 100ms) {
        watchdog_.emplace(thread_, manager_, server_.ListeningSocket(), &AnswerForTest,
                          WatchdogTimes{held, 10ms});
    }

    // The watchdog gives up on a client that is slow to ask, and on a busy machine this one may be.
    HttpAnswer AskAsClient() { return AskAgainUntil(server_.Address().port, 503, "GET", "/health"); }

    DriverThread thread_;
    ServiceManager manager_;
    Limits limits_;
    Server server_{thread_, {"127.0.0.1", 0}, limits_};
    std::optional<Watchdog> watchdog_;
};

TEST_F(WatchdogTest, WhileACallHoldsTheThreadClientsHearWhichOne) {
    const CapturedErrors log;
    Watch();
    {
        const CallScope scope(thread_, "lamp", "hold");
        for (int client = 0; client < 3; ++client) {
            const HttpAnswer answer = AskAsClient();
            EXPECT_EQ(answer.status, 503);
            EXPECT_THAT(answer.body, StartsWith("driver lamp has held the driver thread in hold for "));
        }
    }
    EXPECT_TRUE(log.Shows("driver lamp has released the driver thread"));
    const std::string text = log.Text();
    EXPECT_THAT(text, HasSubstr(" 3 host driver lamp has held the driver thread in hold for "));
    EXPECT_EQ(text.find("has held"), text.rfind("has held")) << "one line a call";
}

TEST_F(WatchdogTest, AShortCallIsNoTrouble) {
    const CapturedErrors log;
    Watch(test::kPatience);
    {
        const CallScope scope(thread_, "lamp", "quick");
        std::this_thread::sleep_for(30ms);
    }
    std::this_thread::sleep_for(150ms);
    EXPECT_EQ(log.Text(), "");
}

TEST_F(WatchdogTest, TheInnerCallIsNamedAndThenTheOuterOne) {
    const CallScope outer(thread_, "agent", "Initialize");
    {
        const CallScope inner(thread_, "lamp", "QueryInterface");
        EXPECT_EQ(thread_.CurrentCall()->driver, "lamp");
    }
    EXPECT_EQ(thread_.CurrentCall()->call, "Initialize");
}

TEST_F(WatchdogTest, ALoopThatDoesNotTurnIsTheHostsOwnFault) {
    const CapturedErrors log;
    thread_.After(1ms, [this] { thread_.Stop(); });
    thread_.Run();
    Watch();
    EXPECT_TRUE(log.Shows(" 3 host driver host has held the driver thread"));
}

TEST_F(WatchdogTest, ACallThatReturnedShowsThatTheLoopTurns) {
    { const CallScope scope(thread_, "lamp", "hold"); }
    EXPECT_EQ(thread_.LastHeartbeat(), std::nullopt) << "it never ran";
    thread_.After(1ms, [this] { thread_.Stop(); });
    thread_.Run();
    std::this_thread::sleep_for(30ms);  // some ticks of the coarse clock
    const auto called = CoarseNow();
    { const CallScope scope(thread_, "lamp", "hold"); }
    EXPECT_GE(thread_.LastHeartbeat(), called);
}

TEST_F(WatchdogTest, AfterLettingGoOfTheSocketItAnswersNobody) {
    Watch();
    watchdog_->ReleaseSocket();
    const CallScope scope(thread_, "lamp", "hold");
    std::this_thread::sleep_for(150ms);
    HttpConnection connection(server_.Address().port, 300ms);
    connection.Send(RequestText("GET", "/health"));
    EXPECT_THROW(connection.ReadAnswer(), std::runtime_error);
}

class ServiceManagerTest : public testing::Test {
protected:
    ServiceManagerTest() {
        const std::string path = folder_.Path() + "/notify";
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.c_str(), path.size());
        if (bind(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            std::abort();
        setenv("NOTIFY_SOCKET", path.c_str(), 1);
    }
    ~ServiceManagerTest() override {
        for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
            unsetenv(name);
    }

    /// Waits for the next message.
    std::string Message() {
        const timeval patience{test::kPatience.count(), 0};
        setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        return Receive(0);
    }

    /// The next message that has arrived; empty if there is none.
    std::string Receive(int flags = MSG_DONTWAIT) {
        std::array<char, 100> bytes;
        const ssize_t got = recv(socket_.Get(), bytes.data(), bytes.size(), flags);
        return got > 0 ? std::string(bytes.data(), static_cast<std::size_t>(got)) : std::string();
    }

    TemporaryFolder folder_;
    FileDescriptor socket_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

TEST_F(ServiceManagerTest, IsToldWhatHappens) {
    ServiceManager().Notify("READY=1");
    EXPECT_EQ(Message(), "READY=1");
}

TEST_F(ServiceManagerTest, IsTheWatchdogsConcernOnlyInTheProcessItMeans) {
    setenv("WATCHDOG_USEC", "200000", 1);
    EXPECT_EQ(ServiceManager().WatchdogInterval(), 200ms);
    setenv("WATCHDOG_PID", "1", 1);
    EXPECT_EQ(ServiceManager().WatchdogInterval(), std::nullopt);
}

TEST_F(ServiceManagerTest, HearsNothingWhileACallHoldsTheThread) {
    setenv("WATCHDOG_USEC", "40000", 1);
    const ServiceManager manager;
    const CapturedErrors log;
    DriverThread thread;
    const Watchdog watchdog(thread, manager, -1, &AnswerForTest, {100ms, 5ms});
    EXPECT_EQ(Message(), "WATCHDOG=1");
    EXPECT_EQ(Message(), "WATCHDOG=1");
    const CallScope scope(thread, "lamp", "hold");
    EXPECT_TRUE(log.Shows("has held the driver thread"));
    while (!Receive().empty()) {
    }
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(Receive(), "");
}

}  // namespace
}  // namespace driverhost
