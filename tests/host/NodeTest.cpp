// The tree itself: what nodes keep, share and refuse.
#include <gmock/gmock.h>

#include "tests/host/Xml.h"

namespace {

using DvXML::CreateXmlNode;
using DvXML::INode;
using test::NewNode;
using testing::ElementsAre;

using NodePtr = dv::auto_com<INode>;

std::vector<std::string> ChildTexts(const INode& node) {
    std::vector<std::string> texts;
    for (const INode* child : node.NodeChildren())
        texts.emplace_back(child->NodeGetText());
    return texts;
}

TEST(Node, IsMadeFromTextNumberOrBoolean) {
    EXPECT_EQ("<a>x</a>", CreateXmlNode("a", std::string("x"))->NodeToText());
    EXPECT_EQ("<a>x</a>", CreateXmlNode("a", "x")->NodeToText());
    EXPECT_EQ("<timeout>-7</timeout>", CreateXmlNode("timeout", -7)->NodeToText());
    EXPECT_EQ("<external>true</external>", CreateXmlNode("external", true)->NodeToText());
    EXPECT_EQ("<external>false</external>", CreateXmlNode("external", false)->NodeToText());
}

TEST(Node, FromNullTextIsEmpty) {
    EXPECT_EQ("<a/>", CreateXmlNode("a", static_cast<const char*>(nullptr))->NodeToText());
}

TEST(Node, MadeOfNothingHasNeitherNameNorText) {
    const NodePtr node = CreateXmlNode();
    EXPECT_EQ("", node->NodeGetName());
    EXPECT_EQ("", node->NodeGetText());
    EXPECT_EQ(0U, node->NodeChildCount());
}

TEST(Node, KeepsEveryByteOfNameAndText) {
    const std::string bytes("\0\x01 \r\n<&\xFF\xED\xA0\x80", 12);
    const NodePtr node = CreateXmlNode(bytes, bytes);
    EXPECT_EQ(bytes, node->NodeGetName());
    EXPECT_EQ(bytes, node->NodeGetText());
}

TEST(Node, NamedValuesAreAppendedAndNeverReplaced) {
    const NodePtr node = NewNode("a");
    node->NodeAddNamedValue("v", "1");
    node->NodeAddNamedValue("v", "2");
    EXPECT_THAT(ChildTexts(*node), ElementsAre("1", "2"));
    EXPECT_EQ("1", node->NodeGetNamedValue("v"));
}

TEST(Node, NamedNumbersAndBooleansAreTheirText) {
    const NodePtr node = NewNode("a");
    node->NodeAddNamedInt("i", -2147483647 - 1);
    node->NodeAddNamedULong("u", 4294967295UL);
    node->NodeAddNamedBool("t", true);
    node->NodeAddNamedBool("f", false);
    EXPECT_EQ("<a><i>-2147483648</i><u>4294967295</u><t>true</t><f>false</f></a>", node->NodeToText());
}

TEST(Node, IntegersAreReadByTheCommonRules) {
    EXPECT_EQ(42, NewNode("a", " 42x")->NodeGetIntValue());
    EXPECT_EQ(0, NewNode("a", "junk")->NodeGetIntValue());
    const NodePtr node = NewNode("a");
    node->NodeAddNamedValue("n", "99999999999999999999");
    EXPECT_EQ(2147483647, node->NodeGetNamedInt("n"));
}

TEST(Node, AbsentNamesReadAsNothing) {
    const NodePtr node = NewNode("a", "text");
    EXPECT_EQ("", node->NodeGetNamedValue("no"));
    EXPECT_EQ(0, node->NodeGetNamedInt("no"));
    EXPECT_EQ(nullptr, node->NodeFindChild("no"));
    EXPECT_EQ("", node->NodeGetAttribute("no"));
    EXPECT_FALSE(node->NodeGetBoolAttribute("no"));
    EXPECT_EQ(nullptr, node->NodeChildAt(0));
}

TEST(Node, FindsTheFirstChildOfThatNameOnly) {
    const NodePtr node = NewNode("a");
    const NodePtr inner = NewNode("inner");
    inner->NodeAddNamedValue("deep", "1");
    node->NodeAddChild(inner.get());
    node->NodeAddNamedValue("v", "first");
    node->NodeAddNamedValue("v", "second");
    EXPECT_EQ(node->NodeChildAt(1), node->NodeFindChild("v"));
    EXPECT_EQ(nullptr, node->NodeFindChild("deep"));
    EXPECT_EQ(nullptr, node->NodeFindChild("V"));
}

TEST(Node, AttributesAreReplacedAndKeepTheirOrder) {
    const NodePtr node = NewNode("a");
    node->NodeSetAttribute("x", "1");
    node->NodeSetAttribute("y", "2");
    node->NodeSetAttribute("x", "3");
    EXPECT_EQ("<a x=\"3\" y=\"2\"/>", node->NodeToText());
    EXPECT_EQ("3", node->NodeGetAttribute("x"));
}

TEST(Node, AttributesMayBeSetFromTheirOwnTexts) {
    const NodePtr node = NewNode("a");
    node->NodeSetAttribute("first", "short");
    for (const std::string name : {"b", "c", "d", "e", "f"}) {
        node->NodeSetAttribute(name, node->NodeGetAttribute("first"));
    }
    node->NodeSetAttribute("f", node->NodeGetAttribute("f").substr(1));
    EXPECT_EQ("hort", node->NodeGetAttribute("f"));
    EXPECT_EQ("short", node->NodeGetAttribute("e"));
}

TEST(Node, BooleanAttributesAreWrittenAndReadTolerantly) {
    const NodePtr node = NewNode("a");
    node->NodeSetBoolAttribute("t", true);
    node->NodeSetBoolAttribute("f", false);
    EXPECT_EQ("<a t=\"true\" f=\"false\"/>", node->NodeToText());
    EXPECT_TRUE(node->NodeGetBoolAttribute("t"));
    EXPECT_FALSE(node->NodeGetBoolAttribute("f"));
    node->NodeSetAttribute("f", " TRUE ");
    EXPECT_TRUE(node->NodeGetBoolAttribute("f"));
}

TEST(Node, NullChildIsIgnored) {
    const NodePtr node = NewNode("a");
    node->NodeAddChild(nullptr);
    EXPECT_EQ(0U, node->NodeChildCount());
}

TEST(Node, ChildLivesOnWithItsParent) {
    const NodePtr parent = NewNode("a");
    {
        const NodePtr child = NewNode("b", "x");
        parent->NodeAddChild(child.get());
    }
    EXPECT_EQ("<a><b>x</b></a>", parent->NodeToText());
}

TEST(Node, ChildOutlivesItsParentWhenSomebodyHoldsIt) {
    NodePtr parent = NewNode("a");
    const NodePtr child = NewNode("b", "x");
    parent->NodeAddChild(child.get());
    parent.reset();
    EXPECT_EQ("<b>x</b>", child->NodeToText());
}

TEST(Node, MayHaveTwoParentsAndStandTwiceInOne) {
    const NodePtr child = NewNode("c");
    const NodePtr first = NewNode("a");
    NodePtr second = NewNode("b");
    first->NodeAddChild(child.get());
    first->NodeAddChild(child.get());
    second->NodeAddChild(child.get());
    second.reset();
    child->NodeAddNamedValue("v", "1");
    EXPECT_EQ("<a><c><v>1</v></c><c><v>1</v></c></a>", first->NodeToText());
}

TEST(Node, IsNotAddedToItself) {
    const NodePtr node = NewNode("a");
    node->NodeAddChild(node.get());
    EXPECT_EQ("<a/>", node->NodeToText());
}

TEST(Node, CycleIsRefused) {
    const NodePtr top = NewNode("a");
    const NodePtr middle = NewNode("b");
    const NodePtr bottom = NewNode("c");
    top->NodeAddChild(middle.get());
    middle->NodeAddChild(bottom.get());
    bottom->NodeAddChild(top.get());
    bottom->NodeAddChild(middle.get());
    EXPECT_EQ("<a><b><c/></b></a>", top->NodeToText());
}

TEST(Node, CycleThroughASecondParentIsRefused) {
    const NodePtr first = NewNode("a");
    const NodePtr second = NewNode("b");
    const NodePtr child = NewNode("c");
    first->NodeAddChild(child.get());
    second->NodeAddChild(child.get());
    child->NodeAddChild(second.get());
    EXPECT_EQ("<b><c/></b>", second->NodeToText());
}

TEST(Node, CycleIsFoundInATreeOfMorePathsThanCanBeWalked) {
    const NodePtr bottom = NewNode("bottom");
    NodePtr top = bottom;
    for (int level = 0; level < 64; ++level) {
        const NodePtr above = NewNode("level");
        above->NodeAddChild(top.get());
        above->NodeAddChild(top.get());
        top = above;
    }
    bottom->NodeAddChild(top.get());
    EXPECT_EQ(0U, bottom->NodeChildCount());
}

TEST(Node, MayGrowWhileItsChildrenAreWalked) {
    const NodePtr node = NewNode("a");
    node->NodeAddNamedInt("n", 0);
    for (const INode* child : node->NodeChildren()) {
        const int next = child->NodeGetIntValue() + 1;
        if (next < 100) node->NodeAddNamedInt("n", next);
    }
    EXPECT_EQ(100U, node->NodeChildCount());
}

// Far deeper than any stack would bear that took one frame a level.
constexpr std::size_t kDeep = 1'000'000;

TEST(Node, DeepTreeIsWrittenAndReleased) {
    NodePtr top = NewNode("a", "x");
    for (std::size_t depth = 1; depth < kDeep; ++depth) {
        const NodePtr above = NewNode("a");
        above->NodeAddChild(top.get());
        top = above;
    }
    const std::string text = top->NodeToText();
    EXPECT_EQ(kDeep * std::string("<a></a>").size() + 1, text.size());
    EXPECT_EQ("<a><a>", text.substr(0, 6));
}

TEST(Node, DeepTreeGrowsDownwardsToo) {
    const NodePtr top = NewNode("a");
    INode* lowest = top.get();
    for (std::size_t depth = 1; depth < kDeep; ++depth) {
        lowest->NodeAddNamedValue("a", "");
        lowest = lowest->NodeChildAt(0);
    }
    lowest->NodeAddChild(top.get());
    EXPECT_EQ(0U, lowest->NodeChildCount());
}

TEST(Node, HeldInTheMiddleOfAReleasedTreeKeepsItsOwnPart) {
    NodePtr top = NewNode("a");
    NodePtr middle = NewNode("b");
    middle->NodeAddNamedValue("c", "x");
    top->NodeAddChild(middle.get());
    top->NodeAddNamedValue("d", "y");
    top.reset();
    EXPECT_EQ("<b><c>x</c></b>", middle->NodeToText());
}

}  // namespace
