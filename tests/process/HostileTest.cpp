// What no client should send, and what strangers may: each is answered or closed as documented, and
// behind it the host answers as quickly as before and holds nothing of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <thread>

#include "tests/process/support/ProcessFixture.h"

namespace driverhost {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::size_t kMegabyte = 1024 * 1024;
constexpr auto kPromise = 100ms;  // a command of a quiet home, whatever came before
constexpr int kSlower = 10;       // on a slow machine the promise is so many times what it took before

// A sanitizer keeps what was freed for a while, and shadows it.
#ifdef SANITIZED
constexpr std::size_t kMemoryLeft = 600 * kMegabyte;
#else
constexpr std::size_t kMemoryLeft = 24 * kMegabyte;
#endif

const std::string kEcho = "/drivers/lamp/commands/echo";
const std::string kFormHead =
    "POST " + kEcho + " HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/x-www-form-urlencoded\r\n";

const std::string kChunked = kFormHead + "Transfer-Encoding: chunked\r\n\r\n";

class HostileTest : public ProcessFixture {
protected:
    HostileTest() {
        plugins_ = AllPlugins();
        WriteHome(Driver(1, "agent", "intercom_agent") + Driver(2, "lamp", "probe") +
                  Driver(101, "door", "panel", "<key>door</key><name>Door</name>"));
        rlimit files{};
        getrlimit(RLIMIT_NOFILE, &files);
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
    }

    /// Starts a host that checks its times often, and notes what it holds and how quick it is.
    void Begin(const std::vector<std::string>& more = {}) {
        std::vector<std::string> options = {"--tick-time", "20"};
        options.insert(options.end(), more.begin(), more.end());
        Start(options);
        EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
        for (int attempt = 0; attempt < 5; ++attempt)
            promise_ = std::min(promise_, kSlower * TimeOfCommand());
        promise_ = std::max<steady_clock::duration>(promise_, kPromise);
        descriptors_ = host_->Descriptors().size();
        memory_ = host_->ResidentBytes();
    }

    steady_clock::duration TimeOfCommand() const {
        const auto begin = steady_clock::now();
        EXPECT_THAT(Command("agent", "getGroupList"), StartsWith("<groups"));
        return steady_clock::now() - begin;
    }

    /// Tries several times: on a busy machine, other processes delay an answer now and then.
    void ExpectQuick() const {
        EXPECT_TRUE(test::Eventually([this] { return TimeOfCommand() < promise_; }));
    }

    void ExpectWell() const {
        EXPECT_TRUE(test::Eventually([this] { return host_->Descriptors().size() <= descriptors_; }))
            << host_->Descriptors().size() << " descriptors, " << descriptors_ << " before";
        EXPECT_TRUE(test::Eventually([this] { return host_->ResidentBytes() < memory_ + kMemoryLeft; }))
            << host_->ResidentBytes() << " bytes, " << memory_ << " before";
        ExpectQuick();
    }

    /// What the host says to these bytes until it closes.
    std::string ConversationOf(const std::string& bytes) const {
        HttpConnection connection(port_);
        connection.Send(bytes);
        return connection.ReadToEnd();
    }

    int StatusOf(const std::string& bytes) const {
        HttpConnection connection(port_);
        connection.Send(bytes);
        return connection.ReadAnswer().status;
    }

    static std::string FormText(const std::string& form, const std::string& headers = "") {
        return kFormHead + headers + "Content-Length: " + std::to_string(form.size()) + "\r\n\r\n" + form;
    }

    static std::string Repeated(const std::string& text, std::size_t times) {
        std::string all;
        all.reserve(text.size() * times);
        for (std::size_t time = 0; time < times; ++time)
            all += text;
        return all;
    }

