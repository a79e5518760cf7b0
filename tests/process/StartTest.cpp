// Wrong starts: one clear line, the documented exit status, nothing begun.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "tests/process/support/ProcessFixture.h"

namespace driverhost {
namespace {

using testing::HasSubstr;

class StartTest : public ProcessFixture {
protected:
    StartTest() {
        plugins_ = TEST_PLUGINS;
        WriteHome(Driver(1, "lamp", "probe"));
    }

    /// The one line that the host says before it ends with that status.
    std::string LineOf(int status, const std::vector<std::string>& arguments) {
        EXPECT_EQ(Run(arguments), status);
        const std::string log = Log();
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
        EXPECT_THAT(log, HasSubstr("Z 3 host "));
        return log;
    }

    static mode_t ModeOf(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 0777;
    }

    std::string LineOfHome(const std::string& drivers) {
        WriteHome(drivers);
        const std::string line = LineOf(2, Arguments());
        EXPECT_FALSE(std::filesystem::exists(StateFolder() + "/lamp")) << "nothing was begun";
        return line;
    }
};

TEST_F(StartTest, WrongOptionsEndWithTwo) {
    EXPECT_THAT(LineOf(2, {}), HasSubstr("--home FILE is missing"));
    EXPECT_THAT(LineOf(2, Arguments({"--colour", "red"})), HasSubstr("--colour"));
    EXPECT_THAT(LineOf(2, Arguments({"--listen", "8350"})), HasSubstr("expected ADDRESS:PORT"));
    EXPECT_THAT(LineOf(2, Arguments({"--log-level", "loud"})), HasSubstr("expected a number"));
    EXPECT_THAT(LineOf(2, Arguments({"--head-time", "10s"})),
                HasSubstr("--head-time 10s: expected a whole number of MS from 1 to 86400000"));
}

TEST_F(StartTest, AFaultyHomeFileEndsWithTwoAndItsPlace) {
    EXPECT_THAT(LineOfHome("<lamp/>"), HasSubstr("home.xml:3: unknown element 'lamp' in 'home'"));
    EXPECT_THAT(LineOfHome("<driver>"), HasSubstr("home.xml:3: not XML: "));
    EXPECT_THAT(LineOfHome(Driver(1, "a", "probe") + Driver(1, "b", "probe")),
                HasSubstr("home.xml:4: the driver id 1 is used twice"));
    EXPECT_THAT(LineOfHome(Driver(1, "a", "probe") + Driver(2, "a", "probe")),
                HasSubstr("home.xml:4: the driver name 'a' is used twice"));
    EXPECT_THAT(LineOfHome(Driver(0, "a", "probe")), HasSubstr("home.xml:3: the driver id '0'"));
    EXPECT_THAT(LineOfHome(Driver(1, "a/b", "probe")), HasSubstr("home.xml:3: the driver name 'a/b'"));
    EXPECT_THAT(LineOfHome(Driver(1, "lamp", "none")),
                HasSubstr("home.xml:3: the library 'none' of driver 'lamp' is missing"));
    EXPECT_THAT(LineOf(2, {"--home", "/nowhere"}), HasSubstr("cannot read /nowhere"));
}

TEST_F(StartTest, APluginThatDoesNotFitEndsWithTwoBeforeAnyDriverRuns) {
    const std::string good = Driver(1, "lamp", "probe");
    EXPECT_THAT(LineOfHome(good + Driver(2, "b", "no_note")),
                HasSubstr("no_note.so: is not a driver plug-in of this host"));
    EXPECT_THAT(LineOfHome(good + Driver(2, "b", "other_abi")),
                HasSubstr("other_abi.so: was built for driver ABI 4"));
    EXPECT_THAT(LineOfHome(good + Driver(2, "b", "no_entry")), HasSubstr("no_entry.so: has no entry"));
    EXPECT_THAT(LineOfHome(good + Driver(2, "b", "entry_gives_null")), HasSubstr("returned null"));
}

TEST_F(StartTest, AnAddressInUseEndsWithOne) {
    Start();
    const auto first = std::move(host_);
    std::vector<std::string> arguments = Arguments({"--listen", "127.0.0.1:" + std::to_string(port_)});
    arguments[3] += "2";
    EXPECT_THAT(LineOf(1, arguments), HasSubstr("Address already in use"));
}

TEST_F(StartTest, AStateFolderInUseEndsWithOne) {
    Start();
    const auto first = std::move(host_);
    EXPECT_THAT(LineOf(1, Arguments({"--listen", "127.0.0.1:0"})),
                HasSubstr("is in use by another driverhost, process " + std::to_string(first->Id()) +
                          " with the home file " + folder_.Path() + "/home.xml; stop that one"));
    EXPECT_EQ(Ask("GET", "/health").status, 200);
}

TEST_F(StartTest, AStateThatOthersCouldReadIsMadeTheOwnersAndSaid) {
    Start();
    Command("lamp", "set", "value=x");
    Stop();
    const std::string file = StateFolder() + "/lamp/0000000001.xml";
    const std::string left = folder_.Path() + "/state/gone";
    mkdir(left.c_str(), 0755);
    chmod(left.c_str(), 0755);
    chmod(folder_.Write("state/gone/0000000001.xml", "secret").c_str(), 0664);
    ASSERT_EQ(symlink("/nowhere", (StateFolder() + "/lamp/.#note").c_str()), 0);
    chmod(StateFolder().c_str(), 0755);
    chmod((StateFolder() + "/lamp").c_str(), 0770);
    chmod(file.c_str(), 0644);
    Start();
    EXPECT_EQ(ModeOf(StateFolder()), 0700U);
    EXPECT_EQ(ModeOf(StateFolder() + "/lamp"), 0700U);
    EXPECT_EQ(ModeOf(file), 0600U);
    EXPECT_EQ(ModeOf(left), 0700U);
    EXPECT_EQ(ModeOf(left + "/0000000001.xml"), 0600U);
    EXPECT_THAT(Log(), HasSubstr(" 3 host others could use " + file +
                                 " (mode 0644), where passwords may stand; it is 0600 now\n"));
    EXPECT_THAT(Log(), HasSubstr("others could use " + StateFolder() + " (mode 0755)"));
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>x</value>"));
    Stop();
    Start();
    EXPECT_THAT(Log(), testing::Not(HasSubstr("others could use")));
}

TEST_F(StartTest, AStateThatBelongsToSomebodyElseEndsWithOne) {
    // Only root can give files away; for anybody else a folder of root's is somebody else's.
    if (geteuid() != 0) {
        EXPECT_THAT(
            LineOf(1,
                   {"--home", folder_.Path() + "/home.xml", "--state-dir", "/usr", "--plugin-dir", plugins_}),
            HasSubstr("/usr belongs to user 0, and driverhost runs as user " + std::to_string(geteuid())));
        return;
    }
    constexpr uid_t kNobody = 65534;
    Start();
    Command("lamp", "set", "value=x");
    Stop();
    const std::string file = StateFolder() + "/lamp/0000000001.xml";
    for (const std::string& path : {file, StateFolder()}) {
        ASSERT_EQ(chown(path.c_str(), kNobody, 0), 0);
        EXPECT_THAT(LineOf(1, Arguments()), HasSubstr(path + " belongs to user 65534, and driverhost runs as "
                                                             "user 0; run it as that user, or"));
        ASSERT_EQ(chown(path.c_str(), 0, 0), 0);
    }
    Start();
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>x</value>"));
}

TEST_F(StartTest, AStateFolderThatIsAFileEndsWithOne) {
    folder_.Write("state", "a file");
    EXPECT_THAT(LineOf(1, Arguments()), HasSubstr("cannot use the state folder"));
}

TEST_F(StartTest, AnAddressThatOthersReachNeedsATokenOfItsOwner) {
    EXPECT_THAT(LineOf(2, Arguments({"--listen", "0.0.0.0:0"})), HasSubstr("--token-file is needed"));
    const std::string token = folder_.Write("token", "secret\n");
    chmod(token.c_str(), 0644);
    EXPECT_THAT(LineOf(2, Arguments({"--listen", "0.0.0.0:0", "--token-file", token})),
                HasSubstr("chmod 600"));
    chmod(token.c_str(), 0600);
    Start({"--listen", "0.0.0.0:0", "--token-file", token});
    EXPECT_EQ(Ask("GET", "/drivers").status, 401);
    EXPECT_EQ(Ask("GET", "/drivers", "", "Authorization: Bearer secret\r\n").status, 200);
}

TEST_F(StartTest, HelpTellsTheExitStatuses) {
    EXPECT_EQ(Run({"--help"}), 0);
    EXPECT_THAT(Log(), testing::StartsWith("driverhost --home FILE"));
    EXPECT_THAT(Log(), HasSubstr("Exit status:"));
}

TEST_F(StartTest, ADriverThatDoesNotStartLeavesTheOthersServing) {
    WriteHome(Driver(1, "broken", "probe", "<fails>throw</fails>") + Driver(2, "lamp", "probe"));
    Start();
    EXPECT_THAT(
        Log(), HasSubstr("driver broken (probe) does not run: driver broken threw in Initialize: not today"));
    EXPECT_THAT(Ask("GET", "/drivers").body,
                HasSubstr("<name>broken</name><library>probe</library><status>failed</status>"));
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
    EXPECT_EQ(Stop(), 0);
}

TEST_F(StartTest, UnderTheServiceManagerLinesHaveItsPrefix) {
    environment_["JOURNAL_STREAM"] = "8:1234";
    Start();
    EXPECT_THAT(Log(),
                testing::StartsWith("<6>host driver lamp runs (probe)\n<6>host host listening on http://"));
}

TEST_F(StartTest, TheStateIsForItsOwnerOnly) {
    Start();
    Command("lamp", "set", "value=x");
    EXPECT_EQ(ModeOf(StateFolder()), 0700U);
    EXPECT_EQ(ModeOf(StateFolder() + "/lamp"), 0700U);
    EXPECT_EQ(ModeOf(StateFolder() + "/lamp/0000000001.xml"), 0600U);
}

}  // namespace
}  // namespace driverhost
