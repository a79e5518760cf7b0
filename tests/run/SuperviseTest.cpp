// What the supervisor keeps running, and how it ends.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>

#include "tests/run/SupervisedHome.h"

namespace test {
namespace {

using testing::HasSubstr;
using testing::Not;

using SuperviseTest = SupervisedHome;

/// A program of somebody else's that has a port.
class Occupier {
public:
    explicit Occupier(std::uint16_t port) : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(0, bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    }
    ~Occupier() { close(socket_); }
    Occupier(const Occupier&) = delete;
    Occupier& operator=(const Occupier&) = delete;

private:
    const int socket_;
};

/// A Kamailio that the machine runs for itself.
class OtherKamailio {
public:
    explicit OtherKamailio(const std::filesystem::path& folder) {
        std::filesystem::create_directory(folder);
        WriteFile(folder / "cfg",
                  "listen=udp:127.0.0.5:5060\ndisable_tcp=yes\nchildren=1\nlog_stderror=yes\n"
                  "request_route { exit; }\n");
        process_ = std::make_unique<Process>(Process::Command{
            {"/usr/sbin/kamailio", "-DD", "-E", "-f", folder / "cfg", "-P", folder / "pid", "-Y", folder},
            {},
            folder / "log"});
        EXPECT_TRUE(WaitUntil([&] { return !ReadFile(folder / "pid").empty(); })) << ReadFile(folder / "log");
    }
    /// Its workers end when it asks them to.
    ~OtherKamailio() {
        process_->Signal(SIGTERM);
        process_->Wait(kPatience);
    }
    OtherKamailio(const OtherKamailio&) = delete;
    OtherKamailio& operator=(const OtherKamailio&) = delete;