    /// Escapes only what would end the value or change it.
    static std::string Encoded(const std::string& text) {
        const std::map<char, const char*> escapes = {{'&', "%26"}, {'+', "%2B"}, {'%', "%25"}};
        std::string encoded;
        std::size_t begin = 0;
        for (std::size_t at; (at = text.find_first_of("&+%", begin)) != std::string::npos; begin = at + 1)
            encoded.append(text, begin, at - begin).append(escapes.at(text[at]));
        return encoded.append(text, begin);
    }

    std::size_t descriptors_ = 0;
    std::size_t memory_ = 0;
    steady_clock::duration promise_ = steady_clock::duration::max();
};

TEST_F(HostileTest, HeadsWithoutEnd) {
    Begin();
    const std::string start = "GET /drivers HTTP/1.1\r\nHost: localhost\r\n";
    EXPECT_THAT(ConversationOf(start + "A: " + std::string(5 * kMegabyte, 'x')), StartsWith("HTTP/1.1 431 "));
    EXPECT_THAT(ConversationOf(start + Repeated("A: x\r\n", 100'000)), StartsWith("HTTP/1.1 431 "));
    EXPECT_THAT(ConversationOf("GET /" + std::string(kMegabyte, 'x')), StartsWith("HTTP/1.1 431 "));
    EXPECT_THAT(ConversationOf(std::string(kMegabyte, 'x')), StartsWith("HTTP/1.1 4"));
    EXPECT_THAT(ConversationOf(Repeated("\r\n", kMegabyte)), StartsWith("HTTP/1.1 4"));
    ExpectWell();
}

TEST_F(HostileTest, BodiesBeyondTheirBound) {
    Begin();
    const std::string fifty(50 * kMegabyte, 'x');
    const std::string refusal = ConversationOf(FormText("xml=" + fifty));
    EXPECT_THAT(refusal, StartsWith("HTTP/1.1 413 "));
    EXPECT_THAT(refusal, HasSubstr("at most 1048576 bytes"));
    EXPECT_THAT(ConversationOf(kChunked + "3200000\r\n" + fifty + "\r\n0\r\n\r\n"),
                StartsWith("HTTP/1.1 413 "));
    EXPECT_THAT(ConversationOf(kChunked + Repeated("400\r\n" + std::string(1024, 'x') + "\r\n", 2000)),
                StartsWith("HTTP/1.1 413 "));
    EXPECT_THAT(ConversationOf(kFormHead + "Content-Length: 18446744073709551615\r\n\r\n"),
                StartsWith("HTTP/1.1 413 "));
    EXPECT_THAT(
        ConversationOf(
            "PUT /drivers/lamp/state HTTP/1.1\r\nHost: localhost\r\nContent-Length: 52428800\r\n\r\n" +
            fifty),
        StartsWith("HTTP/1.1 413 "));
    ExpectWell();
}

TEST_F(HostileTest, LargeBodiesOfManyConnections) {
    Begin();
    const std::string form = "a=" + std::string(kMegabyte - 2, 'x');
    std::string request = RequestText("POST", "/drivers/lamp/commands/count", form);
    request.pop_back();
    std::vector<std::unique_ptr<HttpConnection>> clients;
    for (int client = 0; client < 80; ++client) {
        clients.push_back(std::make_unique<HttpConnection>(port_));
        clients.back()->Send(request);
    }
    EXPECT_TRUE(
        test::Eventually([this] { return Metric("driverhost_http_responses_total{status=\"503\"}") == 16; }));
    EXPECT_EQ(Metric("driverhost_request_body_bytes"), static_cast<int>(64 * kMegabyte));
    EXPECT_LT(host_->ResidentBytes(), memory_ + 64 * kMegabyte + kMemoryLeft);
    EXPECT_EQ(Command("lamp", "count"), "<count>2</count>") << "what is small is answered meanwhile";
    std::map<int, int> answers;
    for (const auto& client : clients) {
        client->Send("x");
        ++answers[client->ReadAnswer().status];
    }
    EXPECT_THAT(answers, testing::ElementsAre(testing::Pair(200, 64), testing::Pair(503, 16)));
    clients.clear();
    EXPECT_EQ(Metric("driverhost_request_body_bytes"), 0);
    ExpectWell();
}

TEST_F(HostileTest, HeadsAndBodiesThatDrip) {
    Begin({"--head-time", "300", "--body-time", "400"});
    for (const std::string& start : {std::string("GET /hea"), kFormHead + "Content-Length: 100000\r\n\r\na=",
                                     kChunked + "186A0\r\na="}) {
        test::Connection connection(port_);
        connection.Send(start);
        std::string said;
        EXPECT_TRUE(test::Eventually([&] {
            connection.Send("x");
            said = connection.Receive(50ms);
            return !said.empty();
        })) << start;
        EXPECT_THAT(said, StartsWith("HTTP/1.1 408 ")) << start;
    }
    ExpectWell();
}

TEST_F(HostileTest, AnswersThatNobodyTakes) {
    Begin({"--write-time", "500"});
    std::vector<std::unique_ptr<HttpConnection>> clients;
    for (int client = 0; client < 3; ++client) {
        clients.push_back(std::make_unique<HttpConnection>(port_));
        for (int request = 0; request < 12; ++request)  // more than the sockets hold
            clients.back()->Send(FormText("a=" + std::string(kMegabyte - 100, 'x')));
    }
    ExpectQuick();
    EXPECT_TRUE(test::Eventually([this] { return Metric("driverhost_connections") == 1; }))
        << "they were closed";
    ExpectWell();
}

TEST_F(HostileTest, ManyRequestsInOnePiece) {
    Begin();
    auto connection = std::make_unique<HttpConnection>(port_);
    std::string all;
    for (int number = 0; number < 1000; ++number)
        all += FormText("n=" + std::to_string(number));
    std::thread sender([&] { connection->Send(all); });
    for (int number = 0; number < 1000; ++number)
        EXPECT_EQ(connection->ReadAnswer().body, "<echo><n>" + std::to_string(number) + "</n></echo>");
    sender.join();
    connection.reset();
    ExpectWell();
}

TEST_F(HostileTest, ARequestInTwoPiecesWhereverItIsCut) {
    Begin();
    const std::string chunked = kChunked + "3\r\na=%\r\n4;x=y\r\n41&b\r\n0\r\nT: t\r\n\r\n";
    for (const std::string& text : {FormText("a=%41&b"), chunked}) {
        HttpConnection connection(port_);
        for (std::size_t cut = 1; cut < text.size(); ++cut) {
            connection.Send(text.substr(0, cut));
            std::this_thread::sleep_for(300us);
            connection.Send(text.substr(cut));
            ASSERT_EQ(connection.ReadAnswer().body, "<echo><a>A</a><b/></echo>") << "cut at " << cut;
        }
        for (const char byte : text)
            connection.Send(std::string(1, byte));
        EXPECT_EQ(connection.ReadAnswer().body, "<echo><a>A</a><b/></echo>");
    }
    ExpectWell();
}

TEST_F(HostileTest, EscapesAndBytesThatAreNoText) {
    Begin();
    const std::string nul(1, '\0');
    for (const std::string& value :
         {std::string("%"), std::string("%4"), std::string("%GG"), std::string("%00"), std::string("%C3"),
          std::string("%C0%AF"), std::string("%ED%A0%80"), std::string("%F4%90%80%80"), std::string("%FF"),
          std::string("%EF%BF%BF"), std::string("%0B"), std::string("\xFF\xFE"), nul}) {
        EXPECT_EQ(StatusOf(FormText("a=" + value)), 400) << testing::PrintToString(value);
        EXPECT_EQ(StatusOf(FormText(value + "=a")), 400) << testing::PrintToString(value);
        EXPECT_EQ(StatusOf("GET /drivers/" + value + "/state HTTP/1.1\r\nHost: localhost\r\n\r\n"), 400)
            << testing::PrintToString(value);
    }
    EXPECT_EQ(StatusOf("GET /drivers HTTP/1.1\r\nHost: localhost\r\nA: b" + nul + "\r\n\r\n"), 400);
    EXPECT_EQ(StatusOf("GET /drivers HTTP/1.1\r\nHost: localhost\r\nA" + nul + ": b\r\n\r\n"), 400);
    EXPECT_EQ(StatusOf("GET /drivers HTTP/1.1\nHost: localhost\n\n"), 400);
    EXPECT_EQ(StatusOf("GET /drivers HTTP/9.1\r\nHost: localhost\r\n\r\n"), 400);
    EXPECT_EQ(StatusOf("GET /drivers/../../etc/passwd HTTP/1.1\r\nHost: localhost\r\n\r\n"), 404);
    EXPECT_EQ(StatusOf("GET /drivers/%2E%2E%2F/state HTTP/1.1\r\nHost: localhost\r\n\r\n"), 404);
    ExpectWell();
}

TEST_F(HostileTest, NamesAndPagesOfOthers) {
    Begin();
    const auto statusWith = [this](const std::string& headers) {
        return StatusOf("GET /drivers HTTP/1.1\r\n" + headers + "\r\n");
    };
    EXPECT_EQ(statusWith("Host: localhost\r\n"), 200);
    EXPECT_EQ(statusWith(""), 400);
    EXPECT_EQ(statusWith("Host: localhost\r\nHost: localhost\r\n"), 400);
    for (const char* host : {"evil.example", "localhost.evil.example", "127.0.0.1.evil.example", "", "[::2]",
                             "0", "2130706433", "localhost@evil.example", "127.0.0.1:80:80"})
        EXPECT_EQ(statusWith("Host: " + std::string(host) + "\r\n"), 403) << host;
    for (const char* origin : {"http://evil.example", "null", "https://localhost",
                               "http://localhost.evil.example", "http://localhost:1", "file://", ""})
        EXPECT_EQ(statusWith("Host: localhost\r\nOrigin: " + std::string(origin) + "\r\n"), 403) << origin;
    EXPECT_EQ(statusWith("Host: localhost\r\nOrigin: http://localhost\r\n"), 200);
    ExpectWell();
}

TEST_F(HostileTest, RequestsHiddenInOthers) {
    Begin();
    const std::string hidden = "POST /drivers/lamp/commands/count HTTP/1.1\r\nHost: localhost\r\n\r\n";
    const std::string length = std::to_string(hidden.size());
    const std::vector<std::string> framings = {
        "Content-Length: 0\r\nContent-Length: " + length,
        "Content-Length: " + length + "\r\nContent-Length: 0",
        "Content-Length: " + length + "\r\nContent-Length: " + length,
        "Content-Length: 0, " + length,
        "Content-Length: " + length + ", " + length,
        "Content-Length: -1",
        "Content-Length: +0",
        "Content-Length: 0x0",
        "Content-Length: 0 0",
        "Content-Length: ",
        "Content-Length : 0",
        "Content-Length: 99999999999999999999999",
        "Content-Length: " + length + "\r\nTransfer-Encoding: chunked",
        "Transfer-Encoding: chunked\r\nContent-Length: 0",
        "Transfer-Encoding: chunked\r\nTransfer-Encoding: identity",
        "Transfer-Encoding: identity\r\nTransfer-Encoding: chunked",
        "Transfer-Encoding: identity",
        "Transfer-Encoding: gzip, chunked",
        "Transfer-Encoding: chunked, gzip",
        "Transfer-Encoding: xchunked",
        "Transfer-Encoding: \"chunked\"",
        "Transfer-Encoding : chunked",
        "Transfer-Encoding:\x0B"
        "chunked",
        "X: y\nTransfer-Encoding: chunked",
    };
    for (const std::string& framing : framings) {
        const std::string said = ConversationOf(kFormHead + framing + "\r\n\r\n0\r\n\r\n" + hidden);
        EXPECT_THAT(said, StartsWith("HTTP/1.1 400 ")) << framing;
        EXPECT_EQ(said.rfind("HTTP/1.1 "), 0U) << "one answer to " << framing;
    }
    EXPECT_THAT(ConversationOf("POST " + kEcho +
                               " HTTP/1.0\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n" +
                               hidden),
                StartsWith("HTTP/1.1 400 "));
    EXPECT_EQ(Command("lamp", "count"), "<count>2</count>") << "none of those in between was carried out";
    ExpectWell();
}

TEST_F(HostileTest, ChunksThatAreNone) {
    Begin();
    const auto conversation = [this](const std::string& chunks) { return ConversationOf(kChunked + chunks); };
    for (const char* size : {"x", "-1", "", " 1", "0x1", "1 1", "G", "10000000000000000", ";"})
        EXPECT_THAT(conversation(std::string(size) + "\r\na\r\n0\r\n\r\n"), StartsWith("HTTP/1.1 400 "))
            << size;
    EXPECT_THAT(conversation("FFFFFFFFFFFFFFFF\r\na"), StartsWith("HTTP/1.1 413 "));
    EXPECT_THAT(conversation("1\r\naXX0\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(conversation("1;" + std::string(kMegabyte, 'x')), StartsWith("HTTP/1.1 4"));
    EXPECT_THAT(conversation("0\r\n" + Repeated("A: b\r\n", 100'000)), StartsWith("HTTP/1.1 4"));
    EXPECT_THAT(conversation("0\r\nContent-Length: 5\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
    ExpectWell();
}

TEST_F(HostileTest, ChunksWhoseLinesNeverEnd) {
    Begin({"--body-time", "300"});
    EXPECT_THAT(ConversationOf(kChunked + "1\na\n0\n\n"), StartsWith("HTTP/1.1 408 "));
    ExpectWell();
}

TEST_F(HostileTest, ChunksOfOneByte) {
    Begin();
    auto connection = std::make_unique<HttpConnection>(port_);
    connection->Send(kChunked + "1\r\na\r\n1\r\n=\r\n" + Repeated("1\r\nx\r\n", 100'000) + "0\r\n\r\n");
    EXPECT_EQ(connection->ReadAnswer().body, "<echo><a>" + std::string(100'000, 'x') + "</a></echo>");
    connection.reset();
    ExpectWell();
}

TEST_F(HostileTest, DocumentsThatAttackInParameters) {
    Begin();
    const std::string deep = Repeated("<a>", 100'000) + Repeated("</a>", 100'000);
    std::string laughs = "<!DOCTYPE a [<!ENTITY l \"ha\">";
    for (int level = 1; level < 12; ++level)
        laughs += "<!ENTITY l" + std::to_string(level) + " \"" +
                  Repeated("&l" + (level > 1 ? std::to_string(level - 1) : "") + ";", 10) + "\">";
    const std::vector<std::string> documents = {
        deep,
        Repeated("<a>", 300'000),
        laughs + "]><a>&l11;</a>",
        "<!DOCTYPE a [<!ENTITY x SYSTEM \"file:///etc/passwd\">]><a>&x;</a>",
        "<!DOCTYPE a SYSTEM \"http://127.0.0.1:1/\"><a/>",
        "<a>" + Repeated("<b/>", 200'000) + "</a>",
        "<a " + Repeated("b='c' ", 100'000) + "/>",
        "<" + std::string(900'000, 'a') + "/>",
        "<a>" + std::string(300'000, '&') + "</a>",
        "<?xml version='1.0' encoding='UTF-16'?><a/>",
        Repeated("]]>", 100'000)};
    for (const std::string& document : documents) {
        const std::string encoded = Encoded(document);
        for (const auto& [command, parameter] :
             {std::pair("setDeviceOrder", "xml"), std::pair("addContact", "phoneType"),
              std::pair("SIP_BROADCAST_CALL", "destinations")}) {
            const int status =
                Ask("POST", "/drivers/agent/commands/" + std::string(command),
                    "source=101&video=0&contactId=1&displayName=n&" + std::string(parameter) + "=" + encoded)
                    .status;
            EXPECT_THAT(status, AnyOf(200, 204)) << command << " " << document.substr(0, 60);
        }
    }
    EXPECT_EQ(Ask("PUT", "/drivers/agent/state", deep).status, 400);
    EXPECT_EQ(Ask("PUT", "/drivers/agent/state", laughs + "]><a>&l11;</a>").status, 400);
    ExpectWell();
}

TEST_F(HostileTest, ThousandsOfParameters) {
    Begin();
    EXPECT_EQ(StatusOf(FormText(Repeated("a=b&", 10'000))), 200);
    EXPECT_EQ(StatusOf(FormText(Repeated("a=b&", 10'001))), 413);
    EXPECT_EQ(StatusOf(FormText(Repeated("a&", kMegabyte / 2))), 413);
    EXPECT_EQ(StatusOf(FormText(std::string(kMegabyte, '&'))), 200) << "no field at all";
    std::string many;
    for (int number = 0; number < 9'000; ++number)
        many += "p" + std::to_string(number) + "=" + std::to_string(number) + "&";
    EXPECT_EQ(Ask("POST", "/drivers/agent/commands/addRoute", many + "key=k").status, 200);
    ExpectWell();
}

TEST_F(HostileTest, TwoThousandConnectionsThatSayNothing) {
    Begin();
    std::vector<std::unique_ptr<HttpConnection>> idle;
    for (int connection = 0; connection < 2000; ++connection)
        idle.push_back(std::make_unique<HttpConnection>(port_));
    ExpectQuick();
    EXPECT_GE(Metric("driverhost_connections"), 2000);
    idle[1000]->Send(RequestText("GET", "/health"));
    EXPECT_EQ(idle[1000]->ReadAnswer().status, 200);
    idle.clear();
    ExpectWell();
}

TEST_F(HostileTest, ConnectionsBeyondTheBound) {
    Begin({"--connections", "50", "--refusals", "10"});
    std::vector<std::unique_ptr<HttpConnection>> open;
    for (int connection = 0; connection < 50; ++connection) {
        open.push_back(std::make_unique<HttpConnection>(port_));
        ASSERT_EQ(open.back()->Ask("GET", "/health").status, 200) << connection;
    }
    int refused = 0;
    for (int connection = 0; connection < 200; ++connection) {
        try {
            HttpConnection more(port_);
            const std::string said = more.ReadToEnd();
            if (said.starts_with("HTTP/1.1 503 ")) ++refused;
            EXPECT_THAT(said, AnyOf("", HasSubstr("too many connections")));
        } catch (const std::runtime_error&) {
            // closed before it was spoken to
        }
    }
    EXPECT_GE(refused, 10);
    EXPECT_EQ(open[25]->Ask("GET", "/health").status, 200) << "those that were there are served";
    open.clear();
    ExpectWell();
}

TEST_F(HostileTest, ClientsThatBreakOff) {
    Begin();
    const std::string whole = FormText("a=" + std::string(1000, 'x'));
    const std::string changing =
        "POST /drivers/lamp/commands/set HTTP/1.1\r\nHost: localhost\r\nContent-Type: "
        "application/x-www-form-urlencoded\r\nContent-Length: 7\r\n\r\nvalue=x";
    for (int round = 0; round < 50; ++round) {
        for (const std::string& bytes :
             {std::string(), whole.substr(0, 20), whole.substr(0, whole.size() - 5), whole, whole + whole,
              changing, RequestText("GET", "/events"), FormText(std::string(100'000, 'x'))}) {
            HttpConnection connection(port_);
            connection.Send(bytes);
            connection.Reset();
        }
    }
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>x</value>"));
    ExpectWell();
    EXPECT_EQ(Metric("driverhost_event_readers"), 0);
    EXPECT_EQ(Stop(), 0);
}

}  // namespace
}  // namespace driverhost
