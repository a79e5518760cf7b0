// Stored states across starts, restarts and changes of the home: which documents a driver is given, and what
// becomes of the state of a driver that cannot tell it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "driverhost/state/StateFolder.h"
#include "tests/process/support/ProcessFixture.h"

namespace driverhost {
namespace {

using testing::HasSubstr;
using testing::Not;

class StateTest : public ProcessFixture {
protected:
    StateTest() {
        plugins_ = TEST_PLUGINS;
        WriteHome(Driver(1, "lamp", "probe"));
    }

    std::string StoredFile(int number, const std::string& driver = "lamp") const {
        return StateFolder() + "/" + driver + "/000000000" + std::to_string(number) + ".xml";
    }

    /// Stores a document as the host would, with a good checksum.
    void Plant(int number, const std::string& document, const std::string& driver = "lamp") const {
        std::filesystem::create_directories(StateFolder() + "/" + driver);
        test::WriteFile(StoredFile(number, driver), SealDocument(document, "probe"));
    }

    /// A run of the host in which the lamp stores the value 1 as its first generation.
    void StoreOne() {
        Start();
        Command("lamp", "set", "value=1");
        EXPECT_EQ(Stop(), 0);
    }

    void ExpectPutAside(int number, const std::string& driver = "lamp") {
        EXPECT_FALSE(std::filesystem::exists(StoredFile(number, driver)));
        EXPECT_TRUE(std::filesystem::exists(StoredFile(number, driver) + ".damaged"));
        EXPECT_THAT(Log(), HasSubstr(" 3 " + driver + " the stored document " + StoredFile(number, driver) +
                                     " is damaged (its root element is 'Other', but the library probe writes "
                                     "'ProbeState'): renamed to "));
    }

    /// Has the home file read again, and waits until that is over.
    void Reread() {
        host_->Signal(SIGHUP);
        host_->WaitForLog("the home file was read again");
    }

    HttpAnswer Put(const std::string& driver, const std::string& document) {
        return Ask("PUT", "/drivers/" + driver + "/state", document);
    }
};

TEST_F(StateTest, AStartPutsADocumentWithAnotherRootAsideAndUsesTheOneBefore) {
    StoreOne();
    Plant(2, "<Other><value>2</value></Other>");
    Start();
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>1</value>"));
    ExpectPutAside(2);
    EXPECT_THAT(Ask("GET", "/health").body, HasSubstr("<warning>driver lamp: the stored document "));
}

TEST_F(StateTest, AStartWithNothingButADocumentOfAnotherRootStartsAsNewAndSaysSo) {
    Plant(1, "<Other><value>1</value></Other>");
    Start();
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>new</value>"));
    ExpectPutAside(1);
    EXPECT_THAT(Log(), HasSubstr(" 3 lamp no stored document in " + StateFolder() +
                                 "/lamp is good: the driver starts as new\n"));
}

TEST_F(StateTest, AFirstStartOnStoredDocumentsPutsTheOneWithAnotherRootAsideToo) {
    Plant(1, "<ProbeState><value>1</value></ProbeState>");
    Plant(2, "<Other><value>2</value></Other>");
    Start();
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>1</value>"));
    ExpectPutAside(2);
}

TEST_F(StateTest, ARestartPutsADocumentWithAnotherRootAside) {
    Start();
    Command("lamp", "set", "value=1");
    Plant(2, "<Other><value>2</value></Other>");
    EXPECT_EQ(Ask("POST", "/drivers/lamp/restart").status, 204);
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>1</value>"));
    ExpectPutAside(2);
}

TEST_F(StateTest, AChangedHomePutsADocumentWithAnotherRootAside) {
    Start();
    Command("lamp", "set", "value=1");
    Plant(2, "<Other><value>2</value></Other>");
    Plant(1, "<Other><value>2</value></Other>", "shutter");
    WriteHome(Driver(7, "lamp", "probe") + Driver(2, "shutter", "probe"));
    Reread();
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>1</value>"));
    EXPECT_THAT(Command("shutter", "get"), HasSubstr("<value>new</value>"));
    ExpectPutAside(2);
    ExpectPutAside(1, "shutter");
}

TEST_F(StateTest, TheAgentForgetsNothingOverADocumentWithAnotherRoot) {
    plugins_ = PLUGINS;
    WriteHome(Driver(1, "agent", "intercom_agent"));
    Start();
    Command("agent", "addGroup", "name=Hall");
    EXPECT_EQ(Stop(), 0);
    test::WriteFile(StoredFile(2, "agent"), SealDocument("<State/>", "intercom_agent"));
    Start();
    EXPECT_THAT(Command("agent", "getGroupList"), HasSubstr("<name>Hall</name>"));
}

TEST_F(StateTest, ADriverThatNeverRanTakesNoStateWithAnotherRoot) {
    WriteHome(Driver(1, "lamp", "probe", "<fails>throw</fails>"));
    Start();
    const HttpAnswer refused = Put("lamp", "<Other/>");
    EXPECT_EQ(refused.status, 400);
    EXPECT_THAT(refused.body, HasSubstr("the root element is 'Other'; driver lamp writes 'ProbeState'"));
    EXPECT_EQ(Put("lamp", "<ProbeState/>").status, 500) << "it does not start with that either";
    EXPECT_FALSE(std::filesystem::exists(StoredFile(1)));
}

TEST_F(StateTest, ADriverThatDoesNotRunTakesNoStateThatItsSiblingWouldNotWrite) {
    WriteHome(Driver(1, "lamp", "probe") + Driver(2, "bad", "probe", "<fails>throw</fails>"));
    Start();
    EXPECT_EQ(Put("bad", "<Other/>").status, 400);
    EXPECT_THAT(Log(), Not(HasSubstr("does not run: its root element"))) << "it was not even created";
    EXPECT_FALSE(std::filesystem::exists(StoredFile(1, "bad")));
}

TEST_F(StateTest, WhatALibraryWritesIsKnownToTheNextProcessEvenIfItCannotBeAsked) {
    plugins_ = folder_.Path() + "/plugins";
    std::filesystem::create_directory(plugins_);
    const std::string library = plugins_ + "/mine.so";
    std::filesystem::copy_file(std::string(TEST_PLUGINS) + "/probe.so", library);
    WriteHome(Driver(1, "lamp", "mine"));
    StoreOne();
    std::filesystem::remove_all(StateFolder() + "/lamp");
    std::filesystem::remove(library);
    std::filesystem::copy_file(std::string(TEST_PLUGINS) + "/factory_throws.so", library);
    Start();
    EXPECT_EQ(Put("lamp", "<Other/>").status, 400);
    EXPECT_EQ(Put("lamp", "<ProbeState/>").status, 500);
}

class UntoldStateTest : public StateTest {
protected:
    /// A lamp that stored the value 1 and cannot tell its state from then on.
    void StartBroken() {
        Start();
        Command("lamp", "set", "value=1");
        Command("lamp", "setQuietly", "value=2");
        EXPECT_EQ(Ask("POST", "/drivers/lamp/commands/breakState").status, 503);
    }

