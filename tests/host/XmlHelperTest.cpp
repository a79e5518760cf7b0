#include "host/glue/XmlHelper.h"

#include <gtest/gtest.h>

#include "tests/host/Xml.h"

namespace {

using test::NewNode;

constexpr unsigned long kUntouched = 77;

TEST(XmlHelper, NumberIsAppendedAsAChild) {
    const auto node = NewNode("a");
    EXPECT_EQ(XmlHelper::RESULT_OK, XmlHelper::toXml(5, *node, "device"));
    EXPECT_EQ(XmlHelper::RESULT_OK, XmlHelper::toXml(4294967295UL, *node, "device"));
    EXPECT_EQ("<a><device>5</device><device>4294967295</device></a>", node->NodeToText());
}

TEST(XmlHelper, NumberWithoutANameIsRefused) {
    const auto node = NewNode("a");
    EXPECT_EQ(XmlHelper::RESULT_BAD_NAME, XmlHelper::toXml(5, *node, nullptr));
    EXPECT_EQ(XmlHelper::RESULT_BAD_NAME, XmlHelper::toXml(5, *node, ""));
    EXPECT_EQ("<a/>", node->NodeToText());
}

TEST(XmlHelper, NumberIsReadFromTheFirstChildOfThatName) {
    const auto node = NewNode("a");
    node->NodeAddNamedValue("other", "1");
    node->NodeAddNamedValue("id", "2");
    node->NodeAddNamedValue("id", "3");
    unsigned long value = kUntouched;
    EXPECT_EQ(XmlHelper::RESULT_OK, XmlHelper::fromXml(value, *node, "id"));
    EXPECT_EQ(2U, value);
}

TEST(XmlHelper, NumberIsReadFromTheNodeItselfWithoutANameOrWithItsOwn) {
    const auto node = NewNode("device", "5");
    node->NodeAddNamedValue("device", "6");
    unsigned long value = kUntouched;
    EXPECT_EQ(XmlHelper::RESULT_OK, XmlHelper::fromXml(value, *node, nullptr));
    EXPECT_EQ(5U, value);
    value = kUntouched;
    EXPECT_EQ(XmlHelper::RESULT_OK, XmlHelper::fromXml(value, *node, "device"));
    EXPECT_EQ(5U, value);
}

TEST(XmlHelper, MissingChildLeavesTheValueAlone) {
    unsigned long value = kUntouched;
    EXPECT_EQ(XmlHelper::RESULT_NO_VALUE, XmlHelper::fromXml(value, *NewNode("a", "5"), "id"));
    EXPECT_EQ(kUntouched, value);
}

TEST(XmlHelper, StrictNumbersAreRead) {
    const std::pair<const char*, unsigned long> table[] = {{"0", 0},
                                                           {"4294967295", 4294967295UL},
                                                           {" 7 ", 7},
                                                           {"\r\n\t\v\f7\n", 7},
                                                           {"000000000000000000000000000007", 7}};
    for (const auto& [text, expected] : table) {
        unsigned long value = kUntouched;
        EXPECT_EQ(XmlHelper::RESULT_OK, XmlHelper::fromXml(value, *NewNode("a", text), nullptr)) << text;
        EXPECT_EQ(expected, value) << text;
    }
}

TEST(XmlHelper, AllElseIsRefusedAndLeavesTheValueAlone) {
    using namespace std::string_literals;
    for (const auto& text :
         {""s, " "s, "-1"s, "+1"s, "-0"s, "x"s, "1x"s, "1 2"s, "0x1"s, "1.0"s, "4294967296"s, "4294967295 0"s,
          "99999999999999999999"s, "18446744073709551617"s, "1\0"s}) {
        unsigned long value = kUntouched;
        EXPECT_EQ(XmlHelper::RESULT_BAD_NUMBER, XmlHelper::fromXml(value, *NewNode("a", text), nullptr))
            << text;
        EXPECT_EQ(kUntouched, value) << text;
    }
}

TEST(XmlHelper, FailuresAreNegativeAndTellApart) {
    EXPECT_LT(XmlHelper::RESULT_BAD_NUMBER, 0);
    EXPECT_LT(XmlHelper::RESULT_NO_VALUE, 0);
    for (const long code : {XmlHelper::RESULT_BAD_NUMBER, XmlHelper::RESULT_NO_VALUE}) {
        EXPECT_NE(XmlHelper::RESULT_NO_CONTAINER, code);
        EXPECT_NE(XmlHelper::RESULT_NOT_FOUND, code);
    }
}

TEST(XmlHelper, AddedChildIsReturnedAndHeldByItsParent) {
    const auto node = NewNode("a");
    DvXML::INode* child = XmlHelper::AddChild(*node, "devices", "x");
    ASSERT_NE(nullptr, child);
    EXPECT_EQ(child, node->NodeChildAt(0));
    child->NodeAddNamedInt("device", 1);
    EXPECT_EQ("<a><devices>x<device>1</device></devices></a>", node->NodeToText());
}

TEST(XmlHelper, AddedChildWithoutTextIsEmpty) {
    const auto node = NewNode("a");
    EXPECT_NE(nullptr, XmlHelper::AddChild(*node, "b", nullptr));
    EXPECT_EQ("<a><b/></a>", node->NodeToText());
}

TEST(XmlHelper, ChildWithoutANameIsRefused) {
    const auto node = NewNode("a");
    EXPECT_EQ(nullptr, XmlHelper::AddChild(*node, nullptr, "x"));
    EXPECT_EQ(nullptr, XmlHelper::AddChild(*node, "", "x"));
    EXPECT_EQ("<a/>", node->NodeToText());
}

}  // namespace
