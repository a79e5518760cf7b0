#include "driverhost/plugins/DriverTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/interfaces/InterfaceIds.h"
#include "tests/driverhost/support/HostFixture.h"
#include "tests/driverhost/support/TemporaryFolder.h"

namespace driverhost {
namespace {

using testing::HasSubstr;
using testing::Not;

class DriverTableTest : public HostFixture {
protected:
    /// What is logged while `work` runs.
    template <class Work>
    std::string LogOf(Work work) {
        testing::internal::CaptureStderr();
        work();
        return testing::internal::GetCapturedStderr();
    }

    /// Does what SIGHUP does when the home file is as home_ is now.
    std::string ChangeHome() {
        const std::string summary = table_->RemoveOutdated(home_);
        table_->AddMissing(home_);
        return summary;
    }

    void Plant(const std::string& driver, int number, const std::string& document,
               const std::string& library = "probe") {
        disk_.Plant(StoredPath(driver, number), SealDocument(document, library));
    }

    static std::string StoredPath(const std::string& driver, int number) {
        return "/state/" + driver + "/000000000" + std::to_string(number) + ".xml";
    }

    static std::string Config(const std::string& name, const std::string& value) {
        return "<config><" + name + ">" + value + "</" + name + "></config>";
    }
};

TEST_F(DriverTableTest, DriversAreFoundByNameAndById) {
    Add("lamp", "probe");
    Add("shutter", "probe");
    Start();
    EXPECT_EQ(table_->Find("shutter")->Entry().id, 2U);
    EXPECT_EQ(table_->Find("2"), table_->Find("shutter"));
    EXPECT_EQ(table_->Find("3"), nullptr);
    EXPECT_EQ(table_->Find("02"), nullptr);
    EXPECT_EQ(table_->Find(""), nullptr);
}

TEST_F(DriverTableTest, ADriverWhoseInitializeThrowsIsNamedAndTheRestGoesOn) {
    Add("lamp", "probe", Config("fails", "throw"));
    Add("shutter", "probe");
    const std::string log = LogOf([this] { Start(); });
    EXPECT_THAT(
        log,
        HasSubstr(" 3 host driver lamp (probe) does not run: driver lamp threw in Initialize: not today"));
    EXPECT_THAT(log, Not(HasSubstr("OnDestroy")));
    EXPECT_FALSE(Get("lamp").IsRunning());
    EXPECT_TRUE(Get("shutter").IsRunning());
}

TEST_F(DriverTableTest, ADriverThatDidNotStartLeavesNothingBehind) {
    Add("lamp", "probe", "<config><fails>throw</fails><publishes>X</publishes></config>");
    Add("shutter", "probe", Config("publishes", "X"));
    Start();
    EXPECT_TRUE(table_->Deliver({11, "Throw", {}}).find("driver shutter") != std::string::npos);
    EXPECT_TRUE(table_->Deliver({11, "Throw", {}}).find("driver lamp") == std::string::npos);
    EXPECT_EQ(Command("shutter", "find", "id=X"), "<found>0<published>true</published></found>");
}

TEST_F(DriverTableTest, ADriverWhoseInitializeAnswersAnErrorDoesNotRun) {
    Add("lamp", "probe", Config("fails", "answer"));
    EXPECT_THAT(LogOf([this] { Start(); }), HasSubstr("Initialize answered -7; expected 0"));
    EXPECT_FALSE(Get("lamp").IsRunning());
}

TEST_F(DriverTableTest, AFactoryThatFailsIsNamed) {
    Add("one", "factory_throws");
    Add("two", "factory_gives_null");
    const std::string log = LogOf([this] { Start(); });
    EXPECT_THAT(
        log,
        HasSubstr("driver one (factory_throws) does not run: driver one threw in its creation: no parts"));
    EXPECT_THAT(log, HasSubstr("driver two (factory_gives_null) does not run: its factory made no driver"));
}

TEST_F(DriverTableTest, APluginThatDoesNotFitStopsTheLoadingOfAll) {
    Add("lamp", "probe");
    Add("other", "other_abi");
    EXPECT_THROW(Load(), PluginError);
    table_.reset();
    EXPECT_FALSE(PluginLibrary::IsLoaded(std::string(TEST_PLUGINS) + "/probe.so"));
}

TEST_F(DriverTableTest, OneHomeHoldsASingleDriverOnce) {
    Add("first", "single");
    Add("second", "single");
    EXPECT_THAT(
        LogOf([this] { Start(); }),
        HasSubstr("driver second (single) does not run: one home holds one driver of this library, and "
                  "that is first"));
    EXPECT_TRUE(Get("first").IsRunning());
    EXPECT_EQ(table_->Restart(Get("first")).outcome, Restarted::Done);
}

TEST_F(DriverTableTest, ASecondDriverIsNotCreatedBesideASingleOne) {
    Add("first", "single");
    Add("second", "single");
    Start();
    home_.drivers.push_back(home_.drivers[1]);
    home_.drivers.back().name = "third";
    const std::string log = LogOf([this] {
        EXPECT_EQ(table_->Restart(Get("second")).outcome, Restarted::Failed);
        ChangeHome();
    });
    EXPECT_THAT(log, HasSubstr("driver third (single) does not run: one home holds one driver"));
    EXPECT_THAT(log, Not(HasSubstr(" created\n")));
}

TEST_F(DriverTableTest, AnotherSingleDriverIsCreatedOnceTheFirstIsGone) {
    Add("first", "single");
    Add("second", "single");
    Start();
    home_.drivers.erase(home_.drivers.begin());
    ChangeHome();
    EXPECT_EQ(table_->Restart(Get("second")).outcome, Restarted::Done);
}

TEST_F(DriverTableTest, ARestartUnloadsTheLibrary) {
    Add("lamp", "probe");
    Start();
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
    EXPECT_EQ(Command("lamp", "count"), "<count>2</count>");
    EXPECT_EQ(table_->Restart(Get("lamp")).outcome, Restarted::Done);
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
}

TEST_F(DriverTableTest, ARestartKeepsTheStateMarkedOrNot) {
    Add("lamp", "probe");
    Start();
    Command("lamp", "setQuietly", "value=dim");
    EXPECT_EQ(table_->Restart(Get("lamp")).outcome, Restarted::Done);
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>dim</value><heard/></probe>");
}

TEST_F(DriverTableTest, ARestartKeepsAStateThatTheDiskHasDamaged) {
    Add("lamp", "probe");
    Start();
    Command("lamp", "set", "value=dim");
    disk_.Plant("/state/lamp/0000000001.xml", "rubbish");
    EXPECT_EQ(table_->Restart(Get("lamp")).outcome, Restarted::Done);
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>dim</value><heard/></probe>");
    EXPECT_TRUE(disk_.Has("/state/lamp/0000000001.xml.damaged"));
    EXPECT_EQ(StoredState("lamp"), "<ProbeState><value>dim</value></ProbeState>");
}

TEST_F(DriverTableTest, ARestartKeepsAStateThatTheDiskDoesNotGiveBack) {
    Add("lamp", "probe");
    Start();
    Command("lamp", "set", "value=dim");
    disk_.FailAtStep(3);  // make, sync the folders, then list
    EXPECT_THAT(LogOf([this] { EXPECT_EQ(table_->Restart(Get("lamp")).outcome, Restarted::Done); }),
                HasSubstr(" 3 lamp cannot list /state/lamp: "));
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>dim</value><heard/></probe>");
}

TEST_F(DriverTableTest, WhatOnDestroyMarksIsNeverStored) {
    Add("lamp", "probe");
    Start();
    Command("lamp", "set", "value=dim");
    EXPECT_TRUE(table_->StopAll());
    EXPECT_EQ(StoredState("lamp"), "<ProbeState><value>dim</value></ProbeState>");
}

TEST_F(DriverTableTest, WhatADriverPostedGoesBeforeIt) {
    Add("lamp", "probe");
    Start();
    const std::string log = LogOf([this] {
        const auto message = dv::auto_com<ICmdMessage>(nullptr);
        Begin(MakeRequest("POST", "/drivers/lamp/commands/postLate"), [](const Response&) {});
        table_->Restart(Get("lamp"));
        Turn();
    });
    EXPECT_THAT(log, HasSubstr("posted work dropped"));
    EXPECT_THAT(log, Not(HasSubstr("posted work ran")));
    EXPECT_LT(log.find("posted work dropped"), log.find("destroyed"));
}

TEST_F(DriverTableTest, ARestartIsRefusedWhileTheStateCannotBeStored) {
    Add("lamp", "probe");
    Start();
    Command("lamp", "setQuietly", "value=dim");
    disk_.FailAll(true);
    EXPECT_EQ(table_->Restart(Get("lamp")).outcome, Restarted::NotStored);
    disk_.FailAll(false);
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>dim</value><heard/></probe>");
}

TEST_F(DriverTableTest, ARestartFromAFileThatDoesNotFitLeavesTheDriverRunning) {
    const TemporaryFolder folder;
    const std::string path = folder.Path() + "/probe.so";
    std::filesystem::copy_file(std::string(TEST_PLUGINS) + "/probe.so", path);
    Add("lamp", "probe");
    home_.drivers[0].libraryPath = path;
    Start();
    std::filesystem::remove(path);
    folder.Write("probe.so", "half written");
    const RestartResult result = table_->Restart(Get("lamp"));
    EXPECT_EQ(result.outcome, Restarted::Failed);
    EXPECT_THAT(result.reason, HasSubstr("probe.so: is cut short"));
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
}

TEST_F(DriverTableTest, ADriverThatFailedStartsWhenItsTroubleIsGone) {
    const TemporaryFolder folder;
    const std::string path = folder.Path() + "/probe.so";
    const auto put = [&](const char* library) {
        std::filesystem::remove(path);
        std::filesystem::copy_file(std::string(TEST_PLUGINS) + "/" + library + ".so", path);
    };
    put("factory_throws");
    Add("lamp", "probe");
    home_.drivers[0].libraryPath = path;
    Start();
    EXPECT_FALSE(Get("lamp").IsRunning());
    put("probe");
    EXPECT_EQ(table_->Restart(Get("lamp")).outcome, Restarted::Done);
    EXPECT_EQ(Command("lamp", "count"), "<count>1</count>");
}

TEST_F(DriverTableTest, AgentsEndFirstThenTheOthersBackwards) {
    Add("one", "probe");
    Add("two", "probe");
    Add("agent", "probe", Config("answers", IntercomAgentInterfaceId));
    Add("three", "probe");
    Start();
    const std::string log = LogOf([this] { table_->StopAll(); });
    const auto at = [&](const char* name) { return log.find(std::string(" 6 ") + name + " OnDestroy"); };
    ASSERT_NE(at("one"), std::string::npos);
    EXPECT_LT(at("agent"), at("three"));
    EXPECT_LT(at("three"), at("two"));
    EXPECT_LT(at("two"), at("one"));
}

TEST_F(DriverTableTest, EndingTellsWhenAStateIsLost) {
    Add("lamp", "probe");
    Start();
    Command("lamp", "setQuietly", "value=dim");
    disk_.FailAll(true);
    bool stored = true;
    EXPECT_THAT(LogOf([&] { stored = table_->StopAll(); }),
                HasSubstr("the last state of driver lamp is lost: cannot "));
    EXPECT_FALSE(stored);
}

TEST_F(DriverTableTest, RunningDriversAreFoundByInterfaceInFileOrder) {
    Add("broken", "probe", "<config><fails>throw</fails><answers>X</answers></config>");
    Add("one", "probe", Config("answers", "X"));
    Add("two", "probe");
    Add("three", "probe", Config("answers", "X"));
    Start();
    std::vector<ISupportIntercom*> found;
    EXPECT_EQ(table_->DriverManagerFindByInterface(0, "X", found), 0);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(static_cast<void*>(found[0]), Get("one").QueryInterface("X"));
    EXPECT_EQ(static_cast<void*>(found[1]), Get("three").QueryInterface("X"));
    EXPECT_LT(table_->DriverManagerFindByInterface(1, "X", found), 0);
    EXPECT_TRUE(found.empty());
    EXPECT_LT(table_->DriverManagerFindByInterface(0, "", found), 0);
}

TEST_F(DriverTableTest, AListenerThatThrowsKeepsNobodyFromTheEvent) {
    Add("one", "probe");
    Add("two", "probe");
    Start();
    const std::string faults = table_->Deliver({11, "Throw", {}});
    EXPECT_EQ(
        faults,
        "driver one threw in OnSystemEvent: will not hear; driver two threw in OnSystemEvent: will not hear");
    EXPECT_THAT(Command("two", "get"), HasSubstr("Throw"));
}

TEST_F(DriverTableTest, TheStateIsHandedToTheNextProcess) {
    disk_.Plant("/state/lamp/0000000001.xml",
                SealDocument("<ProbeState><value>kept</value></ProbeState>", "probe"));
    Add("lamp", "probe");
    Start();
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>kept</value><heard/></probe>");
}

TEST_F(DriverTableTest, ADriverOfAnUnknownLibraryIsAskedWhatItWritesBeforeItIsGivenADocument) {
    Plant("lamp", 1, "<ProbeState><value>kept</value></ProbeState>");
    Plant("lamp", 2, "<Other><value>strange</value></Other>");
    Plant("shutter", 1, "<Other><value>strange</value></Other>");
    Add("lamp", "probe");
    Add("shutter", "probe");
    const std::string log = LogOf([this] { Start(); });
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>kept</value><heard/></probe>");
    EXPECT_EQ(Command("shutter", "get"), "<probe><value>new</value><heard/></probe>");
    EXPECT_TRUE(disk_.Has(StoredPath("lamp", 2) + ".damaged"));
    EXPECT_TRUE(disk_.Has(StoredPath("shutter", 1) + ".damaged"));
    EXPECT_THAT(log, HasSubstr(" lamp asked for its state before its start\n"));
    EXPECT_THAT(log, Not(HasSubstr(" shutter asked for its state before its start\n")));
}

TEST_F(DriverTableTest, ADriverIsNotAskedBeforeItStartsWhenItsLibraryIsKnownOrNothingIsStored) {
    const std::string log = LogOf([this] {
        Add("lamp", "probe");
        Start();
        Command("lamp", "set", "value=dim");
        table_->Restart(Get("lamp"));
    });
    EXPECT_THAT(log, Not(HasSubstr("asked for its state before its start")));
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>dim</value><heard/></probe>");
}

TEST_F(DriverTableTest, ADriverThatCannotBeAskedYetIsGivenWhatIsStored) {
    Plant("lock", 1, "<SingleState>1</SingleState>", "single");
    Add("lock", "single");
    const std::string log = LogOf([this] { Start(); });
    EXPECT_THAT(log, HasSubstr(" 3 lock driver lock threw in GetPersistState: too early\n"));
    EXPECT_THAT(log, HasSubstr(" lock starts with <SingleState>1</SingleState>\n"));
}

TEST_F(DriverTableTest, ADriverWhoseEarlierDocumentCannotBeReadDoesNotStartAsNew) {
    Plant("lamp", 1, "<ProbeState><value>kept</value></ProbeState>");
    Plant("lamp", 2, "<Other/>");
    Add("lamp", "probe");
    Load();
    disk_.FailAtStep(5 + 5);  // five steps store the root; make, sync the folders, list, read, then rename
    table_->StartAll();
    EXPECT_THAT(Get("lamp").Failure(), HasSubstr("cannot rename"));
    EXPECT_EQ(table_->Restart(Get("lamp")).outcome, Restarted::Done);
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>kept</value><heard/></probe>");
}

TEST_F(DriverTableTest, ADriverThatCannotGiveItsStateIsLeftAloneWhileTheLastOneCannotBeRead) {
    Add("lamp", "probe");
    Start();
    Command("lamp", "set", "value=dim");
    Command("lamp", "breakState");
    disk_.FailAll(true);
    const std::string log =
        LogOf([this] { EXPECT_EQ(table_->Restart(Get("lamp")).outcome, Restarted::NotStored); });
    EXPECT_THAT(log, Not(HasSubstr("is lost")));
    disk_.FailAll(false);
    EXPECT_TRUE(Get("lamp").IsRunning());
    EXPECT_EQ(table_->Restart(Get("lamp")).outcome, Restarted::Done);
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>dim</value><heard/></probe>");
}

TEST_F(DriverTableTest, AWarningIsShownWhileThereIsADriverOfThatName) {
    disk_.Plant(StoredPath("lamp", 1), "rubbish");
    Add("lamp", "probe");
    Start();
    const std::vector<std::string> warnings = keeper_.Warnings();
    EXPECT_THAT(warnings, testing::SizeIs(2));  // it is damaged, and the driver starts as new
    const std::vector<DriverEntry> drivers = std::exchange(home_.drivers, {});
    EXPECT_EQ(ChangeHome(), "driver lamp is gone");
    EXPECT_THAT(keeper_.Warnings(), testing::IsEmpty());
    home_.drivers = drivers;
    EXPECT_EQ(ChangeHome(), "driver lamp is new");
    EXPECT_EQ(keeper_.Warnings(), warnings);
}

TEST_F(DriverTableTest, ADriverNeverSeesADamagedDocument) {
    disk_.Plant("/state/lamp/0000000001.xml",
                SealDocument("<ProbeState><value>kept</value></ProbeState>", "probe"));
    disk_.Plant("/state/lamp/0000000002.xml", SealDocument("<ProbeState><value>cut</val", "probe"));
    Add("lamp", "probe");
    EXPECT_THAT(LogOf([this] { Start(); }),
                HasSubstr(" 3 lamp the stored document /state/lamp/0000000002.xml is damaged (not XML: "));
    EXPECT_EQ(Command("lamp", "get"), "<probe><value>kept</value><heard/></probe>");
}

}  // namespace
}  // namespace driverhost
