// What happens with the host: it is away, it comes, it changes something.
#include <csignal>
#include <fstream>

#include "tests/telephony/proxy/support/ProxyFixture.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace proxy {
namespace {

class Following : public ProxyFixture {
protected:
    /// Returns when the running proxy has the home.
    void TakeOver(const HostHome& home) {
        const std::size_t before = Log().size();
        host_->Change(home);
        ASSERT_TRUE(Comes([&] {
            return Log().find("accounts and groups are taken over", before) != std::string::npos;
        })) << Log();
    }
};

TEST_F(Following, WithoutHostAndEarlierRecordsItWaitsUntilTheHostComes) {
    Launch();
    WaitForLog("there are no records of an earlier time; waiting for it");
    EXPECT_TRUE(Kamailios().empty());
    StartHost(SampleHome());
    WaitUntilRunning();
    EXPECT_EQ(200, Phone("hall")->Register());
}

TEST_F(Following, WithoutHostItGoesOnWithTheLastGoodRecords) {
    Start();
    EXPECT_EQ(0, Stop());
    StopHost();
    Launch();
    WaitUntilRunning();
    EXPECT_THAT(Log(), HasSubstr("going on with the last good records"));
    EXPECT_EQ(200, Phone("hall")->Register());
    EXPECT_THAT(Status(), HasSubstr("host: away"));
}

TEST_F(Following, WhenTheHostComesLaterWithOtherRecordsTheyAreTakenOver) {
    Start();
    Stop();
    StopHost();
    Launch();
    WaitUntilRunning();
    HostHome home = SampleHome();
    home.configs.push_back({{"key", "n"}, {"domain", "garden.home"}, {"port", "5062"}});
    StartHost(home);
    WaitForLog("the host has other records than the last good ones");
    WaitUntilRunning();
    EXPECT_THAT(Log(), HasSubstr(address_ + ":5062"));
    EXPECT_THAT(Status(), HasSubstr("host: connected"));
}

TEST_F(Following, TheAgentIsToldTheAddressOnceItIsUp) {
    Start();
    EXPECT_TRUE(Comes([this] { return host_->Home().sipProxyIp == address_; }));
}

TEST_F(Following, AnAddressThatTheAgentHasStays) {
    HostHome home = SampleHome();
    home.sipProxyIp = "10.0.0.9";
    StartHost(home);
    Start();
    host_->Change(home);
    EXPECT_EQ(200, Phone("hall")->Register());
    EXPECT_EQ("10.0.0.9", host_->Home().sipProxyIp);
}

TEST_F(Following, AnAccountIsAddedWithoutARestart) {
    Start();
    const pid_t before = Kamailios().front();
    HostHome home = host_->Home();
    home.accounts.push_back({.id = 103, .user = "bath", .password = "bath-password", .intercomName = "Bath"});
    home.groups = {{"Wet", {103}}};
    TakeOver(home);
    const auto bath = Phone("bath");
    EXPECT_EQ(200, bath->Register());
    EXPECT_EQ(before, Kamailios().front());
    const auto hall = Phone("hall");
    hall->Send({.method = "OPTIONS", .address = Uri("bath")});
    EXPECT_THAT(hall->Receive(), HasSubstr("407 Proxy Authentication Required"));
}

TEST_F(Following, DoNotDisturbIsTakenOverWithoutARestart) {
    Start();
    const pid_t before = Kamailios().front();
    const auto kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    HostHome home = host_->Home();
    home.accounts[1].dnd = true;
    TakeOver(home);
    EXPECT_EQ(486, Phone("hall")->Ask({.method = "INVITE", .address = Uri("kitchen")}));
    EXPECT_EQ(before, Kamailios().front());
}

TEST_F(Following, AutoAnswerIsTakenOverWithoutARestart) {
    Start();
    const pid_t before = Kamailios().front();
    const auto hall = Phone("hall"), kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    EXPECT_EQ("", HeaderOf(Received(*hall, *kitchen, Uri("kitchen")), "Call-Info"));
    HostHome home = host_->Home();
    home.accounts[1].autoAnswer = true;
    TakeOver(home);
    EXPECT_EQ("<sip:intercom>;answer-after=0",
              HeaderOf(Received(*hall, *kitchen, Uri("kitchen")), "Call-Info"));
    home.accounts[1].autoAnswer = false;
    TakeOver(home);
    EXPECT_EQ("", HeaderOf(Received(*hall, *kitchen, Uri("kitchen")), "Call-Info"));
    EXPECT_EQ(before, Kamailios().front());
}

TEST_F(Following, WhoIsInAGroupIsTakenOverWithoutARestart) {
    HostHome home = SampleHome();
    home.accounts.push_back({.id = 103, .user = "bath", .password = "bath-password", .intercomName = "Bath"});
    home.groups = {{"Wet", {102}}};
    StartHost(home);
    Start();
    const pid_t before = Kamailios().front();
    const auto hall = Phone("hall"), kitchen = Phone("kitchen"), bath = Phone("bath");
    ASSERT_EQ(200, kitchen->Register());
    ASSERT_EQ(200, bath->Register());
    EXPECT_THAT(Received(*hall, *kitchen, Uri("Wet")), StartsWith("INVITE sip:kitchen@"));
    home.groups = {{"Wet", {103}}};
    TakeOver(home);
    EXPECT_THAT(Received(*hall, *bath, Uri("Wet")), StartsWith("INVITE sip:bath@"));
    EXPECT_EQ(200, status_);
    EXPECT_THAT(kitchen->Receive(std::chrono::milliseconds(200)), Not(StartsWith("INVITE ")));
    home.groups.clear();
    TakeOver(home);
    EXPECT_EQ(404, hall->Ask({.method = "INVITE", .address = Uri("Wet")}));
    EXPECT_EQ(before, Kamailios().front());
}

// Whoever has a file open goes on reading what it was, so nobody ever sees half of a file.
TEST_F(Following, AReaderSeesAFileAsItWasToItsEnd) {
    Start();
    std::map<std::string, std::pair<std::unique_ptr<std::ifstream>, std::string>> readers;
    for (const char* const name :
         {"state/records.json", "run/records.sqlite", "run/state.json", "run/callcontrol.json"})
        readers[name] = {std::make_unique<std::ifstream>(folder_ / name, std::ios::binary),
                         test::ReadFile(folder_ / name)};
    HostHome home = SampleHome();
    home.accounts.push_back({.id = 103, .user = "bath", .password = "bath-password", .intercomName = "Bath"});
    TakeOver(home);
    ::kill(Kamailios().front(), SIGKILL);
    WaitUntilRunning();
    for (auto& [name, reader] : readers) {
        std::ostringstream text;
        text << reader.first->rdbuf();
        EXPECT_EQ(reader.second, text.str()) << name;
        EXPECT_NE(reader.second, test::ReadFile(folder_ / name)) << name;
    }
}

TEST_F(Following, AChangedPasswordCountsAtOnceAndEndsTheRegistration) {
    Start();
    const auto hall = Phone("hall");
    ASSERT_EQ(200, hall->Register());
    HostHome home = host_->Home();
    home.accounts[0].password = "another";
    TakeOver(home);
    EXPECT_TRUE(Comes([this] { return Status().find("account hall: not registered") != std::string::npos; }))
        << Status();
    EXPECT_EQ(401, hall->Register());
    EXPECT_EQ(200, SipPhone("hall", "another", address_).Register());
}

TEST_F(Following, ADiskThatTakesNothingIsSaidAndTheChangeIsTakenOverLater) {
    Start();
    const std::string inTheWay = run_ + "/records.sqlite.new";
    std::filesystem::create_directories(inTheWay);
    HostHome home = SampleHome();
    home.accounts.push_back(
        {.id = 103, .user = "attic", .password = "attic-password", .intercomName = "Attic"});
    host_->Change(home);
    WaitForLog("cannot use " + inTheWay);
    EXPECT_EQ(200, Phone("hall")->Register());
    std::filesystem::remove(inTheWay);
    WaitForLog("accounts and groups are taken over");
    EXPECT_EQ(200, Phone("attic")->Register());
}

TEST_F(Following, AnErasedAccountIsGone) {
    Start();
    const auto kitchen = Phone("kitchen");
    ASSERT_EQ(200, kitchen->Register());
    HostHome home = host_->Home();
    home.accounts.pop_back();
    TakeOver(home);
    EXPECT_EQ(401, kitchen->Register());
    EXPECT_EQ(404, Phone("hall")->Ask({.method = "INVITE", .address = Uri("kitchen")}));
}

TEST_F(Following, OtherRecordsWaitForANewStart) {
    Start();
    const pid_t before = Kamailios().front();
    HostHome home = host_->Home();
    home.routes = {{{"key", "a"}, {"matchingPattern", "^sip:9"}, {"rewriteExp", "sip:"}, {"order", "1"}}};
    host_->Change(home);
    EXPECT_TRUE(Comes([this] { return Status().find("the records have changed") != std::string::npos; }))
        << Status();
    EXPECT_EQ(before, Kamailios().front());
    Stop();
    Launch();
    WaitUntilRunning();
    EXPECT_THAT(Status(), Not(HasSubstr("the records have changed")));
}

TEST_F(Following, AHostThatIsStartedAnewIsFollowedAgain) {
    Start();
    const HostHome home = SampleHome();
    StopHost();
    WaitForLog("the host is gone; going on without it");
    EXPECT_EQ(200, Phone("hall")->Register());
    StartHost(home);
    EXPECT_TRUE(Comes([this] { return host_->Home().sipProxyIp == address_; })) << Log();
    EXPECT_TRUE(Comes([this] { return Status().find("host: connected") != std::string::npos; }));
}

TEST_F(Following, TheCheckTellsWhatItWouldRunWithAndNoSecret) {
    HostHome home = SampleHome();
    home.routes = {{{"key", "bad"}, {"matchingPattern", "["}, {"rewriteExp", ""}, {"order", "1"}}};
    StartHost(home);
    const test::ProgramResult result = test::RunProgram({SIPPROXY_PROGRAM, "--check"}, environment_);
    EXPECT_EQ(1, result.status) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("listens on " + address_ + ":5060, UDP and TCP\n"));
    EXPECT_THAT(result.output, HasSubstr("account hall, password set\n"));
    EXPECT_THAT(result.output, HasSubstr("call Kitchen for kitchen\n"));
    EXPECT_THAT(result.output, HasSubstr("left out: route bad: the pattern is no regular expression"));
    EXPECT_THAT(result.output, Not(HasSubstr("hall-password")));
    EXPECT_THAT(result.output, Not(HasSubstr("callcontrol")));
}

TEST_F(Following, TheStatusIsThereAsJson) {
    Start();
    ASSERT_EQ(200, Phone("hall")->Register());
    EXPECT_TRUE(StatusTells("account hall: sip:hall@"));
    const std::string status = Status("--json");
    EXPECT_THAT(status, HasSubstr("\"kamailio\": \"running\""));
    EXPECT_THAT(status, HasSubstr("\"user\": \"hall\""));
    Stop();
    EXPECT_THAT(Status("--json"), HasSubstr("no sipproxy runs with the folder"));
}

}  // namespace
}  // namespace proxy
