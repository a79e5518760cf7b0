// The client against the real host, agent and panels.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/process/DriverHost.h"
#include "tests/support/process/Patience.h"
#include "tests/support/process/Process.h"
#include "tests/support/process/RunProgram.h"
#include "tests/support/process/TempFolder.h"

using testing::HasSubstr;

namespace {

constexpr char kHome[] =
    "<home><controller><address>192.168.1.10</address></controller>"
    "<driver><id>1</id><name>agent</name><library>intercom_agent</library></driver>"
    "<driver><id>102</id><name>kitchen</name><library>panel</library>"
    "<config><key>kitchen</key><name>Kitchen</name></config></driver></home>";

class IntercomctlAndHost : public testing::Test {
protected:
    void SetUp() override { host.Start(); }

    test::ProgramResult Ctl(std::vector<std::string> words) {
        words.insert(words.begin(), INTERCOMCTL_PROGRAM);
        return test::RunProgram(words,
                                {{"INTERCOMCTL_URL", "http://127.0.0.1:" + std::to_string(host.Port())}});
    }

    test::DriverHost host{kHome};
};

}  // namespace

TEST_F(IntercomctlAndHost, ACommandIsAnsweredAndItsRefusalIsStatus1) {
    const test::ProgramResult added = Ctl({"addGroup", "name=Upstairs & down"});
    EXPECT_EQ(0, added.status) << added.errors;
    EXPECT_EQ("<group>\n  <groupId>1</groupId>\n  <name>Upstairs &amp; down</name>\n</group>\n",
              added.output);
    const test::ProgramResult again = Ctl({"addGroup", "name=Upstairs & down"});
    EXPECT_EQ(1, again.status);
    EXPECT_EQ("<fail/>\n", again.output);
    EXPECT_THAT(Ctl({"state"}).output, HasSubstr("<name>Upstairs &amp; down</name>"));
}

TEST_F(IntercomctlAndHost, APlainCommandPrintsNothing) {
    const test::ProgramResult result =
        Ctl({"SIP_EXTERNAL_CALL", "source=102", "destination=5551234", "video=3"});
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.output + result.errors);
    EXPECT_THAT(
        Ctl({"--driver", "kitchen", "--raw", "getOperations"}).output,
        HasSubstr("<StartSipCall><audio>0</audio><video>3</video><address>5551234</address></StartSipCall>"));
}

TEST_F(IntercomctlAndHost, AnUnknownCommandIsRefusedAndHelpKnowsTheRest) {
    const test::ProgramResult unknown = Ctl({"addGruop", "name=x"});
    EXPECT_EQ(3, unknown.status);
    EXPECT_THAT(unknown.errors, HasSubstr("addGruop"));
    EXPECT_THAT(Ctl({"help"}).output, HasSubstr("\n  addGroup "));
    EXPECT_THAT(Ctl({"--driver", "kitchen", "help"}).output, HasSubstr("\n  getOperations "));
    EXPECT_THAT(Ctl({"drivers"}).output, HasSubstr("<library>panel</library>"));
}

TEST_F(IntercomctlAndHost, AChangeIsTakenBackWithAnEarlierGeneration) {
    Ctl({"addGroup", "name=First"});
    const std::string list = Ctl({"state", "list"}).output;
    const std::string newest = std::to_string(std::stoi(list.substr(list.rfind('\n', list.size() - 2))));
    Ctl({"addGroup", "name=Second"});
    EXPECT_THAT(Ctl({"state", "show", newest}).output,
                testing::AllOf(HasSubstr("<name>First</name>"), testing::Not(HasSubstr("Second"))));
    const test::ProgramResult restored = Ctl({"state", "restore", newest});
    EXPECT_EQ(0, restored.status) << restored.errors;
    EXPECT_THAT(Ctl({"getGroupList"}).output,
                testing::AllOf(HasSubstr("<name>First</name>"), testing::Not(HasSubstr("Second"))));
    EXPECT_THAT(Ctl({"getDeviceList"}).output, HasSubstr("<name>Kitchen</name>"));
    const test::ProgramResult none = Ctl({"state", "restore", "4711"});
    EXPECT_EQ(3, none.status);
    EXPECT_THAT(none.errors, HasSubstr("driver agent has no generation 4711"));
}

TEST_F(IntercomctlAndHost, ABackupIsSavedAndLoaded) {
    const test::TempFolder folder;
    const std::string file = folder / "backup.xml";
    Ctl({"addGroup", "name=Kept"});
    EXPECT_EQ(0, Ctl({"state", "save", file}).status);
    Ctl({"deleteGroup", "groupId=1"});
    EXPECT_EQ(0, Ctl({"state", "load", file}).status);
    EXPECT_THAT(Ctl({"getGroupList"}).output, HasSubstr("<name>Kept</name>"));
    test::WriteFile(folder / "other.xml", "<Other/>");
    const test::ProgramResult other = Ctl({"state", "load", folder / "other.xml"});
    EXPECT_EQ(3, other.status);
    EXPECT_THAT(other.errors, HasSubstr("the root element is 'Other'; driver agent writes 'IntercomState'"));
    test::WriteFile(folder / "huge.xml", std::string(17UL * 1024 * 1024, ' '));
    const test::ProgramResult huge = Ctl({"state", "load", folder / "huge.xml"});
    EXPECT_EQ(3, huge.status);
    EXPECT_THAT(huge.errors, HasSubstr("(HTTP 413)"));
    EXPECT_THAT(Ctl({"getGroupList"}).output, HasSubstr("<name>Kept</name>"));
}

TEST_F(IntercomctlAndHost, EventsOfThePastAreToldFromTheirId) {
    Ctl({"addGroup", "name=Upstairs"});
    const std::string url = "http://127.0.0.1:" + std::to_string(host.Port());
    const test::TempFolder folder;
    const test::Process following(
        {{INTERCOMCTL_PROGRAM, "--url", url, "events", "--since", "0"}, {}, folder / "output"});
    EXPECT_TRUE(test::Eventually([&] {
        return test::ReadFile(folder / "output").find("<GroupAdded>\n  <id>1</id>\n</GroupAdded>\n") !=
               std::string::npos;
    })) << test::ReadFile(folder / "output");
}
