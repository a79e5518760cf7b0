// Signals, the service manager, and standard streams that are not there or not read.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>

#include "driverhost/runtime/FileDescriptor.h"
#include "tests/driverhost/support/Certificates.h"
#include "tests/process/support/ProcessFixture.h"

namespace driverhost {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class SignalTest : public ProcessFixture {
protected:
    SignalTest() {
        plugins_ = TEST_PLUGINS;
        WriteHome(Driver(1, "lamp", "probe") + Driver(2, "shutter", "probe"));
    }

    /// Has the home file read again, and waits until that is over.
    void Reread() {
        const std::string text = "the home file was read again";
        const std::size_t before = Count(text);
        host_->Signal(SIGHUP);
        while (Count(text) == before)
            Ask("GET", "/health");
    }

    std::size_t Count(const std::string& text) const {
        const std::string log = Log();
        std::size_t count = 0;
        for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1))
            ++count;
        return count;
    }

    /// The reading end of a named pipe that holds little.
    FileDescriptor MakePipe(const std::string& path) const {
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        FileDescriptor end(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        EXPECT_GE(fcntl(end.Get(), F_SETPIPE_SZ, 4 * 4096), 0);
        return end;
    }

    static std::string ReadAll(int descriptor) {
        std::string all;
        std::array<char, 4096> bytes;
        for (ssize_t got; (got = read(descriptor, bytes.data(), bytes.size())) > 0;)
            all.append(bytes.data(), static_cast<std::size_t>(got));
        return all;
    }
};

TEST_F(SignalTest, AnInterruptEndsInOrderToo) {
    Start();
    Command("lamp", "setQuietly", "value=kept");
    host_->Signal(SIGINT);
    EXPECT_EQ(host_->WaitForEnd(), 0);
    Start();
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>kept</value>"));
}

TEST_F(SignalTest, FurtherSignalsWhileItEndsAreHarmless) {
    WriteHome(Driver(1, "lamp", "probe", "<fails>slowAtEnd</fails>"));
    Start();
    Command("lamp", "setQuietly", "value=kept");
    for (const int number : {SIGTERM, SIGTERM, SIGINT})
        host_->Signal(number);
    host_->WaitForLog("OnDestroy");
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        host_->Signal(number);
    EXPECT_EQ(host_->WaitForEnd(), 0);
    EXPECT_THAT(Log(), Not(HasSubstr("was read again")));
    Start();
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>kept</value>"));
}

TEST_F(SignalTest, ABrokenPipeOfItsOwnIsNoTrouble) {
    Start();
    host_->Signal(SIGPIPE);
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
    EXPECT_EQ(Stop(), 0);
}

TEST_F(SignalTest, AHomeFileReadAgainAddsDrivers) {
    Start();
    Command("lamp", "count");
    WriteHome(Driver(1, "lamp", "probe") + Driver(3, "door", "probe") + Driver(2, "shutter", "probe"));
    Reread();
    EXPECT_EQ(Command("door", "count"), "<count>2</count>") << "the library is in the process";
    EXPECT_EQ(Command("lamp", "count"), "<count>3</count>");
    EXPECT_THAT(Log(), HasSubstr(" 6 host driver door runs (probe)\n"));
    EXPECT_THAT(Log(), HasSubstr(" 6 host the home file was read again: driver door is new\n"));
    EXPECT_THAT(Log(), Not(HasSubstr("OnDestroy")));
    const std::string list = Ask("GET", "/drivers").body;
    EXPECT_LT(list.find("door"), list.find("shutter")) << "drivers are listed in file order";
}

TEST_F(SignalTest, AHomeFileReadAgainEndsDriversAndKeepsWhatTheyStored) {
    Start();
    Command("shutter", "setQuietly", "value=down");
    WriteHome(Driver(1, "lamp", "probe"));
    Reread();
    EXPECT_EQ(Ask("POST", "/drivers/shutter/commands/get").status, 404);
    EXPECT_EQ(Count("OnDestroy"), 1U);
    EXPECT_THAT(Log(), HasSubstr(" 6 shutter destroyed\n"));
    EXPECT_THAT(ReadFile("state/shutter/0000000001.xml"), HasSubstr("<value>down</value>"));
    WriteHome(Driver(1, "lamp", "probe") + Driver(2, "shutter", "probe"));
    Reread();
    EXPECT_THAT(Command("shutter", "get"), HasSubstr("<value>down</value>"));
    EXPECT_EQ(Command("shutter", "set", "value=up"), "<success/>");
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(ReadFile("state/shutter/0000000002.xml"), HasSubstr("<value>up</value>"));
}

