#include "tests/scenarios/Compare.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace scenario {
namespace {

using testing::ElementsAre;

TEST(Compare, EveryByteCounts) {
    EXPECT_TRUE(Matches("<a>b</a>", "<a>b</a>"));
    EXPECT_FALSE(Matches("<a>b</a>", "<a>b </a>"));
    EXPECT_FALSE(Matches("", "a"));
}

TEST(Compare, DotsStandForAnything) {
    EXPECT_TRUE(Matches("<a>...</a>", "<a></a>"));
    EXPECT_TRUE(Matches("<a>...<b/>...</a>", "<a>1<b/>2</a>"));
    EXPECT_FALSE(Matches("<a>...<b/></a>", "<a>1<c/></a>"));
    EXPECT_FALSE(Matches("<a>...</a>", "<a>1</a>2"));
    EXPECT_FALSE(Matches("ab...bc", "abc"));
}

TEST(Compare, ListsHaveTheSameEntriesInTheSameOrder) {
    const std::vector<std::string> list = {"<a/>", "<b/>"};
    EXPECT_TRUE(Matches(list, list));
    EXPECT_FALSE(Matches(list, {"<b/>", "<a/>"}));
    EXPECT_FALSE(Matches(list, {"<a/>"}));
    EXPECT_FALSE(Matches({}, list));
}

TEST(Compare, WideElementIsLaidOutChildByChild) {
    EXPECT_THAT(LayOut("<g><id>1</id><m><d>5</d></m><e/></g>", 20),
                ElementsAre("<g>", "  <id>1</id>", "  <m><d>5</d></m>", "  <e/>", "</g>"));
    EXPECT_THAT(LayOut("<g><id>1</id></g>", 20), ElementsAre("<g><id>1</id></g>"));
}

TEST(Compare, TextInFrontOfChildrenStaysWithItsTag) {
    EXPECT_THAT(LayOut("<s>Name<n>Name</n></s>", 10), ElementsAre("<s>Name", "  <n>Name</n>", "</s>"));
}

TEST(Compare, WhatIsNoXmlIsOneLine) {
    EXPECT_THAT(LayOut("status 200", 4), ElementsAre("status 200"));
    EXPECT_THAT(LayOut("", 4), ElementsAre());
}

TEST(Compare, DifferenceShowsWhatIsMissingAndWhatIsTooMuch) {
    EXPECT_EQ("    <a/>\n  - <b/>\n  + <c/>\n    <d/>\n",
              Difference({"<a/>", "<b/>", "<d/>"}, {"<a/>", "<c/>", "<d/>"}));
}

}  // namespace
}  // namespace scenario
