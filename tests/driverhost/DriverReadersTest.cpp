// What a driver sends to one reader alone, from the command that causes it to the page that reads it.
#include "driverhost/http/routes/DriverReaders.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/driverhost/support/ServerFixture.h"

namespace driverhost {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class DriverReadersTest : public ServerFixture {
protected:
    DriverReadersTest() {
        Add("kitchen", "probe", "<config><readers>yes</readers></config>");
        Add("front hall", "probe", "<config><readers>greet</readers></config>");
        Add("lamp", "probe");
        Add("shy", "probe", "<config><readers>throw</readers></config>");
        Add("broken", "probe", "<config><readers>yes</readers><fails>throw</fails></config>");
    }

    /// A connection on which the stream has begun.
    std::unique_ptr<HttpConnection> Reader(const std::string& path, const std::string& headers = "") {
        auto reader = std::make_unique<HttpConnection>(port_);
        reader->Send(RequestText("GET", path, "", headers));
        reader->ReadUntil("\r\n\r\n");
        return reader;
    }

    std::string Tell(const std::string& driver, const std::string& form) {
        return AskOnce(port_, "POST", "/drivers/" + driver + "/commands/tell", form).body;
    }

    /// The readers that came to the driver and left it.
    std::string Heard(const std::string& driver) {
        const std::string reply = AskOnce(port_, "POST", "/drivers/" + driver + "/commands/get").body;
        const std::size_t begin = reply.find("<heard>");
        return begin == std::string::npos ? "" : reply.substr(begin + 7, reply.find("</heard>") - begin - 7);
    }

