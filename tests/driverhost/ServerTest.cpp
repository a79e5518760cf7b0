// The server over real sockets.
#include "driverhost/http/server/Server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "tests/driverhost/support/ServerFixture.h"

namespace driverhost {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

class ServerTest : public ServerFixture {
protected:
    void Serve() {
        Add("lamp", "probe");
        Listen();
    }
};

TEST_F(ServerTest, ARequestIsAnswered) {
    Serve();
    const HttpAnswer answer =
        With([this] { return AskOnce(port_, "POST", "/drivers/lamp/commands/echo", "a=1"); });
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, "<echo><a>1</a></echo>");
    EXPECT_EQ(answer.headers.at("content-type"), "application/xml");
    EXPECT_EQ(answer.headers.at("connection"), "keep-alive");
}

TEST_F(ServerTest, AConnectionServesManyRequests) {
    Serve();
    const std::string bodies = With([this] {
        HttpConnection connection(port_);
        std::string all;
        for (int request = 0; request < 3; ++request)
            all += connection.Ask("POST", "/drivers/lamp/commands/count").body;
        return all;
    });
    EXPECT_EQ(bodies, "<count>1</count><count>2</count><count>3</count>");
}

TEST_F(ServerTest, RequestsSentTogetherAreAnsweredInOrder) {
    Serve();
    const std::string bodies = With([this] {
        HttpConnection connection(port_);
        connection.Send(RequestText("POST", "/drivers/lamp/commands/set", "value=x") +
                        RequestText("POST", "/drivers/lamp/commands/count") + RequestText("GET", "/nothing"));
        std::string all;
        for (int request = 0; request < 3; ++request)
            all += std::to_string(connection.ReadAnswer().status) + " ";
        return all;
    });
    EXPECT_EQ(bodies, "200 200 404 ");
}

TEST_F(ServerTest, AnAnswerWithoutBodyHasNoLength) {
    Serve();
    const HttpAnswer answer =
        With([this] { return AskOnce(port_, "POST", "/drivers/lamp/commands/nothing"); });
    EXPECT_EQ(answer.status, 204);
    EXPECT_FALSE(answer.headers.contains("content-length"));
}

