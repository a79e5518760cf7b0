// Lists of ids as XML, and the result codes of reading and writing them.
#include "host/glue/XmlHelper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/glue/XmlText.h"
#include "tests/support/AssertReports.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using XmlHelper::ReadIdList;
using Ids = std::vector<unsigned long>;

constexpr long kOk = 0;
constexpr long kBadName = -1;
constexpr long kNoContainer = -2;
constexpr long kBadNumber = -3;
constexpr long kNotFound = -4;

class WrittenIdList : public testing::Test {
protected:
    long Write(const Ids& ids, const char* containerName, const char* itemName) {
        return XmlHelper::toXml<unsigned long>(ids, *parent, containerName, itemName);
    }
    std::string Written() const { return parent->NodeToText(); }

    const dv::auto_com<DvXML::INode> parent = DvXML::CreateXmlNode("order", "");
};

class UnwritableIdList : public WrittenIdList {
protected:
    test::AssertReports asserts;
};

/// Reads a list that holds 1 already.
class ReadIds : public testing::Test {
protected:
    long Read(const std::string& xml, const char* containerName = "devices") {
        ids = {1};
        return XmlHelper::fromXml<unsigned long>(ids, *DvXML::ParseRoot(xml), containerName);
    }

    Ids ids;
};

TEST_F(WrittenIdList, IsAContainerWithOneChildAnId) {
    EXPECT_EQ(kOk, Write({3, 4294967295UL, 3, 0}, "devices", "idDevice"));
    EXPECT_EQ(
        "<order><devices><idDevice>3</idDevice><idDevice>4294967295</idDevice><idDevice>3</idDevice>"
        "<idDevice>0</idDevice></devices></order>",
        Written());
}

TEST_F(WrittenIdList, WithoutAContainerNameStandsInTheParentItself) {
    EXPECT_EQ(kOk, Write({3, 1}, nullptr, "id"));
    EXPECT_EQ("<order><id>3</id><id>1</id></order>", Written());
}

TEST_F(WrittenIdList, KeepsItsContainerWhenEmpty) {
    EXPECT_EQ(kOk, Write({}, "devices", "idDevice"));
    EXPECT_EQ("<order><devices/></order>", Written());
}

TEST_F(WrittenIdList, WithoutContainerAndIdsLeavesTheParentAsItIs) {
    EXPECT_EQ(kOk, Write({}, nullptr, "id"));
    EXPECT_EQ("<order/>", Written());
}

TEST_F(WrittenIdList, IsAppendedToWhatTheParentHolds) {
    Write({1}, "devices", "id");
    Write({2}, "devices", "id");
    EXPECT_EQ("<order><devices><id>1</id></devices><devices><id>2</id></devices></order>", Written());
}

TEST_F(WrittenIdList, StopsAtAnIdThatCannotBeWritten) {
    EXPECT_EQ(kBadName, Write({3, 4}, "devices", nullptr));
    EXPECT_EQ("<order><devices/></order>", Written());
    EXPECT_EQ(kBadName, Write({3, 4}, nullptr, ""));
    EXPECT_EQ("<order><devices/></order>", Written());
}

TEST_F(WrittenIdList, NeedsNoItemNameWhenEmpty) {
    EXPECT_EQ(kOk, Write({}, "devices", nullptr));
}

TEST_F(UnwritableIdList, WithoutAPossibleContainerIsReportedAndNotWritten) {
    EXPECT_EQ(kNoContainer, Write({3}, "", "id"));
    EXPECT_THAT(asserts.reports, ElementsAre("dvshared/XmlHelper:89"));
    EXPECT_EQ("<order/>", Written());
}

TEST_F(UnwritableIdList, IsLoggedWithTheStack) {
    Write({3}, "", "id");
    ASSERT_LT(1U, asserts.lines.size());
    EXPECT_EQ("3 assertion failed at dvshared/XmlHelper:89", asserts.lines.front());
    EXPECT_THAT(asserts.lines, testing::Each(testing::StartsWith("3 ")));
}

TEST_F(UnwritableIdList, IsReportedThoughItIsEmpty) {
    EXPECT_EQ(kNoContainer, Write({}, "", "id"));
    EXPECT_THAT(asserts.reports, ElementsAre("dvshared/XmlHelper:89"));
}

TEST_F(UnwritableIdList, ReportsNothingElse) {
    Write({3}, "devices", nullptr);
    Write({3}, nullptr, "id");
    EXPECT_THAT(asserts.reports, IsEmpty());
    EXPECT_THAT(asserts.lines, IsEmpty());
}

TEST_F(ReadIds, AreAppendedInDocumentOrder) {
    EXPECT_EQ(kOk, Read("<order><devices><a>9</a><b>3</b><a>9</a></devices></order>"));
    EXPECT_THAT(ids, ElementsAre(1, 9, 3, 9));
}

TEST_F(ReadIds, OfTheContainerItselfAreReadDirectly) {
    EXPECT_EQ(kOk, Read("<devices><device>9</device><device>3</device></devices>"));
    EXPECT_THAT(ids, ElementsAre(1, 9, 3));
}

TEST_F(ReadIds, OfTheContainerItselfDoNotDescendIntoAnInnerOne) {
    EXPECT_EQ(kOk, Read("<devices><devices>9</devices><device>3</device></devices>"));
    EXPECT_THAT(ids, ElementsAre(1, 9, 3));
}

