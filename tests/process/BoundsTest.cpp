// Reaches every bound of the real process, which answers as the table and the page say.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <thread>

#include "driverhost/settings/Limits.h"
#include "tests/driverhost/support/Certificates.h"
#include "tests/process/support/ProcessFixture.h"

namespace driverhost {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

const std::string kEcho = "/drivers/lamp/commands/echo";

class BoundsTest : public ProcessFixture {
protected:
    BoundsTest() {
        plugins_ = TEST_PLUGINS;
        WriteHome(Driver(1, "lamp", "probe"));
    }

    /// Starts a host that checks its times often, with one bound set.
    void StartWith(const std::vector<std::string>& bound) {
        std::vector<std::string> options = bound;
        if (std::find(options.begin(), options.end(), "--tick-time") == options.end()) {
            options.insert(options.end(), {"--tick-time", "20"});
        }
        Start(options);
    }

    int Echo(const std::string& form) const { return Ask("POST", kEcho, form).status; }

    std::string ConversationOf(const std::string& bytes) const {
        HttpConnection connection(port_);
        connection.Send(bytes);
        return connection.ReadToEnd();
    }

    /// Waits until a metric has fallen to a value.
    void WaitForMetric(const std::string& name, int value) const {
        EXPECT_TRUE(test::Eventually([&] { return Metric(name) == value; })) << name;
    }

    /// Makes the host send more answers than the sockets hold, and reads none of them.
    static void LeaveAnswers(HttpConnection& connection) {
        const std::string form = "a=" + std::string(1'000'000, 'x');
        for (int request = 0; request < 12; ++request)
            connection.Send(RequestText("POST", kEcho, form));
    }

    std::string TokenFile() const {
        const std::string path = folder_.Write("token", "secret\n");
        chmod(path.c_str(), 0600);
        return path;
    }

    /// The cookie line of a new session.
    std::string SignIn() const {
        const std::string line = Ask("POST", "/session", "token=secret").headers.at("set-cookie");
        return "Cookie: " + line.substr(0, line.find(';')) + "\r\n";
    }

