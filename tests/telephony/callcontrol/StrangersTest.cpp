// SIP from those who may not speak to call control.
#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/telephony/callcontrol/RealCalls.h"

namespace test {
namespace {

// A UDP socket on a port; what is sent to call control is answered, or is not.
class Stranger {
public:
    explicit Stranger(int port) : socket_(socket(AF_INET, SOCK_DGRAM, 0)) {
        sockaddr_in own = Loopback(port);
        bind(socket_, reinterpret_cast<sockaddr*>(&own), sizeof own);
    }
    ~Stranger() { close(socket_); }

    /// The first line of the answer; empty when none comes.
    std::string Ask(const std::string& text, std::chrono::milliseconds most = kPatience) {
        sockaddr_in callControl = Loopback(5070);
        sendto(socket_, text.data(), text.size(), 0, reinterpret_cast<sockaddr*>(&callControl),
               sizeof callControl);
        pollfd ready{socket_, POLLIN, 0};
        char answer[8192];
        if (poll(&ready, 1, static_cast<int>(most.count())) != 1) return {};
        const ssize_t size = recv(socket_, answer, sizeof answer, 0);
        const std::string line(answer, size > 0 ? static_cast<std::size_t>(size) : 0);
        return line.substr(0, line.find('\r'));
    }

    static std::string Request(const std::string& method, int port, const std::string& more) {
        return method +
               " sip:kitchen@127.0.0.1:5070 SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1:" + std::to_string(port) +
               ";branch=z9hG4bK" + std::to_string(std::rand()) +
               "\r\nFrom: <sip:hall@intercom>;tag=1\r\nTo: <sip:kitchen@intercom>" +
               "\r\nCall-ID: " + std::to_string(std::rand()) + "\r\nCSeq: 1 " + method +
               "\r\nContact: <sip:hall@127.0.0.1>\r\nMax-Forwards: 70\r\n" + more +
               "Content-Length: 0\r\n\r\n";
    }

private:
    static sockaddr_in Loopback(int port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }
    int socket_;
};

// A second of a tone, in order, to every port at which rtpengine may hear calls.
void SpeakIntoEveryPort(int hertz) {
    const int number = socket(AF_INET, SOCK_DGRAM, 0);
    const std::string sound = PcmaTone(hertz);
    for (unsigned packet = 0; packet < 50; ++packet) {
        std::string rtp("\x80\x08\0\0\0\0\0\0\x12\x34\x56\x78", 12);
        rtp[3] = static_cast<char>(packet);
        rtp[6] = static_cast<char>(packet * 160 >> 8);
        rtp[7] = static_cast<char>(packet * 160 & 0xff);
        rtp += sound.substr(packet * 160, 160);
        for (int port = 20000; port < 21000; port += 2) {
            sockaddr_in to{};
            to.sin_family = AF_INET;
            to.sin_port = htons(static_cast<std::uint16_t>(port));
            to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            sendto(number, rtp.data(), rtp.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
        }
    }
    close(number);
}

TEST_F(RealCalls, SoundOfStrangersIsNotHeardInACall) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    Talk(hall, kitchen);
    SpeakIntoEveryPort(1000);
    Talk(hall, kitchen);
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_TRUE(Hears(kitchen, 440));
    EXPECT_EQ(hall.Sent().SecondsOf(1000), 0);
    EXPECT_EQ(kitchen.Sent().SecondsOf(1000), 0);
}

TEST_F(RealCalls, WhoIsNotTheProxyIsRefusedWhateverItSays) {
    Stranger stranger(7000);
    for (const char* method : {"INVITE", "BYE", "OPTIONS", "REGISTER", "INFO"})
        EXPECT_EQ(
            stranger.Ask(Stranger::Request(method, 7000, "X-Intercom-Secret: test-secret-of-the-proxy\r\n")),
            "SIP/2.0 403 Not from here")
            << method;
}

TEST_F(RealCalls, AnInviteFromTheProxysAddressNeedsTheSecret) {
    home_->KillProxy();
    Stranger impostor(5060);
    EXPECT_EQ(impostor.Ask(Stranger::Request("INVITE", 5060, "")), "SIP/2.0 403 Not from the proxy");
    EXPECT_EQ(impostor.Ask(Stranger::Request("INVITE", 5060, "X-Intercom-Secret: wrong\r\n")),
              "SIP/2.0 403 Not from the proxy");
}

TEST_F(RealCalls, ARequestWithinACallThatIsUnknownEndsNothing) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    home_->KillProxy();
    Stranger impostor(5060);
    std::string bye = Stranger::Request("BYE", 5060, "");
    bye.replace(bye.find("To: <sip:kitchen@intercom>"), 26, "To: <sip:kitchen@intercom>;tag=guessed");
    EXPECT_EQ(impostor.Ask(bye), "SIP/2.0 481 Call/Transaction Does Not Exist");
    client_->Send(R"({"cmd":"status"})");
    EXPECT_EQ(client_->Wait(EventKind::Snapshot).calls.size(), 1u);
}

TEST_F(RealCalls, GarbageOnTheSipPortChangesNothing) {
    Stranger stranger(7000);
    for (const std::string& text :
         {std::string("garbage"), std::string(8000, '\0'), std::string("INVITE sip:x SIP/2.0\r\n\r\n"),
          "SIP/2.0 200 OK\r\nCSeq: 1 INVITE\r\nCall-ID: x\r\n\r\n" + std::string(5000, 'x')})
        EXPECT_EQ(stranger.Ask(text, std::chrono::milliseconds(300)), "");
    client_->Send(R"({"cmd":"status"})");
    EXPECT_EQ(client_->Wait(EventKind::Snapshot).proxy, "up");
}

}  // namespace
}  // namespace test