    Process& Program() { return *process_; }

private:
    std::unique_ptr<Process> process_;
};

TEST_F(SuperviseTest, TellsWhatToTypeIntoThePhonesOfTheSampleHome) {
    StartWhole();
    EXPECT_TRUE(Comes("sipproxy --status"));
    EXPECT_THAT(Log(), HasSubstr("register at 127.0.0.1, port 5060, UDP or TCP"));
    EXPECT_THAT(Log(), HasSubstr("user hall (Hall), password: the first line of " + PasswordFile("hall")));
    EXPECT_THAT(Log(), HasSubstr("user study (Study)"));
    EXPECT_THAT(Log(), HasSubstr("user door (Door station)"));
    EXPECT_THAT(Log(), HasSubstr("intercomctl SIP_REGULAR_CALL source=201 destination=202"));
    EXPECT_THAT(Log(), HasSubstr("driver hall runs (phone)"));
    EXPECT_THAT(Log(), HasSubstr("/tablet/tablet-kitchen   (Kitchen tablet)\n"));
}

TEST_F(SuperviseTest, PasswordsAreMadeOnceAndToldToNobody) {
    StartWhole();
    const std::string password = ReadFile(PasswordFile("hall"));
    EXPECT_TRUE(std::regex_match(password, std::regex("[a-z2-9]{16}\n")));
    EXPECT_NE(password, ReadFile(PasswordFile("study")));
    struct stat status {};
    EXPECT_EQ(0, stat(PasswordFile("hall").c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 07777);
    EXPECT_EQ(0, stat((folder_ / "run-state/passwords").c_str(), &status));
    EXPECT_EQ(0700u, status.st_mode & 07777);
    EXPECT_EQ(0, End());
    EXPECT_THAT(Log(), Not(HasSubstr(password.substr(0, 16))));
    std::filesystem::remove(LogFile());
    StartWhole();
    EXPECT_EQ(password, ReadFile(PasswordFile("hall")));
}

TEST_F(SuperviseTest, WhateverIsKilledIsStartedAgainAndTheOthersGoOn) {
    StartWhole();
    for (const auto& [name, program] : std::map<std::string, std::string>{
             {"host", "driverhost"}, {"callcontrol", "callcontrol"}, {"rtpengine", "rtpengine"}}) {
        std::map<std::string, pid_t> before;
        for (const char* const each : {"driverhost", "callcontrol", "rtpengine"})
            before[each] = Child(each);
        kill(before[program], SIGKILL);
        EXPECT_TRUE(Comes("run: " + name + " was ended by signal 9 (KILL); it is started again in 50 ms\n"));
        EXPECT_TRUE(WaitUntil([&, &was = program] { return Child(was) != 0 && Child(was) != before[was]; }));
        for (const auto& [each, id] : before)
            EXPECT_TRUE(each == program || Child(each) == id) << each << " after the end of " << name;
    }
    EXPECT_TRUE(WaitUntil([this] { return Count("host listening on") == 2; }));
    EXPECT_TRUE(WaitUntil([this] { return Count("callcontrol: rtpengine is there") >= 2; }));
    EXPECT_THAT(Log(), Not(HasSubstr("Killed")));
}

TEST_F(SuperviseTest, TheDelayGrowsWhileAProgramKeepsEnding) {
    WriteFile(folder_ / "broken", "#!/bin/sh\nexit 3\n");
    std::filesystem::permissions(folder_ / "broken", std::filesystem::perms::owner_all);
    environment_["RTPENGINE_PROGRAM"] = folder_ / "broken";
    Start();
    for (const char* const delay : {"50", "100", "200", "400"})
        EXPECT_TRUE(Comes("run: rtpengine ended with status 3; it is started again in " + std::string(delay) +
                          " ms\n"));
}

TEST_F(SuperviseTest, ItEndsInOrderAndLeavesNothing) {
    StartWhole();
    EXPECT_GT(Left().size(), 5u);
    EXPECT_EQ(0, End());
    EXPECT_TRUE(WaitUntil([this] { return Left().empty(); }));  // sysman waits for the end of the proxy
    // callcontrol first, while phones can still be told; the host after it.
    EXPECT_LT(Log().find("hall call control is away"), Log().find("host host ends"));
    EXPECT_THAT(Log(), HasSubstr("agent IntercomAgent disable sipproxy"));
    EXPECT_THAT(Log(), Not(HasSubstr("started again")));
}

TEST_F(SuperviseTest, WhenItIsKilledEverythingEndsAndTheNextStartWorks) {
    StartWhole();
    run_->Signal(SIGKILL);
    run_->Wait(kPatience);
    std::filesystem::remove(LogFile());
    StartWhole();
    EXPECT_TRUE(Comes("callcontrol: rtpengine is there"));
    EXPECT_THAT(Log(), Not(HasSubstr("is taken")));
    EXPECT_EQ(0, End());
    EXPECT_TRUE(WaitUntil([this] { return Left().empty(); }));
}

TEST_F(SuperviseTest, AfterItAndTheHostWereKilledTheNextStartWorksToo) {
    StartWhole();
    const pid_t host = Child("driverhost");
    kill(run_->Id(), SIGSTOP);
    kill(host, SIGKILL);
    run_->Signal(SIGKILL);
    run_->Wait(kPatience);
    std::filesystem::remove(LogFile());
    StartWhole();
    EXPECT_THAT(Log(), HasSubstr("register at 127.0.0.1, port 5060"));
    EXPECT_EQ(0, End());
    EXPECT_TRUE(WaitUntil([this] { return Left().empty(); }));
}

TEST_F(SuperviseTest, AFaultInTheHomeFileEndsItWithTheHostsStatus) {
    WriteFile(HomeFile(), "<home><lamp/></home>");
    Start();
    EXPECT_EQ(2, run_->Wait(kPatience));
    EXPECT_THAT(Log(), HasSubstr("home.xml:1: unknown element 'lamp' in 'home'"));
    EXPECT_THAT(Log(), Not(HasSubstr("started again")));
    EXPECT_TRUE(WaitUntil([this] { return Left().empty(); }));
}

TEST_F(SuperviseTest, AStateFolderThatCannotBeUsedEndsItAtTheStart) {
    WriteFile(folder_ / "file", "");
    Start({"--state-dir", folder_ / "file"});
    EXPECT_EQ(1, run_->Wait(kPatience));
    EXPECT_THAT(Log(), Not(HasSubstr("started again")));
}

TEST_F(SuperviseTest, WithoutRtpengineOneLineSaysSoAndTheHostRuns) {
    environment_["RTPENGINE_PROGRAM"] = "/nowhere/rtpengine";
    StartWhole();
    EXPECT_EQ(1u, Count("run: no real calls without rtpengine (packages kamailio"));
    EXPECT_EQ(1u, Count("run: "));
    EXPECT_EQ(200, Exchange(8350, FormRequest("/drivers/agent/commands/getDeviceList", {})).status);
    EXPECT_EQ(0, End());
}

TEST_F(SuperviseTest, WithoutKamailioOneLineSaysSoAndSimulatedCallsGoOn) {
    environment_["SIPPROXY_KAMAILIO"] = "/nowhere/kamailio";
    Start();
    ASSERT_TRUE(Comes("Ctrl-C here ends everything")) << Log();
    const auto command = [](const std::string& name, const Form& form) {
        return Exchange(8350, FormRequest("/drivers/agent/commands/" + name, form)).body;
    };
    const auto stateBecomes = [&](const std::string& state) {
        return WaitUntil([&] {
            return command("getDeviceState", {{"idDevice", "102"}}).find("<state>" + state + "</state>") !=
                   std::string::npos;
        });
    };
    command("SIP_REGULAR_CALL", {{"source", "101"}, {"destination", "102"}, {"video", "0"}, {"ring", "1"}});
    EXPECT_TRUE(stateBecomes("2"));
    command("setDeviceState", {{"idDevice", "102"}, {"call", "answer"}});
    EXPECT_TRUE(stateBecomes("3"));
    EXPECT_EQ(1u, Count("run: no real calls without kamailio (packages kamailio "));
    EXPECT_EQ(1u, Count("run: "));
    EXPECT_EQ(0, End());
}

TEST_F(SuperviseTest, AnotherKamailioIsLeftAloneAndNamed) {
    OtherKamailio other(folder_ / "other");
    StartWhole();
    EXPECT_THAT(Log(), HasSubstr("run: left alone, though of the same kind as ours: kamailio (process " +
                                 std::to_string(other.Program().Id()) + ")\n"));
    EXPECT_EQ(0, End());
    EXPECT_TRUE(WaitUntil([this] { return Left().empty(); }));
    EXPECT_TRUE(other.Program().IsRunning());
}

TEST_F(SuperviseTest, AnotherRtpengineIsLeftAloneAndNamed) {
    const Process other(Process::Command{
        {"/usr/bin/rtpengine", "--config-file=none", "--foreground", "--table=-1", "--interface=127.0.0.1",
         "--listen-ng=127.0.0.1:2223", "--pidfile=" + (folder_ / "other").string()},
        {},
        folder_ / "other.log"});
    ASSERT_TRUE(WaitUntil([this] { return !ReadFile(folder_ / "other").empty(); }));
    StartWhole();
    EXPECT_THAT(
        Log(), HasSubstr("of the same kind as ours: rtpengine (process " + std::to_string(other.Id()) + ")"));
    EXPECT_THAT(Log(), HasSubstr("port 2223 or the next is taken; our rtpengine listens on 2225"));
    EXPECT_TRUE(Comes("callcontrol: rtpengine is there"));
}

TEST_F(SuperviseTest, AProgramThatHasTheSipPortKeepsItAndIsNamedUntilItEnds) {
    {
        const Occupier other(5060);
        Start();
        EXPECT_TRUE(WaitUntil([&] {
            return ReadFile(folder_ / "run-state/sysman/sipproxy.log")
                       .find("port 5060 of 127.0.0.1 is another program's, which is left alone") !=
                   std::string::npos;
        }));
    }
    EXPECT_TRUE(Comes("register at 127.0.0.1, port 5060")) << Log();
}

TEST_F(SuperviseTest, HostAndRtpengineFollowTheControllersAddress) {
    const auto write = [this](const std::string& address) {
        WriteFile(HomeFile(),
                  std::regex_replace(ReadFile(EXAMPLES "/home.xml"), std::regex("<home>"),
                                     "<home><controller><address>" + address + "</address></controller>"));
    };
    write("127.0.0.3");
    environment_["SUPERVISE_ADDRESS_SECONDS"] = "0.2";
    StartWhole({"--listen-lan"});
    EXPECT_THAT(Log(), HasSubstr("register at 127.0.0.3, port 5060"));
    const pid_t host = Child("driverhost");
    EXPECT_THAT(CommandOf(Child("rtpengine")), testing::Contains("--interface=127.0.0.3"));
    write("127.0.0.4");
    EXPECT_TRUE(Comes("run: the controller's address is now 127.0.0.4, no longer 127.0.0.3"));
    EXPECT_TRUE(WaitUntil([&] { return Child("driverhost") != 0 && Child("driverhost") != host; }));
    EXPECT_TRUE(WaitUntil(
        [&] { return std::ranges::count(CommandOf(Child("rtpengine")), "--interface=127.0.0.4") == 1; }));
    EXPECT_TRUE(WaitUntil([&] {
        return ReadFile(folder_ / "run-state/sysman/sipproxy.log").find("127.0.0.4:5060") !=
               std::string::npos;
    }));
}

TEST_F(SuperviseTest, SighupMakesTheHostReadTheHomeFileWithThePhonesThatAreNew) {
    StartWhole();
    const std::string garage =
        "<driver><id>204</id><name>garage</name><library>phone</library><config><key>garage</key>"
        "<passwordFile>../run-state/passwords/garage</passwordFile></config></driver></home>";
    const std::string home = ReadFile(HomeFile());
    WriteFile(HomeFile(), home.substr(0, home.rfind("</home>")) + garage);
    run_->Signal(SIGHUP);
    EXPECT_TRUE(Comes("the home file was read again: driver garage is new"));
    EXPECT_TRUE(Comes("driver garage runs (phone)"));
    EXPECT_EQ(17u, ReadFile(PasswordFile("garage")).size());
}

TEST_F(SuperviseTest, AfterSighupWithALargeHomeWhatDiesIsStartedAgain) {
    std::string home = "<home><driver><id>1</id><name>agent</name><library>intercom_agent</library></driver>";
    for (int id = 1000; id < 1100; ++id) {
        const std::string name = "phone" + std::to_string(id);
        home += "<driver><id>" + std::to_string(id) + "</id><name>" + name +
                "</name><library>phone</library><config><key>" + name +
                "</key><passwordFile>../run-state/passwords/" + name + "</passwordFile></config></driver>";
    }
    WriteFile(HomeFile(), home + "</home>");
    Start({"--simulated"});
    ASSERT_TRUE(Comes("Ctrl-C here ends everything"));
    run_->Signal(SIGHUP);
    EXPECT_TRUE(Comes("the home file was read again"));
    kill(Child("driverhost"), SIGKILL);
    EXPECT_TRUE(Comes("run: host was ended by signal 9 (KILL); it is started again in 50 ms\n"));
}

TEST_F(SuperviseTest, ASecondOneWithTheSameFolderIsRefused) {
    StartWhole();
    const Process second(Process::Command{
        {SCRIPTS "/supervise", BIN_FOLDER, folder_ / "other-state", "--listen", "127.0.0.1:8351"},
        environment_,
        folder_ / "second.log"});
    EXPECT_TRUE(WaitUntil([this] { return !ReadFile(folder_ / "second.log").empty(); }));
    EXPECT_THAT(ReadFile(folder_ / "second.log"), HasSubstr("another ./run has the folder "));
    EXPECT_NE(0, Child("driverhost"));
}

TEST_F(SuperviseTest, SimulatedIsTheHostAlone) {
    WriteFile(HomeFile(), ReadFile(EXAMPLES "/simulated.xml"));
    Start({"--simulated"});
    EXPECT_TRUE(Comes("Ctrl-C here ends everything"));
    EXPECT_NE(0, Child("driverhost"));
    EXPECT_EQ(0, Child("callcontrol") + Child("rtpengine"));
    EXPECT_TRUE(std::filesystem::is_empty(folder_ / "memory"));
    EXPECT_EQ(0, End());
    EXPECT_TRUE(WaitUntil([this] { return Left().empty(); }));
}

}  // namespace
}  // namespace test
