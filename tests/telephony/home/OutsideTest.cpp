// Names that nobody here has, other hosts, and people who should not be here.
#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/telephony/home/House.h"

namespace test {
namespace {

class Outside : public House {
protected:
    void CallOutside(const std::string& address) const {
        Command("SIP_EXTERNAL_CALL", {{"source", "101"}, {"destination", address}, {"video", "3"}});
    }
};

TEST_F(Outside, ANameThatNobodyHasAndAForeignHostAreRefusedAndSaid) {
    Baresip hall(*home_, "hall", 6100, 440);
    EXPECT_TRUE(StateBecomes(101, 0));
    CallOutside("0301234@127.0.0.1");
    EXPECT_TRUE(IsLogged("the call to 0301234 has failed: 404 Nobody has this name"));
    CallOutside("somebody@example.com");
    EXPECT_TRUE(IsLogged("the call to somebody@example.com has failed: 403 No route to this host"));
    EXPECT_TRUE(StateBecomes(101, 0));
}

TEST_F(Outside, ARouteLeadsAForeignHostHome) {
    Command("addRoute", {{"key", "r"},
                         {"method", "INVITE"},
                         {"matchingPattern", "^sip:lodge@example.com$"},
                         {"rewriteExp", "sip:attic@127.0.0.1"},
                         {"order", "1"}});
    const pid_t before = Kamailios().front();
    Command("applySIPProxyChanges");
    EXPECT_TRUE(WaitUntil([&] {
        const std::vector<pid_t> now = Kamailios();
        return !now.empty() && now.front() != before && Snapshot().proxy == "up";
    }));
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip attic(*home_, "attic", 6120, 880);
    EXPECT_TRUE(StateBecomes(101, 0));
    EXPECT_TRUE(StateBecomes(103, 0));
    CallOutside("lodge@example.com");
    EXPECT_TRUE(StateBecomes(101, 3));
    Talk(hall, attic);
    EXPECT_TRUE(Hears(hall, 880));
    EXPECT_TRUE(Hears(attic, 440));
}

TEST_F(Outside, APhoneOnASecondPortOfTheProxyCallsThroughCallControlToo) {
    Command("addConfig", {{"key", "n"}, {"domain", "lodge.home"}, {"port", "5064"}});
    const pid_t before = Kamailios().front();
    Command("applySIPProxyChanges");
    EXPECT_TRUE(WaitUntil([&] {
        const std::vector<pid_t> now = Kamailios();
        return !now.empty() && now.front() != before && Snapshot().proxy == "up";
    }));
    Baresip hall(*home_, "hall", 6100, 440, {.proxyPort = 5064});
    Baresip attic(*home_, "attic", 6120, 880);
    EXPECT_TRUE(StateBecomes(101, 0));
    EXPECT_TRUE(StateBecomes(103, 0));
    hall.Do("dial", "sip:attic@127.0.0.1:5064");
    EXPECT_TRUE(StateBecomes(103, 3));
    Talk(hall, attic);
    EXPECT_TRUE(Hears(hall, 880));
    EXPECT_TRUE(Hears(attic, 440));
    hall.Do("hangup");
    EXPECT_TRUE(StateBecomes(103, 0));
}

// Sends to the proxy from a port of its own.
class Stranger {
public:
    Stranger() : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        proxy_.sin_family = AF_INET;
        proxy_.sin_port = htons(5060);
        proxy_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connect(socket_, reinterpret_cast<const sockaddr*>(&proxy_), sizeof proxy_);
    }
    ~Stranger() { close(socket_); }
    Stranger(const Stranger&) = delete;
    Stranger& operator=(const Stranger&) = delete;

    /// The first line of the answer; empty when there is none in the time.
    std::string Ask(const std::string& text, std::chrono::milliseconds most) const {
        send(socket_, text.data(), text.size(), 0);
        pollfd ready{socket_, POLLIN, 0};
        char answer[8192];
        if (poll(&ready, 1, static_cast<int>(most.count())) != 1) return {};
        const ssize_t size = recv(socket_, answer, sizeof answer, 0);
        const std::string line(answer, size > 0 ? static_cast<std::size_t>(size) : 0);
        return line.substr(0, line.find('\r'));
    }

    static std::string Request(const std::string& method, const std::string& to, const std::string& from,
                               const std::string& more = "") {
        static int number = 0;
        const std::string id = std::to_string(++number);
        return method + " " + to + " SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1;rport;branch=z9hG4bKs" + id +
               "\r\nFrom: <" + from + ">;tag=" + id + "\r\nTo: <" + to + ">\r\nCall-ID: stranger-" + id +
               "\r\nCSeq: 1 " + method + "\r\nContact: <sip:stranger@127.0.0.1>\r\nMax-Forwards: 70\r\n" +
               more + "Content-Length: 0\r\n\r\n";
    }

private:
    int socket_;
    sockaddr_in proxy_{};
};

TEST_F(Outside, StrangersOpenNothingAndEndNothing) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    EXPECT_TRUE(StateBecomes(102, 0));
    Call(101, 102);
    EXPECT_TRUE(StateBecomes(101, 3));
    const Stranger stranger;
    const auto refused = [&](const std::string& request) { return stranger.Ask(request, kPatience); };
    EXPECT_EQ(refused(Stranger::Request("INVITE", "sip:kitchen@127.0.0.1", "sip:hall@127.0.0.1")),
              "SIP/2.0 407 Proxy Authentication Required");
    EXPECT_EQ(refused(Stranger::Request("INVITE", "sip:kitchen@127.0.0.1", "sip:eve@example.com")),
              "SIP/2.0 403 Nobody of this home");
    EXPECT_EQ(refused(Stranger::Request("REGISTER", "sip:hall@127.0.0.1", "sip:hall@127.0.0.1")),
              "SIP/2.0 401 Unauthorized");
    EXPECT_EQ(refused(Stranger::Request("SUBSCRIBE", "sip:hall@127.0.0.1", "sip:hall@127.0.0.1")),
              "SIP/2.0 407 Proxy Authentication Required");
    for (const std::string& garbage :
         {std::string("\r\n\r\n"), std::string("BYE"), std::string(9000, 'x'), std::string(500, '\0'),
          Stranger::Request("INVITE", "sip:hall@127.0.0.1", "sip:a@b",
                            "Via: " + std::string(6000, ',') + "\r\n")})
        stranger.Ask(garbage, std::chrono::milliseconds(50));
    Talk(hall, kitchen);
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_TRUE(Hears(kitchen, 440));
    EXPECT_TRUE(StateBecomes(101, 3));
    EXPECT_EQ(Snapshot().calls.size(), 1u);
}

}  // namespace
}  // namespace test
