// Whoever is killed, nothing is left, nothing that was registered is lost, and the next start works at once.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>

#include "tests/telephony/proxy/support/ProxyFixture.h"

using testing::HasSubstr;

namespace proxy {
namespace {

class Killing : public ProxyFixture {
protected:
    static bool Lives(pid_t process) {
        const std::string stat = test::ReadFile("/proc/" + std::to_string(process) + "/stat");
        return !stat.empty() && stat.find(") Z") == std::string::npos;
    }
    bool NoneLives(const std::vector<pid_t>& processes) {
        return Comes([&] { return std::ranges::none_of(processes, Lives); });
    }
    void KillProxy() {
        proxy_->Signal(SIGKILL);
        proxy_->Wait(test::kPatience);
        proxy_.reset();
    }
};

TEST_F(Killing, AnOrderlyEndLeavesNothing) {
    Start();
    std::vector<pid_t> processes = Kamailios();
    processes.push_back(Keeper());
    EXPECT_EQ(0, Stop());
    EXPECT_TRUE(NoneLives(processes));
}

TEST_F(Killing, SipproxyKilledTakesKamailioWithIt) {
    Start();
    std::vector<pid_t> processes = Kamailios();
    processes.push_back(Keeper());
    KillProxy();
    EXPECT_TRUE(NoneLives(processes));
}

TEST_F(Killing, AStartRightAfterAKillWorksAndNoRegistrationIsLost) {
    Start();
    ASSERT_EQ(200, Phone("kitchen")->Register());
    KillProxy();
    Launch();
    WaitUntilRunning();
    EXPECT_THAT(Status(), HasSubstr("account kitchen: sip:kitchen@"));
    EXPECT_THAT(Log(), testing::Not(HasSubstr("bind")));
}

TEST_F(Killing, TheKeeperKilledBringsANewKamailio) {
    Start();
    const std::vector<pid_t> processes = Kamailios();
    const pid_t keeper = Keeper();
    ::kill(keeper, SIGKILL);
    WaitUntilRunning();
    EXPECT_TRUE(NoneLives(processes));
    EXPECT_NE(keeper, Keeper());
    EXPECT_EQ(200, Phone("hall")->Register());
}

TEST_F(Killing, KamailiosMainProcessKilledBringsANewOneAndRegistrationsStay) {
    Start();
    ASSERT_EQ(200, Phone("kitchen")->Register());
    EXPECT_TRUE(StatusTells("account kitchen: sip:kitchen@"));
    const std::vector<pid_t> processes = Kamailios();
    ::kill(processes.front(), SIGKILL);
    WaitForLog("Kamailio was ended by signal 9; it is started again");
    WaitUntilRunning();
    EXPECT_TRUE(NoneLives(processes));
    EXPECT_THAT(Status(), HasSubstr("account kitchen: sip:kitchen@"));
    const auto hall = Phone("hall");
    hall->Send({.method = "INVITE", .address = Uri("kitchen")});
    EXPECT_THAT(hall->Receive(), HasSubstr("407"));
}

TEST_F(Killing, AWorkerKilledBringsANewKamailio) {
    Start();
    const std::vector<pid_t> processes = Kamailios();
    ::kill(processes.back(), SIGKILL);
    WaitUntilRunning();
    EXPECT_TRUE(NoneLives(processes));
    EXPECT_EQ(200, Phone("hall")->Register());
}

TEST_F(Killing, SipproxyAndKeeperKilledInOneMomentAreSweptUpByTheNextStart) {
    Start();
    const std::vector<pid_t> processes = Kamailios();
    const pid_t keeper = Keeper();
    proxy_->Signal(SIGSTOP);  // so that neither can act on the other's end
    ::kill(keeper, SIGSTOP);
    ::kill(keeper, SIGKILL);
    KillProxy();
    Launch();
    WaitUntilRunning();
    EXPECT_TRUE(NoneLives(processes));
    EXPECT_EQ(200, Phone("hall")->Register());
}

TEST_F(Killing, ASecondSipproxyLeavesTheFirstAlone) {
    Start();
    const test::ProgramResult second = test::RunProgram({SIPPROXY_PROGRAM}, environment_);
    EXPECT_EQ(1, second.status);
    EXPECT_THAT(second.errors, HasSubstr("another sipproxy uses the folder " + run_));
    EXPECT_EQ(200, Phone("hall")->Register());
}

TEST_F(Killing, AKamailioThatDoesNotStartIsTriedAgainAndSaid) {
    test::WriteFile(folder_ / "broken", "#!/bin/sh\necho no >&2\nexit 3\n");
    std::filesystem::permissions(folder_ / "broken", std::filesystem::perms::owner_all);
    environment_["SIPPROXY_KAMAILIO"] = folder_ / "broken";
    StartHost(SampleHome());
    Launch();
    WaitForLog("sipproxy: Kamailio ended with status 3; it is started again");
    EXPECT_TRUE(Comes([this] {
        return Status().find("Kamailio: not running: Kamailio ended with status 3") == 0;
    })) << Status();
}

TEST_F(Killing, WithoutKamailioItSaysWhatToInstall) {
    environment_["SIPPROXY_KAMAILIO"] = folder_ / "absent";
    const test::ProgramResult result = test::RunProgram({SIPPROXY_PROGRAM}, environment_);
    EXPECT_EQ(1, result.status);
    EXPECT_THAT(
        result.errors,
        HasSubstr("install the packages kamailio, kamailio-extra-modules and kamailio-sqlite-modules"));
}

TEST_F(Killing, ReadyIsToldToTheServiceManagerWhenKamailioAnswers) {
    const std::string path = folder_ / "notify";
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(0, ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    environment_["NOTIFY_SOCKET"] = path;
    Start();
    char text[64] = {};
    ASSERT_GT(::recv(socket, text, sizeof text - 1, 0), 0);
    ::close(socket);
    EXPECT_STREQ("READY=1", text);
}

}  // namespace
}  // namespace proxy
