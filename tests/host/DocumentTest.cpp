#include <gtest/gtest.h>

#include "tests/host/Xml.h"

namespace {

using DvXML::CreateXmlDocument;

TEST(Document, NewOneHasAnEmptyRootOfThatName) {
    const auto document = CreateXmlDocument("IntercomState");
    ASSERT_NE(nullptr, document->DocumentGetRoot());
    EXPECT_EQ("<IntercomState/>", document->DocumentGetRoot()->NodeToText());
    EXPECT_EQ("", document->DocumentGetError());
}

TEST(Document, ParsingReplacesTheRoot) {
    const auto document = CreateXmlDocument("old");
    EXPECT_EQ(0, document->DocumentParse("<new/>"));
    EXPECT_EQ("<new/>", document->DocumentGetRoot()->NodeToText());
}

TEST(Document, FailedParseLeavesNoRootAndAReason) {
    const auto document = CreateXmlDocument("old");
    EXPECT_LT(document->DocumentParse("<new>"), 0);
    EXPECT_EQ(nullptr, document->DocumentGetRoot());
    EXPECT_EQ("line 1, column 6: the text ends before the root element does", document->DocumentGetError());
}

TEST(Document, NextParseForgetsTheError) {
    const auto document = CreateXmlDocument("a");
    EXPECT_LT(document->DocumentParse(""), 0);
    EXPECT_EQ(0, document->DocumentParse("<a/>"));
    EXPECT_EQ("", document->DocumentGetError());
    EXPECT_NE(nullptr, document->DocumentGetRoot());
}

TEST(Document, RootOutlivesItsDocumentWhenSomebodyHoldsIt) {
    auto document = test::Parse("<a><b/></a>");
    const auto root = dv::auto_com<DvXML::INode>::share(document->DocumentGetRoot());
    document.reset();
    EXPECT_EQ("<a><b/></a>", root->NodeToText());
}

}  // namespace