TEST_F(SignalTest, ADriverThatIsChangedStartsAnewWithItsStateAndTheOthersAreLeftAlone) {
    Start();
    Command("shutter", "setQuietly", "value=down");
    Command("lamp", "setQuietly", "value=never stored yet");
    WriteHome(Driver(1, "lamp", "probe") + Driver(7, "shutter", "probe", "<answers>X</answers>"));
    Reread();
    EXPECT_THAT(Log(), HasSubstr("driver shutter is changed and starts anew\n"));
    EXPECT_EQ(Count("OnDestroy"), 1U);
    EXPECT_THAT(Ask("POST", "/drivers/7/commands/get").body, HasSubstr("<value>down</value>"));
    EXPECT_EQ(Command("lamp", "find", "id=X"), "<found>1<published>false</published></found>");
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>never stored yet</value>"));
}

TEST_F(SignalTest, ADriverMayMoveToAnotherLibraryAndStartsAsNew) {
    Start();
    WriteHome(Driver(1, "lamp", "single"));
    Reread();
    EXPECT_THAT(Ask("GET", "/drivers").body,
                HasSubstr("<name>lamp</name><library>single</library><status>running</status>"));
    const std::string maps = test::ReadFile("/proc/" + std::to_string(host_->Id()) + "/maps");
    EXPECT_THAT(maps, Not(HasSubstr("/probe.so"))) << "a library without drivers is unloaded";
    EXPECT_EQ(Stop(), 0);
}

TEST_F(SignalTest, AFaultyHomeFileChangesNothingAndIsOneLine) {
    Start();
    Command("lamp", "count");
    const std::string before = Log();
    WriteHome(Driver(1, "lamp", "probe") + Driver(1, "door", "probe"));
    Reread();
    WriteHome(Driver(3, "door", "probe") + Driver(4, "gate", "crash_at_load"));
    Reread();
    WriteHome(Driver(3, "door", "probe") + Driver(4, "gate", "other_abi"));
    Reread();
    std::filesystem::remove(folder_.Path() + "/home.xml");
    Reread();
    const std::string said = Log().substr(before.size());
    const std::string pages = "the pages were read again";
    std::istringstream lines(said);
    int count = 0;
    for (std::string line; std::getline(lines, line);)
        count += line.find(pages) == line.npos;
    EXPECT_EQ(count, 4) << said;
    EXPECT_THAT(said, HasSubstr(" 3 host the home file was read again and nothing changed: " +
                                folder_.Path() + "/home.xml:4: the driver id 1 is used twice"));
    EXPECT_THAT(said, HasSubstr("nothing changed: driver gate: its library ends the process that loads it: "
                                "Segmentation fault"));
    EXPECT_THAT(said, HasSubstr("other_abi.so: was built for driver ABI 4"));
    EXPECT_THAT(said, HasSubstr("nothing changed: cannot read "));
    EXPECT_EQ(Command("lamp", "count"), "<count>2</count>");
    EXPECT_EQ(Ask("POST", "/drivers/door/commands/count").status, 404);
    EXPECT_EQ(Stop(), 0);
}

TEST_F(SignalTest, AHomeFileThatTakesADriverAwayWaitsForItsDisk) {
    Start();
    Command("shutter", "setQuietly", "value=down");
    BlockState("shutter");
    WriteHome(Driver(1, "lamp", "probe"));
    Reread();
    EXPECT_THAT(Log(), HasSubstr("nothing changed: the state of driver shutter could not be stored: "));
    EXPECT_THAT(Command("shutter", "get"), HasSubstr("<value>down</value>"));
    FreeState("shutter");
    Reread();
    EXPECT_EQ(Ask("POST", "/drivers/shutter/commands/get").status, 404);
    WriteHome(Driver(2, "shutter", "probe"));
    Reread();
    EXPECT_THAT(Command("shutter", "get"), HasSubstr("<value>down</value>"));
}

TEST_F(SignalTest, ADriverThatIsTakenAwayTakesItsWarningsOutOfTheHealthReport) {
    std::filesystem::create_directories(StateFolder() + "/shutter");
    folder_.Write("state/shutter/0000000001.xml", "rubbish");
    Start();
    EXPECT_THAT(Ask("GET", "/health").body, HasSubstr("<warning>driver shutter: the stored document "));
    WriteHome(Driver(1, "lamp", "probe") + Driver(7, "shutter", "probe"));
    Reread();
    EXPECT_THAT(Ask("GET", "/health").body, HasSubstr("<warning>driver shutter: the stored document "));
    EXPECT_EQ(Ask("PUT", "/drivers/shutter/state", "<ProbeState/>").status, 204);
    EXPECT_EQ(Ask("GET", "/health").body, "<health>ok</health>") << "of the driver that it replaced, too";
    WriteHome(Driver(1, "lamp", "probe"));
    Reread();
    EXPECT_EQ(Ask("GET", "/health").body, "<health>ok</health>");
}