TEST_F(ServerTest, AClientThatClosesGetsItsAnswerFirst) {
    Serve();
    const std::string text =
        ConversationOf("GET /health HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    EXPECT_THAT(text, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(text, HasSubstr("Connection: close\r\n"));
}

TEST_F(ServerTest, AMissingHostIsAnsweredAndAForeignOneToo) {
    Serve();
    EXPECT_THAT(ConversationOf("GET /health HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(ConversationOf("GET /health HTTP/1.1\r\nHost: evil\r\n\r\n"), StartsWith("HTTP/1.1 403 "));
}

TEST_F(ServerTest, WhatIsNotHttpIsAnswered) {
    Serve();
    EXPECT_THAT(ConversationOf("hello there\r\n\r\n"), StartsWith("HTTP/1.1 400 Bad Request\r\n"));
}

TEST_F(ServerTest, AHeadThatIsTooLargeIsAnswered) {
    Serve();
    EXPECT_THAT(ConversationOf("GET / HTTP/1.1\r\nHost: localhost\r\nA: " + std::string(20000, 'x')),
                StartsWith("HTTP/1.1 431 "));
}

TEST_F(ServerTest, ABodyThatIsTooLargeIsAnsweredAlsoToAClientThatSendsItAll) {
    limits_.bodyBytes = 1000;
    Serve();
    const std::string text = ConversationOf(
        RequestText("POST", "/drivers/lamp/commands/echo", "a=" + std::string(3'000'000, 'x')));
    EXPECT_THAT(text, StartsWith("HTTP/1.1 413 "));
    EXPECT_THAT(text, HasSubstr("at most 1000 bytes"));
}

TEST_F(ServerTest, AStateMayBeLargerThanACommand) {
    limits_.bodyBytes = 1000;
    Serve();
    const std::string state = "<ProbeState><value>" + std::string(100'000, 'x') + "</value></ProbeState>";
    const HttpAnswer answer = With([&] { return AskOnce(port_, "PUT", "/drivers/lamp/state", state); });
    EXPECT_EQ(answer.status, 204);
}

TEST_F(ServerTest, AStrangersBodyIsNotWaitedFor) {
    Serve();
    EXPECT_THAT(ConversationOf("POST / HTTP/1.1\r\nHost: evil\r\nContent-Length: 1000\r\n\r\n"),
                StartsWith("HTTP/1.1 403 "));
}

TEST_F(ServerTest, AHeadThatDoesNotCompleteIsAnswered) {
    limits_.headTime = 200ms;
    Serve();
    EXPECT_THAT(ConversationOf("GET / HTTP/1.1\r\nHos"), StartsWith("HTTP/1.1 408 Request Timeout\r\n"));
}

TEST_F(ServerTest, ABodyThatDoesNotCompleteIsAnswered) {
    limits_.bodyTime = 200ms;
    Serve();
    EXPECT_THAT(ConversationOf("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 9\r\n\r\na="),
                StartsWith("HTTP/1.1 408 "));
}

TEST_F(ServerTest, AnIdleConnectionIsClosed) {
    limits_.idleTime = 200ms;
    Serve();
    EXPECT_EQ(ConversationOf(""), "");
    EXPECT_EQ(With([this] { return AnsweredConnection(port_, "/health")->ReadToEnd(); }), "");
    EXPECT_EQ(server_->Connections(), 0U);
}

TEST_F(ServerTest, AClientThatWaitsForPermissionGetsIt) {
    Serve();
    const std::string said = With([this] {
        HttpConnection connection(port_);
        connection.Send(
            "POST /drivers/lamp/commands/echo HTTP/1.1\r\nHost: localhost\r\nExpect: 100-continue\r\n"
            "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: 3\r\n\r\n");
        std::string text = connection.ReadUntil("\r\n\r\n");
        connection.Send("a=1");
        return text + connection.ReadAnswer().body;
    });
    EXPECT_EQ(said, "HTTP/1.1 100 Continue\r\n\r\n<echo><a>1</a></echo>");
}

TEST_F(ServerTest, OneConnectionTooManyIsRefused) {
    limits_.connections = 2;
    Serve();
    const std::string said = With([this] {
        HttpConnection first(port_);
        HttpConnection second(port_);
        first.Ask("GET", "/health");
        second.Ask("GET", "/health");
        HttpConnection third(port_);
        third.Send(RequestText("GET", "/health"));
        std::string all = third.ReadToEnd();
        return all += first.Ask("GET", "/health").body;
    });
    EXPECT_THAT(said, StartsWith("HTTP/1.1 503 "));
    EXPECT_THAT(said, HasSubstr("too many connections"));
    EXPECT_THAT(said, testing::EndsWith("<health>ok</health>"));
}

TEST_F(ServerTest, EventsArriveAsTheyHappen) {
    Serve();
    const std::string told = With([this] {
        HttpConnection reader(port_);
        reader.Send(RequestText("GET", "/events"));
        const std::string head = reader.ReadUntil("\r\n\r\n");
        AskOnce(port_, "POST", "/drivers/lamp/commands/event", "text=ding&times=2");
        const std::string first = reader.ReadUntil("\n\n");
        return head + first + reader.ReadUntil("\n\n");
    });
    EXPECT_THAT(told, HasSubstr("Content-Type: text/event-stream\r\n"));
    EXPECT_THAT(
        told, testing::EndsWith("id: 1\ndata: <Probe>ding</Probe>\n\nid: 2\ndata: <Probe>ding</Probe>\n\n"));
}

TEST_F(ServerTest, AReaderResumesWhereItStopped) {
    Serve();
    const std::string told = With([this] {
        AskOnce(port_, "POST", "/drivers/lamp/commands/event", "text=a&times=3");
        HttpConnection reader(port_);
        reader.Send(RequestText("GET", "/events", "", "Last-Event-ID: 2\r\n"));
        reader.ReadUntil("\r\n\r\n");
        HttpConnection stranger(port_);
        stranger.Send(RequestText("GET", "/events", "", "Last-Event-ID: 77\r\n"));
        stranger.ReadUntil("\r\n\r\n");
        std::string all = reader.ReadUntil("\n\n");
        all += stranger.ReadUntil("\n\n");
        return all += stranger.ReadUntil("\n\n");
    });
    EXPECT_EQ(told,
              "id: 3\ndata: <Probe>a</Probe>\n\n"
              "event: reset\ndata: <reset/>\n\n"
              "id: 1\ndata: <Probe>a</Probe>\n\n");
}

TEST_F(ServerTest, CommentsKeepAQuietStreamOpen) {
    limits_.commentTime = 50ms;
    limits_.idleTime = 200ms;
    Serve();
    const std::string told = With([this] {
        const auto reader = AnsweredConnection(port_, "/events");
        std::this_thread::sleep_for(2 * limits_.idleTime);
        return reader->ReadUntil(":\n\n") + reader->ReadUntil(":\n\n");
    });
    EXPECT_EQ(told, ":\n\n:\n\n");
}

TEST_F(ServerTest, AReaderThatLeavesIsForgotten) {
    Serve();
    With([this] {
        HttpConnection reader(port_);
        reader.Send(RequestText("GET", "/events"));
        reader.ReadUntil("\r\n\r\n");
        return 0;
    });
    TurnUntil([this] { return events_.Readers() == 0; });
}

TEST_F(ServerTest, ASlowReaderIsDroppedAndDelaysNobody) {
    limits_.readerQueue = 100;
    Serve();
    const std::string large = "text=" + std::string(10'000, 'x') + "&times=50";
    const std::string told = With([&] {
        HttpConnection slow(port_);
        slow.Send(RequestText("GET", "/events"));
        slow.ReadUntil("\r\n\r\n");
        HttpConnection quick(port_);
        quick.Send(RequestText("GET", "/events"));
        quick.ReadUntil("\r\n\r\n");
        HttpConnection sender(port_);
        for (int burst = 0; burst < 40; ++burst) {  // 20 MB, more than the sockets hold
            sender.Ask("POST", "/drivers/lamp/commands/event", large);
            for (int event = 0; event < 50; ++event)
                quick.ReadUntil("\n\n");
        }
        sender.Ask("POST", "/drivers/lamp/commands/event", "text=last&times=1");
        const std::string last = quick.ReadUntil("\n\n");
        return last + AskOnce(port_, "GET", "/metrics").body;
    });
    EXPECT_THAT(told, StartsWith("id: 2001\ndata: <Probe>last</Probe>\n\n"));
    EXPECT_THAT(told, HasSubstr("driverhost_event_readers 1\n"));
}

TEST_F(ServerTest, AnAnswerThatWaitsForTheDiskOutlivesTheStop) {
    Serve();
    disk_.Hold(true);
    bool stopped = false;
    const auto stopWhenItWaits = [&] {
        TurnUntil([this] { return metrics_.OfDriver("lamp").stateMarks == 1; });
        server_->Stop([&] { stopped = true; });
        Turn(50ms);
        EXPECT_FALSE(stopped);
        disk_.Hold(false);
    };
    auto answer = std::async(std::launch::async, [this] {
        return AskOnce(port_, "POST", "/drivers/lamp/commands/set", "value=kept");
    });
    stopWhenItWaits();
    TurnUntil([&] { return stopped; });
    EXPECT_EQ(answer.get().headers.at("connection"), "close");
    EXPECT_THAT(StoredState("lamp"), HasSubstr("kept"));
}

TEST_F(ServerTest, StoppingClosesIdleConnectionsAndStreams) {
    Serve();
    bool stopped = false;
    const std::string left = With([&] {
        HttpConnection idle(port_);
        idle.Ask("GET", "/health");
        HttpConnection reader(port_);
        reader.Send(RequestText("GET", "/events"));
        reader.ReadUntil("\r\n\r\n");
        thread_.Post([&] { server_->Stop([&] { stopped = true; }); });
        std::string rest = idle.ReadToEnd();
        return rest += reader.ReadToEnd();
    });
    EXPECT_EQ(left, "");
    TurnUntil([&] { return stopped; });
    EXPECT_EQ(server_->Connections(), 0U);
}

TEST_F(ServerTest, AnAddressInUseIsRefused) {
    Serve();
    try {
        const Server second(thread_, {"127.0.0.1", port_}, limits_);
        FAIL() << "it took the address";
    } catch (const ListenError& error) {
        EXPECT_EQ(error.what(), "cannot listen on 127.0.0.1:" + std::to_string(port_) +
                                    ": Address already in use; choose another address with --listen");
    }
}

}  // namespace
}  // namespace driverhost