    std::string EventsKept() const {
        HttpConnection reader(port_);
        reader.Send(RequestText("GET", "/events", "", "Last-Event-ID: 0\r\n"));
        reader.ReadUntil("\r\n\r\n");
        Command("lamp", "event", "text=last&times=1");
        return reader.ReadUntil("<Probe>last</Probe>\n\n");
    }
};

TEST_F(BoundsTest, HeadBytesBeyondAre431) {
    StartWith({"--head-bytes", "500"});
    EXPECT_EQ(Ask("GET", "/health", "", "A: " + std::string(400, 'x') + "\r\n").status, 200);
    const HttpAnswer refused = Ask("GET", "/health", "", "A: " + std::string(500, 'x') + "\r\n");
    EXPECT_EQ(refused.status, 431);
    EXPECT_THAT(refused.body, HasSubstr("at most 500 bytes"));
}

TEST_F(BoundsTest, BodyBytesBeyondAre413) {
    StartWith({"--body-bytes", "100"});
    EXPECT_EQ(Echo("a=" + std::string(98, 'x')), 200);
    EXPECT_EQ(Echo("a=" + std::string(99, 'x')), 413);
}

TEST_F(BoundsTest, StateBytesBeyondAre413) {
    StartWith({"--state-bytes", "200", "--body-bytes", "20"});
    const auto put = [this](std::size_t bytes) {
        const std::string frame = "<ProbeState><value></value></ProbeState>";
        const std::string value(bytes - frame.size(), 'x');
        return Ask("PUT", "/drivers/lamp/state", "<ProbeState><value>" + value + "</value></ProbeState>")
            .status;
    };
    EXPECT_EQ(put(200), 204);
    EXPECT_EQ(put(201), 413);
}

TEST_F(BoundsTest, TotalBodyBytesBeyondAre503) {
    StartWith({"--total-body-bytes", "50000"});
    const std::string head = "POST " + kEcho +
                             " HTTP/1.1\r\nHost: localhost\r\nContent-Type: "
                             "application/x-www-form-urlencoded\r\n";
    const std::string large = "a=" + std::string(29'998, 'x');
    HttpConnection first(port_);
    first.Send(head + "Content-Length: 30000\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_EQ(first.ReadUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    EXPECT_EQ(Metric("driverhost_request_body_bytes"), 30'000);
    EXPECT_THAT(ConversationOf(head + "Content-Length: 30000\r\nExpect: 100-continue\r\n\r\n"),
                StartsWith("HTTP/1.1 503 "))
        << "before it has sent any of its body";
    EXPECT_THAT(ConversationOf(head + "Transfer-Encoding: chunked\r\n\r\n7530\r\n" + large + "\r\n0\r\n\r\n"),
                StartsWith("HTTP/1.1 503 "));
    EXPECT_EQ(Echo("a=small"), 200);
    first.Send(large);
    EXPECT_EQ(first.ReadAnswer().status, 200);
    EXPECT_EQ(Metric("driverhost_request_body_bytes"), 0);
    EXPECT_EQ(Echo(large), 200);
    EXPECT_EQ(Echo("a=" + std::string(50'000, 'x')), 413) << "it would never fit";
}

TEST_F(BoundsTest, FormFieldsBeyondAre413) {
    StartWith({"--form-fields", "3"});
    EXPECT_EQ(Echo("a=1&a=2&b"), 200);
    EXPECT_EQ(Echo("a=1&a=2&b&c"), 413);
}

TEST_F(BoundsTest, ConnectionsBeyondAre503) {
    StartWith({"--connections", "1"});
    HttpConnection only(port_);
    EXPECT_EQ(only.Ask("GET", "/health").status, 200);
    EXPECT_EQ(HttpConnection(port_).ReadAnswer().status, 503);
    EXPECT_EQ(only.Ask("GET", "/health").status, 200);
}

TEST_F(BoundsTest, RefusalsBeyondAreClosed) {
    StartWith({"--connections", "1", "--refusals", "0"});
    HttpConnection only(port_);
    EXPECT_EQ(only.Ask("GET", "/health").status, 200);
    EXPECT_EQ(HttpConnection(port_).ReadToEnd(), "");
    EXPECT_EQ(only.Ask("GET", "/health").status, 200);
}

TEST_F(BoundsTest, HeadTimeOverIs408) {
    StartWith({"--head-time", "100"});
    EXPECT_THAT(ConversationOf("GET /hea"), StartsWith("HTTP/1.1 408 "));
}

TEST_F(BoundsTest, BodyTimeOverIs408) {
    StartWith({"--body-time", "100"});
    EXPECT_THAT(ConversationOf("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 9\r\n\r\na="),
                StartsWith("HTTP/1.1 408 "));
}

TEST_F(BoundsTest, IdleTimeOverCloses) {
    StartWith({"--idle-time", "100"});
    EXPECT_EQ(ConversationOf(""), "");
    EXPECT_EQ(AnsweredConnection(port_, "/health")->ReadToEnd(), "");
}

TEST_F(BoundsTest, WriteTimeOverCloses) {
    StartWith({"--write-time", "200"});
    HttpConnection lazy(port_);
    LeaveAnswers(lazy);
    WaitForMetric("driverhost_connections", 1);
}

TEST_F(BoundsTest, LingerTimeOverCloses) {
    StartWith({"--linger-time", "100", "--body-bytes", "100"});
    HttpConnection stubborn(port_);
    stubborn.Send("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1000\r\n\r\n");
    EXPECT_EQ(stubborn.ReadAnswer().status, 413);
    WaitForMetric("driverhost_connections", 1);
}

TEST_F(BoundsTest, CommentTimeLiesBetweenSignsOfLife) {
    StartWith({"--comment-time", "50"});
    HttpConnection reader(port_);
    reader.Send(RequestText("GET", "/events"));
    reader.ReadUntil("\r\n\r\n");
    EXPECT_EQ(reader.ReadUntil(":\n\n") + reader.ReadUntil(":\n\n"), ":\n\n:\n\n");
}

TEST_F(BoundsTest, TickTimeLiesBetweenLooksAtTheOthers) {
    StartWith({"--idle-time", "1", "--tick-time", "60000"});
    HttpConnection idle(port_);
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(idle.Ask("GET", "/health").status, 200) << "nobody has looked yet";
}

TEST_F(BoundsTest, SessionsBeyondEndTheLongestUnused) {
    StartWith({"--sessions", "2", "--token-file", TokenFile()});
    const std::string first = SignIn();
    const std::string second = SignIn();
    SignIn();
    EXPECT_EQ(Ask("GET", "/session", "", first).status, 401);
    EXPECT_EQ(Ask("GET", "/session", "", second).status, 200);
}

TEST_F(BoundsTest, WrongTokensBeyondAre429) {
    StartWith({"--wrong-tokens", "2", "--token-file", TokenFile()});
    EXPECT_EQ(Ask("POST", "/session", "token=guess").status, 401);
    EXPECT_EQ(Ask("POST", "/session", "token=guess").status, 401);
    const HttpAnswer refused = Ask("POST", "/session", "token=secret");
    EXPECT_EQ(refused.status, 429);
    EXPECT_EQ(refused.headers.count("retry-after"), 1U);
}

TEST_F(BoundsTest, WrongTokenTimeOverLetsTryAgain) {
    StartWith({"--wrong-tokens", "1", "--wrong-token-time", "100", "--token-file", TokenFile()});
    EXPECT_EQ(Ask("POST", "/session", "token=guess").status, 401);
    EXPECT_EQ(AskUntil(200, "POST", "/session", "token=secret").status, 200);
}

TEST_F(BoundsTest, KeptEventsBeyondLoseTheOldest) {
    StartWith({"--kept-events", "3"});
    for (const char* text : {"a", "b", "c", "d"})
        Command("lamp", "event", "times=1&text=" + std::string(text));
    const std::string kept = EventsKept();
    EXPECT_THAT(kept, testing::Not(HasSubstr("<Probe>a</Probe>")));
    for (const char* text : {"b", "c", "d"})
        EXPECT_THAT(kept, HasSubstr("<Probe>" + std::string(text) + "</Probe>"));
}

TEST_F(BoundsTest, KeptEventBytesBeyondLoseTheOldest) {
    StartWith({"--kept-event-bytes", "3000"});
    for (const char letter : {'a', 'b', 'c'})
        Command("lamp", "event", "times=1&text=" + std::string(1200, letter));
    const std::string kept = EventsKept();
    EXPECT_THAT(kept, testing::Not(HasSubstr("aaa")));
    EXPECT_THAT(kept, HasSubstr("bbb"));
    EXPECT_THAT(kept, HasSubstr("ccc"));
}

TEST_F(BoundsTest, ReaderEventsBeyondDropTheReader) {
    StartWith({"--reader-events", "10"});
    HttpConnection lazy(port_);
    lazy.Send(RequestText("GET", "/events"));
    lazy.ReadUntil("\r\n\r\n");
    EXPECT_EQ(Metric("driverhost_event_readers"), 1);
    for (int burst = 0; burst < 200 && Metric("driverhost_event_readers") > 0; ++burst)
        Command("lamp", "event", "times=1&text=" + std::string(500'000, 'x'));
    EXPECT_EQ(Metric("driverhost_event_readers"), 0);
    EXPECT_THAT(Log(),
                HasSubstr(" 6 host an event reader was too slow and has been dropped; it may resume\n"));
}

TEST_F(BoundsTest, ReaderBytesBeyondDropTheReader) {
    WriteHome(Driver(1, "lamp", "probe", "<config><readers>yes</readers></config>"));
    StartWith({"--reader-bytes", "1000"});
    HttpConnection lazy(port_);
    lazy.Send(RequestText("GET", "/tablets/lamp/events"));
    lazy.ReadUntil("\r\n\r\n");
    EXPECT_EQ(Command("lamp", "tell", "reader=1&times=1&text=" + std::string(1000, 'x')), "<told>0</told>");
    WaitForMetric("driverhost_event_readers", 0);
}

// Connections with TLS that say nothing.
class TlsBoundsTest : public BoundsTest {
protected:
    void StartWithTls(const std::vector<std::string>& bound) {
        const TlsFiles files = made_.Files();
        std::vector<std::string> options = {"--tls-certificate", files.certificate, "--tls-key",
                                            files.key,           "--tick-time",     "20"};
        options.insert(options.end(), bound.begin(), bound.end());
        Launch(options);
        host_->WaitForLog("host listening on https://127.0.0.1:");
        port_ = host_->WaitUntilListening();
    }

    const Certificates made_;
};

TEST_F(TlsBoundsTest, HandshakesBeyondCloseTheOldest) {
    StartWithTls({"--handshakes", "1"});
    HttpConnection first(port_);
    HttpConnection second(port_);
    EXPECT_EQ(first.ReadToEnd(), "");
}

TEST_F(TlsBoundsTest, HandshakeTimeOverCloses) {
    StartWithTls({"--handshake-time", "100"});
    EXPECT_EQ(ConversationOf(""), "");
}

TEST_F(BoundsTest, EndTimeOverDropsAnswers) {
    StartWith({"--end-time", "200"});
    HttpConnection lazy(port_);
    std::thread asking([&] { LeaveAnswers(lazy); });
    const std::string echoes = "driverhost_commands_total{driver=\"lamp\",command=\"echo\"}";
    for (int before = 0, now = 0; now <= 0 || now > before; now = Metric(echoes)) {
        before = now;
        std::this_thread::sleep_for(300ms);  // the count grows as long as the sockets take answers
    }
    EXPECT_EQ(Stop(), 0) << "although a client takes none of its answers";
    asking.join();
}

std::string TestNameOf(const std::string& option) {
    std::string name;
    bool begins = true;
    for (const char c : option) {
        if (c != '-') name += begins ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
        begins = c == '-';
    }
    return name;
}

std::vector<std::string> TestsOf(const std::string& suite) {
    std::vector<std::string> names;
    const testing::UnitTest& all = *testing::UnitTest::GetInstance();
    for (int number = 0; number < all.total_test_suite_count(); ++number) {
        const testing::TestSuite& one = *all.GetTestSuite(number);
        if (one.name() != suite) continue;
        for (int test = 0; test < one.total_test_count(); ++test)
            names.emplace_back(one.GetTestInfo(test)->name());
    }
    return names;
}

TEST(Bounds, EachHasATestThatHitsIt) {
    std::vector<std::string> here = TestsOf("BoundsTest");
    for (const std::string& name : TestsOf("TlsBoundsTest"))
        here.push_back(name);
    const std::map<std::string, std::pair<std::string, std::string>> elsewhere = {
        {"held-time", {"TroubleTest", "AHeldThreadIsAnsweredForByTheWatchdog"}},
        {"library-time", {"LibraryTest", "ThatHangsWhileItIsLoadedIsLeftOutAfterItsTime"}}};
    for (const LimitRow& row : LimitTable()) {
        const auto other = elsewhere.find(row.option);
        if (other != elsewhere.end()) {
            EXPECT_THAT(TestsOf(other->second.first), testing::Contains(other->second.second));
        } else {
            EXPECT_THAT(here, testing::Contains(StartsWith(TestNameOf(row.option)))) << row.option;
        }
    }
}

}  // namespace
}  // namespace driverhost