TEST_F(SignalTest, TheAgentAndItsPanelsComeAndGoWithTheHomeFile) {
    plugins_ = PLUGINS;
    const std::string agent = Driver(1, "agent", "intercom_agent");
    const std::string door = Driver(101, "door", "panel", "<key>door</key><name>Door</name>");
    WriteHome(agent + door);
    Start();
    WriteHome(agent + Driver(102, "hall", "panel", "<key>hall</key><name>Hall</name>"));
    Reread();
    const std::string devices = Command("agent", "getDeviceList");
    EXPECT_THAT(devices, HasSubstr("<id>102</id>"));
    EXPECT_THAT(devices, Not(HasSubstr("<id>101</id>")));
    WriteHome(agent);
    Reread();
    EXPECT_THAT(Command("agent", "getDeviceList"), Not(HasSubstr("<id>102</id>")));
    const std::string maps = test::ReadFile("/proc/" + std::to_string(host_->Id()) + "/maps");
    EXPECT_THAT(maps, Not(HasSubstr("/panel.so")));
    EXPECT_EQ(Stop(), 0);
}

TEST_F(SignalTest, ClosedStandardStreamsNeverBecomeFilesOrSockets) {
    shell_ = "exec \"$0\" \"$@\" <&- >&- 2>&-";
    StartSilent();
    EXPECT_EQ(Command("lamp", "set", "value=x"), "<success/>");
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/throw").status, 500) << "which is logged";
    const auto descriptors = host_->Descriptors();
    for (const int stream : {0, 1, 2})
        EXPECT_EQ(descriptors.at(stream), "/dev/null");
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(ReadFile("state/lamp/0000000001.xml"), testing::StartsWith("<ProbeState>"));
}

TEST_F(SignalTest, AStarterThatIgnoresTheEndOfItsChildrenMakesNoLibraryABadOne) {
    shell_ = "trap '' CHLD; exec \"$0\" \"$@\"";
    Start();
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
}

TEST_F(SignalTest, AStandardErrorThatNobodyReadsHoldsNobody) {
    const std::string path = folder_.Path() + "/pipe";
    const FileDescriptor reader = MakePipe(path);
    shell_ = "exec \"$0\" \"$@\" 2>" + path;
    StartSilent();
    for (int line = 0; line < 500; ++line)
        ASSERT_EQ(Ask("POST", "/drivers/lamp/commands/throw").status, 500);
    ReadAll(reader.Get());
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/throw").status, 500);
    const std::string said = ReadAll(reader.Get());
    EXPECT_THAT(said, HasSubstr(" log lines were lost: nobody read standard error\n"));
    EXPECT_THAT(said, testing::EndsWith(" 3 lamp driver lamp threw in throw: on demand\n"));
    EXPECT_EQ(Stop(), 0);
}

TEST_F(SignalTest, AStandardErrorThatIsGoneEndsNothing) {
    const std::string path = folder_.Path() + "/pipe";
    FileDescriptor reader = MakePipe(path);
    shell_ = "exec \"$0\" \"$@\" 2>" + path;
    StartSilent();
    { const FileDescriptor gone = std::move(reader); }
    EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/throw").status, 500);
    EXPECT_EQ(Command("lamp", "set", "value=x"), "<success/>");
    EXPECT_EQ(Stop(), 0);
}

TEST_F(SignalTest, AsManyConnectionsAsTheSystemAllowsAreServedAndFewerAreTold) {
    shell_ = "ulimit -n 250; exec \"$0\" \"$@\"";
    Start({"--refusals", "10"});
    EXPECT_THAT(Log(),
                HasSubstr(" 3 host the limit of open files is 250, so only 112 connections can be open; "
                          "raise it to 4234 (ulimit -n, LimitNOFILE=), or lower --connections\n"));
    Start({"--connections", "112", "--refusals", "10"});
    EXPECT_THAT(Log(), Not(HasSubstr("limit of open files")));
}