TEST_F(ReadIds, WithoutAContainerNameAreTheChildrenOfTheNode) {
    EXPECT_EQ(kOk, Read("<order><device>9</device><device>3</device></order>", nullptr));
    EXPECT_THAT(ids, ElementsAre(1, 9, 3));
}

TEST_F(ReadIds, OfTwoContainersStandInTheFirst) {
    EXPECT_EQ(kOk, Read("<order><devices><d>9</d></devices><devices><d>3</d></devices></order>"));
    EXPECT_THAT(ids, ElementsAre(1, 9));
}

TEST_F(ReadIds, OfAnEmptyContainerAreNone) {
    EXPECT_EQ(kOk, Read("<order><devices/></order>"));
    EXPECT_THAT(ids, ElementsAre(1));
}

TEST_F(ReadIds, WithoutTheContainerAreNotFound) {
    EXPECT_EQ(kNotFound, Read("<order><Devices><d>9</d></Devices></order>"));
    EXPECT_EQ(kNotFound, Read("<order><other><devices><d>9</d></devices></other></order>"));
    EXPECT_THAT(ids, ElementsAre(1));
}

TEST_F(ReadIds, SkipWhatIsNoNumberAndReturnItsCode) {
    EXPECT_EQ(kBadNumber, Read("<order><devices><d>9</d><d>nine</d><d>3</d></devices></order>"));
    EXPECT_THAT(ids, ElementsAre(1, 9, 3));
}

TEST_F(ReadIds, AreWholeNumbersOf32BitsWithBlanksAroundAtMost) {
    EXPECT_EQ(kOk, Read("<devices><d> 7&#9;</d><d>0</d><d>4294967295</d><d>007</d></devices>"));
    EXPECT_THAT(ids, ElementsAre(1, 7, 0, 4294967295UL, 7));
    for (const std::string text : {"", " ", "-1", "+7", "7x", "x7", "7 7", "0x7", "4294967296",
                                   "18446744073709551616", "99999999999999999999999999"}) {
        EXPECT_EQ(kBadNumber, Read("<devices><d>" + text + "</d></devices>")) << text;
        EXPECT_THAT(ids, ElementsAre(1)) << text;
    }
}

TEST_F(ReadIds, AreTheOwnTextOfTheirElements) {
    EXPECT_EQ(kOk, Read("<devices><d><name>x</name>42</d></devices>"));
    EXPECT_THAT(ids, ElementsAre(1, 42));
    EXPECT_EQ(kBadNumber, Read("<devices><d><id>42</id></d></devices>"));
    EXPECT_THAT(ids, ElementsAre(1));
}

TEST(IdListText, KeepsNumbersInOrderWithoutZeroAndMinusOne) {
    EXPECT_THAT(ReadIdList("<ids><id>5</id><id>0</id><id>abc</id><id>-1</id><id>7</id><id>5</id></ids>"),
                ElementsAre(5, 7, 5));
}

TEST(IdListText, LooksAtNoElementName) {
    EXPECT_THAT(ReadIdList("<x><a>5</a><b>7</b></x>"), ElementsAre(5, 7));
}

TEST(IdListText, ReadsNumbersUpToTheFirstOtherCharacter) {
    EXPECT_THAT(ReadIdList("<x><a> 12abc</a><a>&#10;+3</a><a>-0</a><a>7 8</a><a/></x>"),
                ElementsAre(12, 3, 7));
}

TEST(IdListText, MapsNegativesModulo32BitsAndSaturatesBeyond) {
    EXPECT_THAT(ReadIdList("<x><a>-2</a><a>-2147483648</a><a>4294967295</a></x>"),
                ElementsAre(4294967294UL, 2147483648UL, 4294967295UL));
    EXPECT_THAT(ReadIdList("<x><a>4294967296</a><a>4294967297</a><a>99999999999999999999</a></x>"),
                ElementsAre(4294967295UL, 4294967295UL, 4294967295UL));
}

TEST(IdListText, DropsByTheNumberThatStandsThereAndNotByTheIdItBecomes) {
    EXPECT_THAT(ReadIdList("<x><a>4294967295</a><a>-4294967296</a><a>-4294967297</a></x>"),
                ElementsAre(4294967295UL, 2147483648UL, 2147483648UL));
}

TEST(IdListText, TakesTheOwnTextOfTheRootsChildren) {
    EXPECT_THAT(ReadIdList("<x>4<a><b>5</b></a><a><b>6</b>7</a></x>"), ElementsAre(7));
}

TEST(IdListText, MayDeclareAnyEncoding) {
    EXPECT_THAT(ReadIdList("<?xml version=\"1.0\" encoding=\"utf-16\"?><x><a>5</a></x>"), ElementsAre(5));
}

TEST(IdListText, WithoutADocumentHasNoIds) {
    for (const std::string text : {"", " ", "5", "<x><a>5</a>", "<x><a>5</a></x><x/>", "<x/>",
                                   "<!DOCTYPE x><x><a>5</a></x>", "<x><a>5</a>&unknown;</x>"})
        EXPECT_THAT(ReadIdList(text), IsEmpty()) << text;
}

TEST(IdListText, TooDeepHasNoIds) {
    const auto nested = [](std::size_t depth) {
        std::string open = "<x><a>5</a>";
        std::string close = "</x>";
        for (std::size_t level = 1; level < depth; ++level) {
            open += "<y>";
            close = "</y>" + close;
        }
        return open + close;
    };
    EXPECT_THAT(ReadIdList(nested(128)), ElementsAre(5));
    EXPECT_THAT(ReadIdList(nested(129)), IsEmpty());
}

}  // namespace
