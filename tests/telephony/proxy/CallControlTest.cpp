// How calls are handed to call control, and what happens when it is away or hangs.
#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/telephony/proxy/support/ProxyFixture.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace proxy {
namespace {

// As much of call control as the proxy sees: its port, and its connection for events.
class StandInCallControl {
public:
    explicit StandInCallControl(const std::string& address) : address_(address) {
        sockaddr_in name{};
        name.sin_family = AF_INET;
        ::inet_pton(AF_INET, address.c_str(), &name.sin_addr);
        sip_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        name.sin_port = htons(5070);
        EXPECT_EQ(0, ::bind(sip_, reinterpret_cast<const sockaddr*>(&name), sizeof name));
        events_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        name.sin_port = htons(5061);
        // Kamailio listens for phones a moment before it listens here.
        EXPECT_TRUE(test::Eventually(
            [&] { return ::connect(events_, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0; }));
    }
    ~StandInCallControl() {
        ::close(events_);
        ::close(sip_);
    }
    StandInCallControl(const StandInCallControl&) = delete;
    StandInCallControl& operator=(const StandInCallControl&) = delete;

    void Say(const std::string& text) const {
        const std::string netstring = std::to_string(text.size()) + ":" + text + ",";
        ::send(events_, netstring.data(), netstring.size(), MSG_NOSIGNAL);
    }
    /// Reads events until one has the text; all that came.
    std::string EventsUntil(const std::string& text, std::chrono::milliseconds most = test::kPatience) const {
        std::string events;
        while (events.find(text) == events.npos) {
            const std::string more = Receive(events_, most);
            if (more.empty()) break;
            events += more;
        }
        return events;
    }
    std::string ReceiveSip() const { return Receive(sip_, test::kPatience); }
    /// From the port where call control listens.
    void Invite(const std::string& to, const std::string& from, const std::string& headers) const {
        const std::string text = "INVITE " + to + " SIP/2.0\r\nVia: SIP/2.0/UDP " + address_ +
                                 ":5070;branch=z9hG4bK1\r\nMax-Forwards: 70\r\nFrom: <" + from +
                                 ">;tag=1\r\nTo: <" + to +
                                 ">\r\nCall-ID: 1\r\nCSeq: 1 INVITE\r\nContact: <sip:" + address_ +
                                 ":5070>\r\n" + headers + "Content-Length: 0\r\n\r\n";
        sockaddr_in proxy{};
        proxy.sin_family = AF_INET;
        proxy.sin_port = htons(5060);
        ::inet_pton(AF_INET, address_.c_str(), &proxy.sin_addr);
        ::sendto(sip_, text.data(), text.size(), 0, reinterpret_cast<const sockaddr*>(&proxy), sizeof proxy);
    }

private:
    static std::string Receive(int socket, std::chrono::milliseconds most) {
        pollfd waiting{socket, POLLIN, 0};
        if (::poll(&waiting, 1, static_cast<int>(most.count())) <= 0) return "";
        std::string text(65536, '\0');
        const ssize_t size = ::recv(socket, text.data(), text.size(), 0);
        text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return text;
    }
    const std::string address_;
    int events_;
    int sip_;
};

class CallControl : public ProxyFixture {
protected:
    std::string Value(const std::string& name) const {
        const std::string text = test::ReadFile(run_ + "/callcontrol.json");
        const std::size_t begin = text.find("\"" + name + "\": \"") + name.size() + 5;
        return text.substr(begin, text.find('"', begin) - begin);
    }
    std::unique_ptr<StandInCallControl> Connect() {
        auto control = std::make_unique<StandInCallControl>(address_);
        control->Say(Value("secret"));
        WaitForLog("call control is there");
        return control;
    }
};

std::string Hexadecimal(const std::string& text) {
    std::string digits;
    for (const char c : text)
        for (const int half : {c >> 4, c & 15})
            digits += "0123456789abcdef"[half];
    return digits;
}

TEST_F(CallControl, IsToldWhoIsRegisteredAndWhoComesAndGoes) {
    Start();
    const auto hall = Phone("hall");
    ASSERT_EQ(200, hall->Register());
    const auto control = Connect();
    EXPECT_THAT(control->EventsUntil("hall"),
                HasSubstr("{\"event\":\"registered\",\"user\":\"hall\",\"contact\":\"" +
                          Hexadecimal("sip:hall@" + hall->Address()) + "\""));
    const auto kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    EXPECT_THAT(control->EventsUntil("kitchen"), HasSubstr("\"event\":\"registered\",\"user\":\"kitchen\""));
    kitchen->Ask({.method = "REGISTER",
                  .address = "sip:" + address_,
                  .to = Uri("kitchen"),
                  .headers = "Expires: 0\r\n"});
    EXPECT_THAT(control->EventsUntil("lost"),
                HasSubstr("{\"event\":\"lost\",\"user\":\"kitchen\",\"reason\":\"unregistered\"}"));
}

TEST_F(CallControl, IsNotBelievedWithoutTheSecret) {
    Start();
    StandInCallControl stranger(address_);
    stranger.Say("guess");
    WaitForLog("refused an event connection");
    ASSERT_EQ(200, Phone("hall")->Register());
    EXPECT_EQ("", stranger.EventsUntil("hall", std::chrono::milliseconds(300)));
}

TEST_F(CallControl, GetsThePhonesCallsWithTheSecretHeader) {
    Start();
    const auto kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    const auto control = Connect();
    const auto hall = Phone("hall");
    std::string received;
    std::thread answering([&] { received = control->ReceiveSip(); });
    std::thread calling([&] { hall->Ask({.method = "INVITE", .address = Uri("kitchen")}); });
    answering.join();
    EXPECT_EQ(Value("secret"), HeaderOf(received, "X-Intercom-Secret"));
    EXPECT_THAT(received, StartsWith("INVITE " + Uri("kitchen")));
    // It hangs: after half a second the phone rings, and never sees the secret.
    const std::string invite = kitchen->Receive();
    EXPECT_THAT(invite, StartsWith("INVITE sip:kitchen@" + kitchen->Address()));
    EXPECT_THAT(invite, Not(HasSubstr(Value("secret"))));
    kitchen->Reply(invite, "486 Busy Here");
    calling.join();
    EXPECT_THAT(hall->Answer(), StartsWith("SIP/2.0 486"));
}

TEST_F(CallControl, CallsForAnyDeviceWithTheSecretWhichThePhoneNeverSees) {
    Start();
    const auto kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    const auto control = Connect();
    control->Invite(Uri("kitchen"), Uri("hall"), "X-Intercom-Secret: " + Value("secret") + "\r\n");
    const std::string invite = kitchen->Receive();
    EXPECT_THAT(invite, StartsWith("INVITE sip:kitchen@" + kitchen->Address()));
    EXPECT_THAT(HeaderOf(invite, "From"), HasSubstr(Uri("hall")));
    EXPECT_THAT(invite, Not(HasSubstr("X-Intercom-Secret")));
    kitchen->Reply(invite, "486 Busy Here");
}

TEST_F(CallControl, IsAskedForItsPasswordWithAWrongSecretAndNobodyElseMayUseTheRightOne) {
    Start();
    const auto control = Connect();
    control->Invite(Uri("kitchen"), Uri("hall"), "X-Intercom-Secret: guess\r\n");
    EXPECT_THAT(control->ReceiveSip(), StartsWith("SIP/2.0 407"));
    EXPECT_EQ(403, Phone("hall")->Ask({.method = "INVITE",
                                       .address = Uri("kitchen"),
                                       .from = Uri("kitchen"),
                                       .headers = "X-Intercom-Secret: " + Value("secret") + "\r\n"}));
}

TEST_F(CallControl, IsToldWhoIsToRingForTheNameThatWasDialled) {
    HostHome home = SampleHome();
    home.accounts.push_back(
        {.id = 103, .user = "attic", .password = "attic-password", .intercomName = "Attic", .dnd = true});
    home.groups["Upstairs"] = {101, 102, 103};
    StartHost(home);
    Start();
    const auto control = Connect();
    const auto hall = Phone("hall");
    const auto calleesOf = [&](const std::string& name) {
        std::thread calling([&] {
            hall->Ask({.method = "INVITE", .address = Uri(name), .headers = "X-Intercom-To: forged\r\n"});
        });
        const std::string invite = control->ReceiveSip();
        calling.join();
        EXPECT_THAT(invite, Not(HasSubstr("forged")));
        return HeaderOf(invite, "X-Intercom-To");
    };
    EXPECT_EQ("kitchen", calleesOf("KITCHEN"));
    // Neither the caller nor who is not to be disturbed.
    EXPECT_EQ("kitchen", calleesOf("Upstairs"));
}

TEST_F(CallControl, IsNotWaitedForWhenItsConnectionIsClosed) {
    Start();
    const auto kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    Connect().reset();
    WaitForLog("call control is gone");
    std::thread answering([&] { kitchen->Reply(kitchen->Receive(), "486 Busy Here"); });
    EXPECT_EQ(486, Phone("hall")->Ask({.method = "INVITE", .address = Uri("kitchen")}));
    answering.join();
    EXPECT_THAT(Log(), Not(HasSubstr("call control does not answer")));
}

}  // namespace
}  // namespace proxy