TEST_F(SignalTest, ALowSoftLimitOfOpenFilesIsRaised) {
    shell_ = "ulimit -S -n 100; exec \"$0\" \"$@\"";
    Start({"--connections", "150"});
    EXPECT_THAT(Log(), Not(HasSubstr("limit of open files")));
    std::vector<std::unique_ptr<HttpConnection>> open;
    for (int connection = 0; connection < 140; ++connection) {
        open.push_back(std::make_unique<HttpConnection>(port_));
        ASSERT_EQ(open.back()->Ask("GET", "/health").status, 200) << connection;
    }
}

// The service manager that sd_notify(3) talks to.
class ManagerTest : public SignalTest {
protected:
    ManagerTest() {
        address_.sun_family = AF_UNIX;
        path_.copy(address_.sun_path, sizeof address_.sun_path - 1);
        EXPECT_EQ(bind(socket_.Get(), reinterpret_cast<const sockaddr*>(&address_), sizeof address_), 0);
        environment_["NOTIFY_SOCKET"] = path_;
    }

    /// Sends messages until the system takes no more for a manager that does not read.
    void FillQueue() const {
        const FileDescriptor sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        const auto* const address = reinterpret_cast<const sockaddr*>(&address_);
        while (sendto(sender.Get(), "x", 1, 0, address, sizeof address_) == 1) {
        }
        EXPECT_EQ(errno, EAGAIN);
    }

    /// The next message; waits for it.
    std::string Message() {
        std::array<char, 200> bytes;
        const timeval patience{test::kPatience.count(), 0};
        setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        const ssize_t got = recv(socket_.Get(), bytes.data(), bytes.size(), 0);
        return got > 0 ? std::string(bytes.data(), static_cast<std::size_t>(got)) : "none";
    }

    /// The messages that have come since the last call.
    std::vector<std::string> Messages() {
        std::vector<std::string> all;
        std::array<char, 200> bytes;
        for (ssize_t got; (got = recv(socket_.Get(), bytes.data(), bytes.size(), MSG_DONTWAIT)) > 0;)
            all.emplace_back(bytes.data(), static_cast<std::size_t>(got));
        return all;
    }

    const std::string path_ = folder_.Path() + "/notify";
    sockaddr_un address_{};
    FileDescriptor socket_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

TEST_F(ManagerTest, HearsOfStartRereadingAndEndAndOfNothingElse) {
    Start();
    EXPECT_EQ(Message(), "READY=1");
    host_->Signal(SIGHUP);
    EXPECT_THAT(Message(), testing::MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[0-9]+"));
    EXPECT_EQ(Message(), "READY=1");
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(Messages(), ElementsAre("STOPPING=1"));
}

TEST_F(ManagerTest, IsTheWatchdogsOnlyWhenItAsks) {
    environment_["WATCHDOG_USEC"] = "100000";
    Launch();
    int ready = 0;
    int signs = 0;
    while (ready < 1 || signs < 2) {  // on a slow machine, many come before it is ready
        const std::string message = Message();
        ASSERT_THAT(message, testing::AnyOf("READY=1", "WATCHDOG=1"));
        ++(message == "READY=1" ? ready : signs);
    }
}

TEST_F(ManagerTest, ThatDoesNotReadHoldsNobody) {
    Start();
    EXPECT_EQ(Message(), "READY=1");
    FillQueue();
    Reread();
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
    EXPECT_THAT(Log(), HasSubstr(" 3 host the service manager at " + path_ + " is not listening\n"));
    EXPECT_EQ(Stop(), 0);
}

TEST_F(SignalTest, HangupReadsThePagesAgain) {
    std::filesystem::create_directory(folder_.Path() + "/web");
    folder_.Write("web/index.html", "the start");
    Start({"--web-dir", folder_.Path() + "/web"});
    EXPECT_EQ(Ask("GET", "/").body, "the start");
    folder_.Write("web/index.html", "another start");
    host_->Signal(SIGHUP);
    EXPECT_TRUE(test::Eventually([this] { return Ask("GET", "/").body == "another start"; }));
    EXPECT_THAT(Log(), HasSubstr("the pages were read again: 1 files"));
}

TEST_F(SignalTest, HangupReadsTheCertificateAgain) {
    const Certificates made;
    const TlsFiles files = made.Files();
    Launch({"--tls-certificate", files.certificate, "--tls-key", files.key, "--tls-authority",
            files.authority, "--plain-listen", "127.0.0.1:0"});
    host_->WaitForLog("host listening on https://127.0.0.1:");
    host_->WaitForLog("/ca.pem, with the SHA-256 fingerprint ");
    host_->Signal(SIGHUP);
    host_->WaitForLog("the certificate was read again; it ends on 20");
    EXPECT_EQ(Stop(), 0);
}

}  // namespace
}  // namespace driverhost