    void ExpectSaid() {
        EXPECT_THAT(Log(), HasSubstr(" 3 lamp the newest state is lost, the last one stored is kept: driver "
                                     "lamp threw in GetPersistState: no state today\n"));
    }
};

TEST_F(UntoldStateTest, IsLostByARestartThatSaysSoAndGoesOnFromTheLastOneStored) {
    StartBroken();
    EXPECT_EQ(Ask("POST", "/drivers/lamp/restart").status, 204);
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>1</value>"));
    ExpectSaid();
    const HttpAnswer health = Ask("GET", "/health");
    EXPECT_EQ(health.status, 200);
    EXPECT_THAT(health.body, HasSubstr("<warning>driver lamp: the newest state is lost, "));
    EXPECT_EQ(Command("lamp", "set", "value=3"), "<success/>");
    EXPECT_THAT(ReadFile("state/lamp/0000000002.xml"), HasSubstr("<value>3</value>"));
}

TEST_F(UntoldStateTest, IsReplacedByOneThatIsPut) {
    StartBroken();
    EXPECT_EQ(Put("lamp", "<Other/>").status, 400);
    EXPECT_EQ(Put("lamp", "<ProbeState><value>3</value></ProbeState>").status, 204);
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>3</value>"));
    EXPECT_THAT(ReadFile("state/lamp/0000000001.xml"), HasSubstr("<value>1</value>"));
    ExpectSaid();
    EXPECT_EQ(Ask("GET", "/health").body, "<health>ok</health>");
}

TEST_F(UntoldStateTest, GivesWayToTheLastOneStoredWhenAPutOneIsNotTaken) {
    StartBroken();
    EXPECT_EQ(Put("lamp", "<ProbeState><value>poison</value></ProbeState>").status, 500);
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>1</value>"));
    ExpectSaid();
}

TEST_F(UntoldStateTest, KeepsNoDriverFromBeingChangedOrTakenAway) {
    StartBroken();
    WriteHome(Driver(7, "lamp", "probe"));
    Reread();
    EXPECT_THAT(Log(), HasSubstr(" 3 host the last state of driver lamp is lost: driver lamp threw in "
                                 "GetPersistState: no state today\n"));
    EXPECT_THAT(Command("lamp", "get"), HasSubstr("<value>1</value>"));
    EXPECT_EQ(Stop(), 0);
}

}  // namespace
}  // namespace driverhost
