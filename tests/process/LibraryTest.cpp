// Drivers that fail before, while and after they run, or must not run at all: each is named, and the home
// goes on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/process/support/ProcessFixture.h"

namespace driverhost {
namespace {

using testing::HasSubstr;

class LibraryTest : public ProcessFixture {
protected:
    LibraryTest() { plugins_ = TEST_PLUGINS; }

    /// Starts a home with a lamp and with a driver "bad" of this library, which must be left out.
    void ExpectLeftOut(const std::string& library, const std::string& reason) {
        WriteHome(Driver(1, "bad", library) + Driver(2, "lamp", "probe"));
        Start();
        ExpectOnlyBadLeftOut(library, reason);
    }

    void ExpectOnlyBadLeftOut(const std::string& library, const std::string& reason) {
        EXPECT_THAT(Log(), HasSubstr(" 3 host driver bad (" + library + ") does not run: " + reason + "\n"));
        EXPECT_THAT(Ask("GET", "/drivers").body, HasSubstr("<status>failed</status><failure>" + reason));
        const HttpAnswer health = Ask("GET", "/health");
        EXPECT_EQ(health.status, 200);
        EXPECT_THAT(health.body, HasSubstr("<warning>driver bad does not run: " + reason + "</warning>"));
        EXPECT_EQ(Ask("POST", "/drivers/bad/commands/x").status, 503);
        EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
        EXPECT_EQ(Stop(), 0);
    }

    /// Makes the library "mine" a copy of this test plug-in.
    void PutLibrary(const std::string& plugin) {
        const std::string path = plugins_ + "/mine.so";
        std::filesystem::remove(path);
        std::filesystem::copy_file(std::string(TEST_PLUGINS) + "/" + plugin + ".so", path);
    }