    void AwaitHeard(const std::string& driver, const std::string& expected) {
        EXPECT_TRUE(test::Eventually([&] { return Heard(driver) == expected; }))
            << expected << " " << Heard(driver);
    }
};

TEST_F(DriverReadersTest, WhatItsDriverSendsComesInOrderWithTheNotifications) {
    Listen();
    const std::string told = With([this] {
        const auto reader = Reader("/tablets/kitchen/events");
        AskOnce(port_, "POST", "/drivers/kitchen/commands/mix", "reader=1");
        return reader->ReadUntil("<fifth/>\n\n");
    });
    EXPECT_EQ(told,
              "event: tablet\ndata: <first/>\n\n"
              "id: 1\ndata: <second/>\n\n"
              "id: 2\ndata: <third/>\n\n"
              "event: tablet\ndata: <fourth/>\n\n"
              "id: 3\ndata: <fifth/>\n\n");
}

TEST_F(DriverReadersTest, NoOtherReaderGetsIt) {
    Listen();
    const std::string others = With([this] {
        const auto meant = Reader("/tablets/kitchen/events");
        const auto sameDriver = Reader("/tablets/kitchen/events");
        const auto otherDriver = Reader("/tablets/front%20hall/events");
        const auto everybody = Reader("/events");
        EXPECT_EQ(Tell("kitchen", "reader=1&text=secret&times=1"), "<told>1</told>");
        EXPECT_EQ(meant->ReadUntil("\n\n"), "event: tablet\ndata: <Own>secret</Own>\n\n");
        AskOnce(port_, "POST", "/drivers/lamp/commands/event", "text=end&times=1");
        const auto late = Reader("/events", "Last-Event-ID: 0\r\n");
        std::string all;
        for (const auto& reader : {sameDriver.get(), otherDriver.get(), everybody.get(), late.get()})
            all += reader->ReadUntil("<Probe>end</Probe>\n\n");
        return all;
    });
    const std::string end = "id: 1\ndata: <Probe>end</Probe>\n\n";
    EXPECT_EQ(others, end + "event: tablet\ndata: <Hello>3</Hello>\n\n" + end + end + end);
}

TEST_F(DriverReadersTest, ADriverCannotSendToTheReadersOfAnother) {
    Listen();
    const std::string told = With([this] {
        const auto reader = Reader("/tablets/kitchen/events");
        return Tell("lamp", "reader=1&times=1") + Tell("front%20hall", "reader=1&times=1") +
               Tell("kitchen", "reader=0&times=1") + Tell("kitchen", "reader=2&times=1") +
               Tell("kitchen", "reader=1&times=1");
    });
    EXPECT_EQ(told, "<told>0</told><told>0</told><told>0</told><told>0</told><told>1</told>");
}

TEST_F(DriverReadersTest, NothingOfThePastIsTold) {
    Listen();
    const std::string told = With([this] {
        AskOnce(port_, "POST", "/drivers/lamp/commands/event", "text=old&times=3");
        const auto reader = Reader("/tablets/kitchen/events", "Last-Event-ID: 1\r\n");
        AskOnce(port_, "POST", "/drivers/lamp/commands/event", "text=new&times=1");
        return reader->ReadUntil("\n\n");
    });
    EXPECT_EQ(told, "id: 4\ndata: <Probe>new</Probe>\n\n");
}

TEST_F(DriverReadersTest, TheDriverMaySendWhenAReaderComes) {
    Listen();
    const std::string told = With([this] {
        const std::string byName = Reader("/tablets/front%20hall/events")->ReadUntil("\n\n");
        return byName + Reader("/tablets/2/events")->ReadUntil("\n\n");
    });
    EXPECT_EQ(told, "event: tablet\ndata: <Hello>1</Hello>\n\nevent: tablet\ndata: <Hello>2</Hello>\n\n");
}

TEST_F(DriverReadersTest, TheDriverLearnsOnceThatAReaderHasGoneAndStoresWhatItChanges) {
    Listen();
    With([this] {
        auto first = Reader("/tablets/kitchen/events");
        const auto second = Reader("/tablets/kitchen/events");
        first.reset();
        AwaitHeard("kitchen", "+1 +2 -1 ");
        EXPECT_EQ(Tell("kitchen", "reader=1&times=1"), "<told>0</told>");
        EXPECT_EQ(Tell("kitchen", "reader=2&times=1"), "<told>1</told>");
        const auto third = Reader("/tablets/kitchen/events");
        AwaitHeard("kitchen", "+1 +2 -1 +3 ");
        return 0;
    });
    TurnUntil([this] { return !StoredState("kitchen").empty(); });
}

TEST_F(DriverReadersTest, ARestartEndsTheStreamsAndNumbersGoOn) {
    Listen();
    const std::string left = With([this] {
        const auto reader = Reader("/tablets/front%20hall/events");
        const auto other = Reader("/tablets/kitchen/events");
        AskOnce(port_, "POST", "/drivers/front%20hall/restart");
        const std::string rest = reader->ReadToEnd();
        const auto again = Reader("/tablets/front%20hall/events");
        EXPECT_EQ(Tell("front%20hall", "reader=1&times=1"), "<told>0</told>");
        EXPECT_EQ(Tell("kitchen", "reader=2&times=1"), "<told>1</told>");
        AwaitHeard("front%20hall", "+3 ");
        return rest;
    });
    EXPECT_EQ(left, "event: tablet\ndata: <Hello>1</Hello>\n\nevent: tablet\ndata: <Bye/>\n\n");
}

TEST_F(DriverReadersTest, ADriverWithoutPagesSaysSo) {
    Listen();
    EXPECT_EQ(Ask("GET", "/tablets/lamp/events").status, 409U);
    EXPECT_EQ(Ask("GET", "/tablets/lamp/events").body,
              "<error>driver lamp has no pages; GET /events has what all user interfaces are told</error>");
}

TEST_F(DriverReadersTest, AMissingDriverAndOneThatDoesNotRunAreRefused) {
    Listen();
    EXPECT_EQ(Ask("GET", "/tablets/attic/events").status, 404U);
    EXPECT_THAT(Ask("GET", "/tablets/attic/events").body, HasSubstr("no driver 'attic'"));
    EXPECT_EQ(Ask("GET", "/tablets/broken/events").status, 503U);
    EXPECT_THAT(Ask("GET", "/tablets/broken/events").body, HasSubstr("not today"));
}

TEST_F(DriverReadersTest, AReaderThatTheDriverRefusesIsGone) {
    Listen();
    const Response response = Ask("GET", "/tablets/shy/events");
    EXPECT_EQ(response.status, 500U);
    EXPECT_THAT(response.body, HasSubstr("OnReaderOpened: reads nothing to anybody"));
    EXPECT_EQ(Command("shy", "tell", "reader=1&times=1"), "<told>0</told>");
    EXPECT_THAT(Command("shy", "get"), HasSubstr("<heard>+1 </heard>"));
}

TEST_F(DriverReadersTest, OtherMethodsAreRefused) {
    Listen();
    for (const char* method : {"POST", "HEAD", "PUT", "DELETE"}) {
        const Response response = Ask(method, "/tablets/kitchen/events");
        EXPECT_EQ(response.status, 405U) << method;
        EXPECT_EQ(response.headers, "Allow: GET\r\n") << method;
    }
    EXPECT_THAT(Command("kitchen", "get"), HasSubstr("<heard/>"));
}

TEST_F(DriverReadersTest, ASlowReaderIsDroppedAndDelaysNobody) {
    limits_.readerQueue = 100;
    Listen();
    With([this] {
        const auto slow = Reader("/tablets/kitchen/events");
        const auto quick = Reader("/tablets/kitchen/events");
        const std::string large = "&times=50&text=" + std::string(10'000, 'x');
        for (int burst = 0; burst < 40; ++burst) {  // 20 MB, more than the sockets hold
            Tell("kitchen", "reader=1" + large);
            EXPECT_EQ(Tell("kitchen", "reader=2" + large), "<told>50</told>");
            for (int event = 0; event < 50; ++event)
                quick->ReadUntil("\n\n");
        }
        AwaitHeard("kitchen", "+1 +2 -1 ");
        return 0;
    });
    EXPECT_EQ(events_.Readers(), 0U);
}

TEST_F(DriverReadersTest, MoreThanMayWaitIsNotTaken) {
    limits_.readerQueue = 3;
    limits_.readerBytes = 1000;
    Listen();
    With([this] {
        const auto many = Reader("/tablets/kitchen/events");
        EXPECT_EQ(Tell("kitchen", "reader=1&times=5"), "<told>3</told>");
        EXPECT_EQ(many->ReadToEnd(), "");
        const auto large = Reader("/tablets/kitchen/events");
        EXPECT_EQ(Tell("kitchen", "reader=2&times=1&text=" + std::string(900, 'x')), "<told>1</told>");
        large->ReadUntil("\n\n");
        EXPECT_EQ(Tell("kitchen", "reader=2&times=1&text=" + std::string(1000, 'x')), "<told>0</told>");
        EXPECT_EQ(large->ReadToEnd(), "");
        AwaitHeard("kitchen", "+1 -1 +2 -2 ");
        return 0;
    });
}

TEST_F(DriverReadersTest, CommentsKeepAQuietStreamOpen) {
    limits_.commentTime = 50ms;
    Listen();
    EXPECT_EQ(With([this] { return Reader("/tablets/kitchen/events")->ReadUntil(":\n\n"); }), ":\n\n");
}

TEST_F(DriverReadersTest, OneConnectionTooManyIsRefused) {
    limits_.connections = 1;
    Listen();
    const std::string answer = With([this] {
        const auto first = Reader("/tablets/kitchen/events");
        HttpConnection second(port_);
        second.Send(RequestText("GET", "/tablets/kitchen/events"));
        return second.ReadToEnd();
    });
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 503 "));
}

TEST_F(DriverReadersTest, WhenTheHostStopsItsDriversHearOfIt) {
    Listen();
    With([this] {
        const auto reader = Reader("/tablets/kitchen/events");
        thread_.Post([this] { server_->Stop([] {}); });
        return reader->ReadToEnd();
    });
    EXPECT_THAT(Command("kitchen", "get"), HasSubstr("<heard>+1 -1 </heard>"));
}

}  // namespace
}  // namespace driverhost
