// Who is let in, who reaches whom.
#include "tests/telephony/proxy/support/ProxyFixture.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace proxy {
namespace {

class Registering : public ProxyFixture {};
class Calling : public ProxyFixture {};

TEST_F(Registering, TheRightPasswordIsLetInForFifteenSeconds) {
    Start();
    const auto hall = Phone("hall");
    EXPECT_EQ(200, hall->Register());
    EXPECT_EQ("<sip:hall@" + hall->Address() + ">;expires=15", HeaderOf(hall->Answer(), "Contact"));
    EXPECT_TRUE(StatusTells("account hall: sip:hall@" + hall->Address()));
    EXPECT_THAT(Status(), HasSubstr("account kitchen: not registered"));
}

TEST_F(Registering, AWrongPasswordIsRefusedAndSaid) {
    Start();
    SipPhone hall("hall", "guess", address_);
    EXPECT_EQ(401, hall.Register());
    WaitForLog("wrong password for user hall from udp:" + hall.Address());
    EXPECT_THAT(Status(), HasSubstr("account hall: not registered"));
}

TEST_F(Registering, AnUnknownUserIsRefusedAndSaid) {
    Start();
    SipPhone stranger("stranger", "x", address_);
    EXPECT_EQ(401, stranger.Register());
    WaitForLog("unknown user stranger from udp:" + stranger.Address());
}

TEST_F(Registering, NobodyRegistersForAnother) {
    Start();
    const auto hall = Phone("hall");
    EXPECT_EQ(403, hall->Ask({.method = "REGISTER",
                              .address = "sip:" + address_,
                              .from = Uri("kitchen"),
                              .to = Uri("kitchen")}));
    WaitForLog("user hall from udp:" + hall->Address() + " speaks for another user");
    EXPECT_THAT(Status(), HasSubstr("account kitchen: not registered"));
}

TEST_F(Registering, AForeignHostIsRefused) {
    Start();
    EXPECT_EQ(403,
              Phone("hall")->Ask(
                  {.method = "REGISTER", .address = "sip:other.example", .to = "sip:hall@other.example"}));
    WaitForLog("for the foreign host other.example");
}

TEST_F(Registering, WhoIsNotInTheAccessListIsRefused) {
    HostHome home = SampleHome();
    home.acls = {{{"key", "lan"}, {"address", "192.168.1.0"}, {"mask", "24"}, {"family", "2"}},
                 {{"key", "bad"}, {"address", "nowhere"}, {"mask", "24"}}};
    StartHost(home);
    Start();
    EXPECT_EQ(200, Phone("hall")->Register());  // the machine itself
    SipPhone outside("hall", "hall-password", address_, "127.1.2.3");
    EXPECT_EQ(403, outside.Register());
    WaitForLog("refused REGISTER from udp:" + outside.Address() + ": the access list does not have it");
    EXPECT_THAT(Status(), HasSubstr("left out: access-control entry bad: the address is no IPv4 address"));
}

TEST_F(Registering, GarbageIsPassedOverAndTheNextIsServed) {
    Start();
    const auto hall = Phone("hall");
    for (const std::string& garbage :
         {std::string("nonsense\r\n\r\n"), std::string("\0\0\0\0", 4), std::string(60000, 'A'),
          "INVITE " + Uri("hall") + " SIP/2.0\r\n\r\n",
          std::string("REGISTER sip: SIP/2.0\r\nVia: x\r\nContent-Length: -1\r\n\r\n"),
          std::string("SIP/2.0 200 OK\r\n\r\n"),
          "INVITE sip:" + std::string(5000, '%') + " SIP/2.0\r\nCSeq: 99999999999 INVITE\r\n\r\n"})
        hall->SendBytes(garbage);
    EXPECT_EQ(200, hall->Register());
    EXPECT_THAT(Log(), Not(HasSubstr("started again")));
}

TEST_F(Calling, ADeviceIsReachedByNameInAnyCaseByUserAndWithEscapes) {
    HostHome home = SampleHome();
    home.accounts[1].intercomName = "Große \"Küche\" $var(x) #!x \\ 'a'";
    StartHost(home);
    Start();
    const auto hall = Phone("hall");
    const auto kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    const std::string escaped = "Gro%C3%9Fe%20%22K%C3%BCche%22%20%24var%28x%29%20%23%21x%20%5C%20%27a%27";
    for (const std::string& name : {escaped, std::string("kitchen"), std::string("KITCHEN")}) {
        EXPECT_THAT(Received(*hall, *kitchen, Uri(name)),
                    StartsWith("INVITE sip:kitchen@" + kitchen->Address()))
            << name;
        EXPECT_EQ(200, status_) << name;
    }
}

TEST_F(Calling, WhoIsNotThereAndWhoIsUnknownAreTold) {
    Start();
    const auto hall = Phone("hall");
    EXPECT_EQ(480, hall->Ask({.method = "INVITE", .address = Uri("kitchen")}));
    EXPECT_EQ(404, hall->Ask({.method = "INVITE", .address = Uri("nobody")}));
    EXPECT_EQ(403, hall->Ask({.method = "INVITE", .address = "sip:kitchen@10.99.99.99"}));
    WaitForLog("refused INVITE from hall at " + hall->Address() + ": no route leads to 10.99.99.99");
}

TEST_F(Calling, ACallWithoutOrWithAForeignIdentityIsRefused) {
    Start();
    const auto kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    const auto hall = Phone("hall");
    EXPECT_EQ(403,
              hall->Ask({.method = "INVITE", .address = Uri("kitchen"), .from = "sip:hall@other.example"}));
    EXPECT_EQ(403, hall->Ask({.method = "INVITE", .address = Uri("kitchen"), .from = "sip:" + address_}));
    EXPECT_EQ(403, hall->Ask({.method = "INVITE", .address = Uri("kitchen"), .from = Uri("kitchen")}));
    SipPhone stranger("stranger", "x", address_);
    EXPECT_EQ(407, stranger.Ask({.method = "INVITE", .address = Uri("kitchen")}));
    EXPECT_EQ("", kitchen->Receive(std::chrono::milliseconds(200)));
}

// The header and the account that call control uses are worth nothing to a phone.
TEST_F(Calling, NobodyPassesForCallControl) {
    Start();
    const auto kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    SipPhone false_("callcontrol", "", address_);
    EXPECT_NE(200, false_.Ask({.method = "INVITE", .address = Uri("kitchen"), .from = Uri("hall")}));
    const auto hall = Phone("hall");
    std::string received;
    std::thread answering([&] {
        received = kitchen->Receive();
        kitchen->Reply(received, "486 Busy");
    });
    hall->Ask({.method = "INVITE", .address = Uri("kitchen"), .headers = "X-Intercom-Secret: guess\r\n"});
    answering.join();
    EXPECT_THAT(received, StartsWith("INVITE "));
    EXPECT_THAT(received, Not(HasSubstr("X-Intercom-Secret")));
}

// A request within a call needs no password, so it must lead nowhere but to the home's own phones.
TEST_F(Calling, NothingWithinACallIsPassedOnToAForeignHost) {
    Start();
    const auto hall = Phone("hall");
    hall->Send({.method = "BYE",
                .address = "sip:x@8.8.8.8",
                .to = Uri("kitchen") + ">;tag=x;y=<z",
                .headers = "Route: <sip:" + address_ + ";lr>\r\n"});
    EXPECT_THAT(hall->Receive(), StartsWith("SIP/2.0 403 Foreign host"));
}

TEST_F(Calling, DoNotDisturbIsAnsweredByTheProxy) {
    HostHome home = SampleHome();
    home.accounts[1].dnd = true;
    StartHost(home);
    Start();
    const auto kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    EXPECT_EQ(486, Phone("hall")->Ask({.method = "INVITE", .address = Uri("Kitchen")}));
    EXPECT_EQ("", kitchen->Receive(std::chrono::milliseconds(200)));
}

TEST_F(Calling, APhoneThatAnswersByItselfIsToldTo) {
    HostHome home = SampleHome();
    home.accounts[1].autoAnswer = true;
    StartHost(home);
    Start();
    const auto kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    const auto hall = Phone("hall");
    EXPECT_EQ("<sip:intercom>;answer-after=0",
              HeaderOf(Received(*hall, *kitchen, Uri("kitchen")), "Call-Info"));
}

TEST_F(Calling, AGroupRingsAllItsPhonesThatAreNotToBeLeftAlone) {
    HostHome home = SampleHome();
    for (const char* const user : {"bath", "attic"})
        home.accounts.push_back({.id = home.accounts.back().id + 1,
                                 .user = user,
                                 .password = std::string(user) + "-password",
                                 .intercomName = user});
    home.accounts.back().dnd = true;
    home.groups = {{"Every \"room\", all", {101, 102, 103, 104}}};
    StartHost(home);
    Start();
    const auto hall = Phone("hall"), kitchen = Phone("kitchen"), bath = Phone("bath"), attic = Phone("attic");
    for (const auto* const phone : {&kitchen, &bath, &attic})
        ASSERT_EQ(200, (*phone)->Register());
    EXPECT_THAT(Received(*hall, *kitchen, Uri("Every%20%22room%22%2C%20all")),
                StartsWith("INVITE sip:kitchen@"));
    EXPECT_EQ(200, status_);
    EXPECT_THAT(bath->Receive(), StartsWith("INVITE sip:bath@"));
    EXPECT_EQ("", attic->Receive(std::chrono::milliseconds(200)));
}

TEST_F(Calling, ARouteRewritesLikeSedAndTheFirstOneThatMatchesCounts) {
    HostHome home = SampleHome();
    home.routes = {
        {{"key", "a"}, {"matchingPattern", "^sip:77{1}(.*)@"}, {"rewriteExp", "sip:$1@"}, {"order", "2"}},
        {{"key", "b"},
         {"matchingPattern", "chen@"},
         {"rewriteExp", "nowhere@"},
         {"order", "1"},
         {"method", "MESSAGE"}},
        {{"key", "c"},
         {"matchingPattern", "^sip:77leak@"},
         {"rewriteExp", "sip:$sht(users=>hall)@"},
         {"order", "1"}},
        {{"key", "bad"}, {"matchingPattern", "("}, {"rewriteExp", ""}, {"order", "0"}}};
    StartHost(home);
    Start();
    const auto hall = Phone("hall");
    const auto kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    EXPECT_THAT(Received(*hall, *kitchen, Uri("77kitchen")),
                StartsWith("INVITE sip:kitchen@" + kitchen->Address()));
    EXPECT_EQ(404, hall->Ask({.method = "INVITE", .address = Uri("77leak")}));
    WaitForLog("what is no SIP address: sip%3a%24sht%28users%3d%3ehall%29%40");
    EXPECT_THAT(Log(), HasSubstr("sipproxy: left out: route bad: the pattern is no regular expression"));
}

TEST_F(Calling, AUserIsForwardedOnce) {
    HostHome home = SampleHome();
    home.accounts.push_back({.id = 103,
                             .user = "guest",
                             .password = "x",
                             .intercomName = "Guest",
                             .forwardAddress = Uri("kitchen")});
    home.accounts.push_back(
        {.id = 104, .user = "loop", .password = "x", .intercomName = "Loop", .forwardAddress = Uri("loop")});
    StartHost(home);
    Start();
    const auto hall = Phone("hall");
    const auto kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    EXPECT_THAT(Received(*hall, *kitchen, Uri("guest")), StartsWith("INVITE sip:kitchen@"));
    EXPECT_EQ(480, hall->Ask({.method = "INVITE", .address = Uri("loop")}));
}

}  // namespace
}  // namespace proxy
