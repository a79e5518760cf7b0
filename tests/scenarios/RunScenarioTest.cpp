// That the runner sees what differs, says where, and ends with a status that fails a test.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/process/Patience.h"
#include "tests/support/process/Process.h"
#include "tests/support/process/TempFolder.h"

namespace scenario {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr char kAgentAlone[] =
    "<home><controller><address/></controller>"
    "<driver><id>1</id><name>agent</name><library>intercom_agent</library></driver></home>";

class RunScenario : public testing::Test {
protected:
    /// Runs the steps in a home with the agent alone; the exit status.
    int Run(const std::string& steps, const std::vector<std::string>& options = {}) {
        test::WriteFile(folder_ / "home.xml", kAgentAlone);
        test::WriteFile(folder_ / "steps", steps);
        test::Process::Command command{{RUN_SCENARIO}, {}, folder_ / "output"};
        command.words.insert(command.words.end(), options.begin(), options.end());
        command.words.push_back(folder_.Path().string());
        return test::Process(command).Wait(2 * test::kPatience).value_or(-1);
    }
    /// For steps that expect something that never comes.
    int RunBriefly(const std::string& steps) { return Run(steps, {"--patience=100"}); }

    std::string Output() const { return test::ReadFile(folder_ / "output"); }

    const test::TempFolder folder_;
};

TEST_F(RunScenario, WhatIsAsExpectedEndsWithStatus0) {
    EXPECT_EQ(0, Run("> agent getPopupTimeout\n<timeout>20</timeout>\n")) << Output();
}

TEST_F(RunScenario, OtherAnswerIsShownWithItsStep) {
    EXPECT_EQ(1, Run("\n> agent getPopupTimeout\n<timeout>21</timeout>\n"));
    EXPECT_THAT(Output(), AllOf(HasSubstr("steps:2: > agent getPopupTimeout\n"),
                                HasSubstr("  - <timeout>21</timeout>\n  + <timeout>20</timeout>\n")));
}

TEST_F(RunScenario, OtherStatusIsADifference) {
    EXPECT_EQ(
        1,
        Run("> agent applySIPProxyChanges\n<success/>\n$ sysman kill sipproxy\n$ sysman enable sipproxy\n"));
    EXPECT_THAT(Output(), HasSubstr("  - status 200\n"));
}

TEST_F(RunScenario, EventTooManyIsADifference) {
    EXPECT_EQ(1, Run("> agent addGroup name=A\n<group><groupId>1</groupId><name>A</name></group>\n"));
    EXPECT_THAT(Output(),
                HasSubstr("events (-: expected, +: seen)\n  + <GroupAdded><id>1</id></GroupAdded>\n"));
}

TEST_F(RunScenario, MissingEventIsADifference) {
    EXPECT_EQ(1, RunBriefly("> agent getPopupTimeout\n<timeout>20</timeout>\n! <PopupTimeoutChanged/>\n"));
    EXPECT_THAT(Output(), HasSubstr("  - <PopupTimeoutChanged/>\n"));
}

TEST_F(RunScenario, RequestTooManyIsADifference) {
    EXPECT_EQ(1, Run("> agent applySIPProxyChanges\n204\n$ sysman kill sipproxy\n"));
    EXPECT_THAT(Output(), HasSubstr("  + sysman enable sipproxy\n"));
}

TEST_F(RunScenario, MissingLogLineIsADifference) {
    EXPECT_EQ(1, RunBriefly("> agent getPopupTimeout\n<timeout>20</timeout>\n~ 3 agent nobody said this\n"));
    EXPECT_THAT(Output(), HasSubstr("  - 3 agent nobody said this\n"));
}

TEST_F(RunScenario, AnswerThatIsNotWrittenDownIsADifference) {
    EXPECT_EQ(1, Run("> agent getPopupTimeout\n"));
    EXPECT_THAT(Output(), HasSubstr("  + <timeout>20</timeout>\n"));
}

TEST_F(RunScenario, StartIsComparedWhenItSaysAnything) {
    EXPECT_EQ(0, Run("> start\n> power-cut\n")) << Output();
    EXPECT_EQ(1, Run("> start\n$ sysman kill sipproxy\n"));
    EXPECT_THAT(Output(),
                AllOf(HasSubstr("  + sysman enable sipproxy\n"), HasSubstr("  + <AGENT_EXTERNAL>")));
}

TEST_F(RunScenario, StepThatIsNotUnderstoodSaysWhy) {
    EXPECT_EQ(1, Run("> agent addGroup Kitchen\n<fail/>\n"));
    EXPECT_THAT(Output(), HasSubstr("\"Kitchen\" is no parameter"));
}

TEST_F(RunScenario, RecordPrintsStepsWithWhatWasSeen) {
    EXPECT_EQ(0, Run("# Why.\n> agent addGroup name='A b'\n> agent applySIPProxyChanges\n", {"--record"}));
    EXPECT_EQ(
        "# Why.\n"
        "> agent addGroup name='A b'\n"
        "<group><groupId>1</groupId><name>A b</name></group>\n"
        "! <GroupAdded><id>1</id></GroupAdded>\n"
        "> agent applySIPProxyChanges\n"
        "204\n"
        "$ sysman kill sipproxy\n"
        "$ sysman enable sipproxy\n",
        Output());
}

}  // namespace
}  // namespace scenario
