#include "tests/scenarios/Scenario.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/process/TempFolder.h"

namespace scenario {
namespace {

using testing::ElementsAre;

std::string FaultIn(std::string_view steps) {
    try {
        ParseSteps(steps, "steps");
    } catch (const std::runtime_error& fault) {
        return fault.what();
    }
    return "none";
}

TEST(Scenario, StepIsAStepWithWhatIsExpectedOfIt) {
    const auto steps = ParseSteps(
        "# why\n"
        "> agent addGroup name=Kitchen\n"
        "<group/>\n"
        "! <GroupAdded><id>1</id></GroupAdded>\n"
        "$ sysman enable sipproxy\n"
        "~ 6 agent text\n",
        "steps");
    ASSERT_EQ(1U, steps.size());
    EXPECT_EQ(2, steps[0].line);
    EXPECT_EQ("# why\n", steps[0].before);
    EXPECT_THAT(steps[0].words, ElementsAre("agent", "addGroup", "name=Kitchen"));
    ASSERT_TRUE(steps[0].answer);
    EXPECT_EQ(200, steps[0].answer->status);
    EXPECT_EQ("<group/>", steps[0].answer->body);
    EXPECT_THAT(steps[0].events, ElementsAre("<GroupAdded><id>1</id></GroupAdded>"));
    EXPECT_THAT(steps[0].requests, ElementsAre("sysman enable sipproxy"));
    EXPECT_THAT(steps[0].log, ElementsAre("6 agent text"));
}

TEST(Scenario, LaidOutElementIsJoinedWithoutItsIndentation) {
    const auto steps =
        ParseSteps("> a b\n<g>\n  <name>Up down</name>\n</g>\n! <e>\n    <f/>\n  </e>\n", "steps");
    EXPECT_EQ("<g><name>Up down</name></g>", steps[0].answer->body);
    EXPECT_THAT(steps[0].events, ElementsAre("<e><f/></e>"));
}

TEST(Scenario, StatusStandsAloneOrInFrontOfItsElement) {
    const auto steps = ParseSteps("> a b\n204\n> a c\n404 <error>no</error>\n", "steps");
    EXPECT_EQ(204, steps[0].answer->status);
    EXPECT_EQ("", steps[0].answer->body);
    EXPECT_EQ(404, steps[1].answer->status);
    EXPECT_EQ("<error>no</error>", steps[1].answer->body);
}

TEST(Scenario, IndentedLinesUnderAStepAreItsBody) {
    const auto steps =
        ParseSteps("> PUT /drivers/agent/state\n    <a>\n      <b/>\n    </a>\n204\n", "steps");
    EXPECT_EQ("<a><b/></a>", steps[0].body);
    EXPECT_EQ(204, steps[0].answer->status);
}

TEST(Scenario, QuotesKeepBlanksAndMarkup) {
    EXPECT_THAT(SplitWords("a  name='Up & down' xml=\"<i id='1'/>\" ''"),
                ElementsAre("a", "name=Up & down", "xml=<i id='1'/>", ""));
}

TEST(Scenario, FaultsAreToldWithTheirLine) {
    EXPECT_EQ("steps:1: nothing can be expected before the first step; begin one with \"> \"",
              FaultIn("<a/>\n"));
    EXPECT_EQ("steps:2: a line begins with >, <, a status, !, $, ~ or #, or is indented",
              FaultIn("> a b\nsuccess\n"));
    EXPECT_EQ("steps:4: this step has an answer already", FaultIn("> a b\n204\n! <e/>\n<a/>\n"));
    EXPECT_EQ("steps:3: an indented line goes on with the one above it, and there is none",
              FaultIn("> a b\n# comment\n  <a/>\n"));
    EXPECT_EQ("steps:1: a quote ' is left open", FaultIn("> a b name='x\n"));
    EXPECT_EQ("steps:1: \">\" says nothing to do", FaultIn(">\n"));
    EXPECT_EQ("steps:1: there is no step", FaultIn("# nothing\n"));
}

TEST(Scenario, PageIsReadByItsBlocks) {
    const test::TempFolder folder;
    test::WriteFile(folder / "page.md",
                    "# Page\n\n```xml home\n<home/>\n```\n\n```xml\n<not/>\n```\n\n"
                    "```scenario\n> a b\n204\n```\n\nProse.\n\n```scenario\n> a c\n204\n```\n");
    const Scenario read = ReadScenario(folder / "page.md");
    EXPECT_EQ("<home/>\n", read.home);
    ASSERT_EQ(2U, read.steps.size());
    EXPECT_EQ(12, read.steps[0].line);
    EXPECT_EQ(19, read.steps[1].line);
}

TEST(Scenario, MissingFileIsNamed) {
    const test::TempFolder folder;
    test::WriteFile(folder / "steps", "> a b\n204\n");
    EXPECT_THROW(ReadScenario(folder.Path()), std::runtime_error);
}

}  // namespace
}  // namespace scenario