    /// Starts a home whose lamp has the library "mine", a copy of this test plug-in.
    void StartWith(const std::string& plugin) {
        plugins_ = folder_.Path() + "/plugins";
        std::filesystem::create_directory(plugins_);
        PutLibrary(plugin);
        WriteHome(Driver(1, "lamp", "mine"));
        Start();
    }
};

TEST_F(LibraryTest, ThatCrashesWhileItIsLoadedIsLeftOut) {
    const std::string crash = "its library ends the process that loads it: Segmentation fault";
    ExpectLeftOut("crash_at_load", crash);
    ExpectLeftOut("crash_in_entry", crash);
    ExpectLeftOut("crash_at_unload", crash);
}

TEST_F(LibraryTest, ThatEndsTheProcessIsLeftOut) {
    ExpectLeftOut("exit_at_load", "its library ends the process that loads it: exit status 0");
}

TEST_F(LibraryTest, ThatThrowsFromItsEntryIsLeftOut) {
    ExpectLeftOut("throw_in_entry", "its library throws while it is loaded");
}

TEST_F(LibraryTest, ThatThrowsWhileItIsLoadedIsLeftOut) {
    WriteHome(Driver(1, "bad", "throw_at_load") + Driver(2, "lamp", "probe"));
    Start();
    EXPECT_THAT(Log(), HasSubstr(" 3 host driver bad (throw_at_load) does not run: its library "));
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
}

// The time must run out for one library and not for the other. If the machine is too busy for that, the time
// is made longer.
TEST_F(LibraryTest, ThatHangsWhileItIsLoadedIsLeftOutAfterItsTime) {
    WriteHome(Driver(1, "bad", "hang_at_load") + Driver(2, "lamp", "probe"));
    std::string time;
    for (const char* longer : {"1000", "5000", "25000", "125000"}) {
        time = longer;
        Start({"--library-time", time});
        if (Ask("GET", "/drivers").body.find("<library>probe</library><status>running<") != std::string::npos)
            break;
    }
    ExpectOnlyBadLeftOut("hang_at_load",
                         "its library was not loaded within " + time + " ms (--library-time)");
}

TEST_F(LibraryTest, IsTriedBeforeARestartToo) {
    StartWith("probe");
    Command("lamp", "setQuietly", "value=dim");
    PutLibrary("crash_at_load");
    const HttpAnswer refused = Ask("POST", "/drivers/lamp/restart");
    EXPECT_EQ(refused.status, 500);
    EXPECT_THAT(refused.body, HasSubstr("driver lamp goes on as before: its library ends the process"));
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>dim</value>"));
    PutLibrary("probe");
    EXPECT_EQ(Ask("POST", "/drivers/lamp/restart").status, 204);
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>dim</value>"));
}

TEST_F(LibraryTest, ThatWasLeftOutRunsOnceItIsMended) {
    StartWith("crash_at_load");
    const HttpAnswer refused = Ask("POST", "/drivers/lamp/restart");
    EXPECT_EQ(refused.status, 500);
    EXPECT_THAT(refused.body, HasSubstr("driver lamp does not run: its library ends the process"));
    PutLibrary("probe");
    EXPECT_EQ(Ask("POST", "/drivers/lamp/restart").status, 204);
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
    EXPECT_EQ(Ask("GET", "/health").body, "<health>ok</health>");
}

TEST_F(LibraryTest, OfASingleDriverIsNotAskedForASecondOne) {
    plugins_ = PLUGINS;
    const std::string agent = Driver(1, "agent", "intercom_agent");
    WriteHome(agent + Driver(2, "second", "intercom_agent"));
    Start();
    const std::string refused = "does not run: one home holds one driver of this library, and that is agent";
    EXPECT_THAT(Log(), HasSubstr(" 3 host driver second (intercom_agent) " + refused + "\n"));
    const std::string requestsOfOne = "kill sipproxy\nenable sipproxy\n";
    EXPECT_EQ(SysmanRequests(), requestsOfOne);
    EXPECT_EQ(Ask("POST", "/drivers/second/restart").status, 500);
    EXPECT_EQ(Ask("PUT", "/drivers/second/state", "<IntercomState/>").status, 500);
    EXPECT_EQ(Ask("PUT", "/drivers/second/state", "<Other/>").status, 400);
    WriteHome(agent + Driver(3, "third", "intercom_agent"));
    host_->Signal(SIGHUP);
    host_->WaitForLog(" 6 host the home file was read again");
    EXPECT_THAT(Log(), HasSubstr(" 3 host driver third (intercom_agent) " + refused + "\n"));
    EXPECT_EQ(SysmanRequests(), requestsOfOne) << "a second agent would restart the proxy";
}

TEST_F(LibraryTest, OfASingleDriverServesAnotherOneOnceTheFirstIsGone) {
    WriteHome(Driver(1, "first", "single") + Driver(2, "second", "single"));
    Start();
    WriteHome(Driver(2, "second", "single"));
    host_->Signal(SIGHUP);
    host_->WaitForLog(" 6 host the home file was read again");
    EXPECT_EQ(Ask("POST", "/drivers/second/restart").status, 204);
}

TEST_F(LibraryTest, ADriverThatThrowsAtItsEndKeepsNoOtherFromTheirs) {
    WriteHome(Driver(1, "lamp", "probe", "<fails>throwAtEnd</fails>") + Driver(2, "shutter", "probe"));
    Start();
    Command("lamp", "setQuietly", "value=dim");
    EXPECT_EQ(Ask("POST", "/drivers/lamp/restart").status, 204);
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>dim</value>"));
    Command("shutter", "setQuietly", "value=down");
    EXPECT_EQ(Stop(), 0);
    EXPECT_THAT(Log(), HasSubstr(" 3 lamp driver lamp threw in OnDestroy: will not end\n"));
    EXPECT_THAT(ReadFile("state/shutter/0000000001.xml"), HasSubstr("<value>down</value>"));
}

TEST_F(LibraryTest, ADriverThatHangsInItsStartIsNamedToWhoeverAsks) {
    const std::string go = folder_.Path() + "/go";
    WriteHome(Driver(1, "bad", "probe", "<waitsFor>" + go + "</waitsFor>") + Driver(2, "lamp", "probe"));
    StartListening({"--held-time", "200"});
    host_->WaitForLog(" 3 host driver bad has held the driver thread in Initialize for ");
    const HttpAnswer answer = AskUntil(503, "GET", "/drivers");
    EXPECT_EQ(answer.status, 503);
    EXPECT_THAT(answer.body, HasSubstr("driver bad has held the driver thread in Initialize for "));
    folder_.Write("go", "");
    host_->WaitUntilServing();
    EXPECT_EQ(AskUntil(200, "POST", "/drivers/lamp/commands/count").body, "<count>1</count>");
    EXPECT_EQ(Stop(), 0);
}

TEST_F(LibraryTest, ADriverIsNamedWhereverItThrows) {
    WriteHome(Driver(1, "factory", "factory_throws") + Driver(2, "start", "probe", "<fails>throw</fails>") +
              Driver(3, "lamp", "probe"));
    Start();
    const std::string health = Ask("GET", "/health").body;
    EXPECT_THAT(health,
                HasSubstr("driver factory does not run: driver factory threw in its creation: no parts"));
    EXPECT_THAT(health, HasSubstr("driver start does not run: driver start threw in Initialize: not today"));
    EXPECT_THAT(Ask("POST", "/drivers/lamp/commands/throw").body, HasSubstr("driver lamp threw in throw"));
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
    EXPECT_EQ(Stop(), 0);
}

TEST_F(LibraryTest, OfTheAgentStartsItsCountersAnew) {
    plugins_ = PLUGINS;
    WriteHome(Driver(1, "agent", "intercom_agent") +
              Driver(101, "door", "panel", "<key>door</key><name>Door</name>"));
    Start();
    const auto idOfUser = [this](const std::string& key) {
        EXPECT_EQ(Command("agent", "addUser", "key=" + key), "<success/>");
        const std::string user = Command("agent", "getUser", "key=" + key);
        return user.substr(0, user.find("</id>"));
    };
    const std::string first = idOfUser("one");
    EXPECT_NE(idOfUser("two"), first);
    EXPECT_EQ(Ask("POST", "/drivers/door/restart").status, 204);
    EXPECT_EQ(Ask("POST", "/drivers/agent/restart").status, 204);
    EXPECT_EQ(idOfUser("three"), first) << "the library was unloaded";
    EXPECT_THAT(Command("agent", "getDeviceList"), HasSubstr("<id>101</id>"));
}

}  // namespace
}  // namespace driverhost
