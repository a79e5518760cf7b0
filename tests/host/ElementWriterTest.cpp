// Elements that records describe: their text, their nodes, and elements that are still a text.
#include "host/xml/ElementWriter.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <thread>

#include "host/glue/LiveObjects.h"
#include "tests/host/Xml.h"

namespace {

using DvXML::CreateXmlNode;
using DvXML::ElementText;
using DvXML::ElementWriter;
using DvXML::INode;

using NodePtr = dv::auto_com<INode>;

constexpr char kBell[] = "<bell loud=\"true\">front<tone>a&lt;b</tone><list><id>7</id></list><empty/></bell>";

void WriteBell(ElementWriter& writer) {
    writer.Begin("bell");
    writer.Attribute("loud", "true");
    writer.Text("front");
    writer.NamedValue("tone", "a<b");
    writer.Begin("list");
    writer.NamedValue("id", "7");
    writer.End();
    writer.NamedValue("empty", "");
    writer.End();
}

ElementText BellText() {
    ElementWriter writer;
    WriteBell(writer);
    return writer.TakeExactText();
}

NodePtr Bell() {
    return CreateXmlNode(BellText());
}

NodePtr BellOfNodes() {
    ElementWriter writer(ElementWriter::Form::kNodes);
    WriteBell(writer);
    return writer.TakeNodes();
}

/// An element with an attribute, a text and child elements of one text.
struct Description {
    std::string name = "a";
    std::string value = {};
    std::string text = {};
    std::vector<std::string> children = {};
    std::string childText = {};

    void Write(ElementWriter& writer) const {
        writer.Begin(name);
        writer.Attribute("k", value);
        writer.Text(text);
        for (const std::string& child : children)
            writer.NamedValue(child, childText);
        writer.End();
    }

    ElementText ExactText() const {
        ElementWriter writer;
        Write(writer);
        return writer.TakeExactText();
    }
    std::string Text() const {
        ElementWriter writer;
        Write(writer);
        return writer.TakeText();
    }
    NodePtr Nodes() const {
        ElementWriter writer(ElementWriter::Form::kNodes);
        Write(writer);
        return writer.TakeNodes();
    }
};

bool AreSame(const INode& left, const INode& right) {
    if (left.NodeGetName() != right.NodeGetName() || left.NodeGetText() != right.NodeGetText() ||
        left.NodeGetAttribute("k") != right.NodeGetAttribute("k") ||
        left.NodeChildCount() != right.NodeChildCount()) {
        return false;
    }
    for (std::size_t at = 0; at < left.NodeChildCount(); ++at)
        if (!AreSame(*left.NodeChildAt(at), *right.NodeChildAt(at))) return false;
    return true;
}

TEST(ElementWriter, WritesWhatItIsTold) {
    EXPECT_EQ(kBell, *BellText());
    EXPECT_EQ(kBell, BellOfNodes()->NodeToText());
}

TEST(ElementWriter, PutsInWhatHasBeenWrittenBefore) {
    ElementWriter writer;
    writer.Begin("bells");
    writer.Written(kBell);
    writer.Written(kBell);
    writer.End();
    EXPECT_EQ(std::string("<bells>") + kBell + kBell + "</bells>", writer.TakeText());
}

TEST(ElementWriter, HasAnExactTextOfWhatXmlCarries) {
    for (const std::string text : {"", "a", " a ", " ", "\r\n\t", "<&>\"'", "K\xC3\xBC\x63he", "\x7F"})
        EXPECT_NE(nullptr, (Description{.value = text, .text = text}.ExactText())) << text;
    EXPECT_NE(nullptr, (Description{.text = " a", .children = {"c"}, .childText = " "}.ExactText()));
    EXPECT_NE(nullptr, (Description{.name = "\xC3\xBC:_-.9"}.ExactText()));
}

TEST(ElementWriter, HasNoExactTextOfWhatTheReaderWouldChange) {
    for (const std::string& text : {std::string("\x01"), std::string(1, '\0'), std::string("\xFF"),
                                    std::string("\xED\xA0\x80"), std::string("\xEF\xBF\xBE")}) {
        EXPECT_EQ(nullptr, (Description{.value = text}.ExactText())) << text;
        EXPECT_EQ(nullptr, (Description{.text = text}.ExactText())) << text;
        EXPECT_EQ(nullptr, (Description{.children = {"c"}, .childText = text}.ExactText())) << text;
    }
    for (const std::string name : {"", "9", "a b", "<", "\xFF", "\xC3\x97"}) {
        EXPECT_EQ(nullptr, (Description{.name = name}.ExactText())) << name;
        EXPECT_EQ(nullptr, (Description{.children = {name}}.ExactText())) << name;
    }
    for (const std::string blank : {" ", "\t", "\n", "\r", " \r\n\t"})
        EXPECT_EQ(nullptr, (Description{.text = blank, .children = {"c"}}.ExactText())) << blank;
}

TEST(ElementWriter, HasNoExactTextBeyondTheBoundsOfTheReader) {
    const auto isExact = [](std::size_t depth) {
        ElementWriter writer;
        for (std::size_t level = 0; level < depth; ++level)
            writer.Begin("a");
        for (std::size_t level = 0; level < depth; ++level)
            writer.End();
        const ElementText text = writer.TakeExactText();
        return text && !CreateXmlNode(text)->NodeGetName().empty();
    };
    EXPECT_TRUE(isExact(DvXML::ParseLimits::kMaxDepth));
    EXPECT_FALSE(isExact(DvXML::ParseLimits::kMaxDepth + 1));

    Description large{.text = "x"};
    large.text.resize(1 + DvXML::ParseLimits::kMaxTextBytes - large.Text().size(), 'x');
    EXPECT_NE(nullptr, large.ExactText());
    large.text += 'x';
    EXPECT_EQ(nullptr, large.ExactText());
}

// Whatever a record holds: its text says the same as its nodes, and is exact just when the reader makes the
// same nodes of it.
TEST(ElementWriter, WritesAnyBytesAsTheirNodesAreWritten) {
    std::mt19937 random;
    const auto bytes = [&random] {
        constexpr char kSome[] = "a1_:-. \t\r\n\"&<>/\0\xC3\xA4\xE2\x82\xAC\xFF\xEF\xBF\xBE";
        std::string drawn;
        for (auto left = random() % 4; left > 0; --left)
            drawn += kSome[random() % (sizeof kSome - 1)];
        return drawn;
    };
    int exact = 0;
    for (int round = 0; round < 20'000; ++round) {
        Description description{"a" + bytes(), bytes(), bytes(), {}, bytes()};
        for (auto left = random() % 3; left > 0; --left)
            description.children.push_back("c" + bytes());
        const NodePtr nodes = description.Nodes();
        EXPECT_EQ(nodes->NodeToText(), description.Text());
        const auto reread = test::Parse(description.Text());
        const ElementText text = description.ExactText();
        ASSERT_EQ(AreSame(*nodes, *reread->DocumentGetRoot()), text != nullptr) << description.Text();
        if (!text) continue;
        ++exact;
        EXPECT_TRUE(AreSame(*nodes, *CreateXmlNode(text)));
    }
    EXPECT_LT(500, exact);
    EXPECT_GT(19'000, exact);
}

TEST(ElementWriter, KeepsEveryByteInNodes) {
    const std::string bytes("\0\x01 <\xFF", 5);
    const NodePtr node = Description{bytes, bytes, bytes, {bytes}, bytes}.Nodes();
    EXPECT_EQ(bytes, node->NodeGetName());
    EXPECT_EQ(bytes, node->NodeGetAttribute("k"));
    EXPECT_EQ(bytes, node->NodeGetText());
    EXPECT_EQ(bytes, node->NodeGetNamedValue(bytes));
}

TEST(WrittenElement, IsWrittenAsItStands) {
    const NodePtr list = test::NewNode("bells");
    list->NodeAddChild(Bell().get());
    list->NodeAddChild(Bell().get());
    EXPECT_EQ(std::string("<bells>") + kBell + kBell + "</bells>", list->NodeToText());
    EXPECT_EQ(kBell, Bell()->NodeToText());
}

TEST(WrittenElement, AnswersWhoeverLooksIntoIt) {
    EXPECT_EQ("bell", Bell()->NodeGetName());
    EXPECT_EQ("front", Bell()->NodeGetText());
    EXPECT_EQ(0, Bell()->NodeGetIntValue());
    EXPECT_EQ("a<b", Bell()->NodeGetNamedValue("tone"));
    EXPECT_EQ(0, Bell()->NodeGetNamedInt("tone"));
    EXPECT_EQ(3U, Bell()->NodeChildCount());
    EXPECT_EQ("true", Bell()->NodeGetAttribute("loud"));
    EXPECT_TRUE(Bell()->NodeGetBoolAttribute("loud"));
    const NodePtr element = Bell();
    ASSERT_NE(nullptr, element->NodeChildAt(2));
    EXPECT_EQ("empty", element->NodeChildAt(2)->NodeGetName());
    EXPECT_EQ(nullptr, element->NodeChildAt(3));
    EXPECT_EQ(7, element->NodeFindChild("list")->NodeGetNamedInt("id"));
    EXPECT_EQ(kBell, element->NodeToText());
}

TEST(WrittenElement, IsFoundByNameAmongTheChildrenOfATree) {
    const NodePtr list = test::NewNode("bells");
    list->NodeAddChild(Bell().get());
    ASSERT_NE(nullptr, list->NodeFindChild("bell"));
    EXPECT_EQ("front", list->NodeGetNamedValue("bell"));
}

TEST(WrittenElement, ShowsTheSameChildrenEachTime) {
    const NodePtr element = Bell();
    const INode* const list = element->NodeFindChild("list");
    EXPECT_EQ(list, element->NodeChildAt(1));
    EXPECT_EQ(list, element->NodeFindChild("list"));
}

TEST(WrittenElement, IsChangedByItsHolderAlone) {
    const ElementText text = BellText();
    const NodePtr changed = CreateXmlNode(text);
    const NodePtr other = CreateXmlNode(text);
    changed->NodeAddNamedValue("new", "1");
    changed->NodeSetAttribute("loud", "false");
    changed->NodeFindChild("list")->NodeAddNamedInt("id", 8);
    EXPECT_EQ(
        "<bell loud=\"false\">front<tone>a&lt;b</tone><list><id>7</id><id>8</id></list><empty/>"
        "<new>1</new></bell>",
        changed->NodeToText());
    EXPECT_EQ(kBell, other->NodeToText());
    EXPECT_EQ(kBell, *text);
}

// Everything that changes a node, as the first that is done with it.
TEST(WrittenElement, MayBeChangedBeforeAnybodyLooksIntoIt) {
    const std::pair<const char*, std::function<void(INode&)>> changes[] = {
        {"NodeAddChild", [](INode& node) { node.NodeAddChild(Bell().get()); }},
        {"NodeAddNamedValue", [](INode& node) { node.NodeAddNamedValue("v", " "); }},
        {"NodeAddNamedInt", [](INode& node) { node.NodeAddNamedInt("v", -1); }},
        {"NodeAddNamedULong", [](INode& node) { node.NodeAddNamedULong("v", 1); }},
        {"NodeAddNamedBool", [](INode& node) { node.NodeAddNamedBool("v", true); }},
        {"NodeSetAttribute", [](INode& node) { node.NodeSetAttribute("loud", "\x01"); }},
        {"NodeSetBoolAttribute", [](INode& node) { node.NodeSetBoolAttribute("v", true); }},
        {"NodeAddChild of itself", [](INode& node) { node.NodeAddChild(&node); }},
        {"NodeAddChild of null", [](INode& node) { node.NodeAddChild(nullptr); }}};
    for (const auto& [name, change] : changes) {
        const NodePtr written = Bell();
        const NodePtr ofNodes = BellOfNodes();
        change(*written);
        change(*ofNodes);
        EXPECT_EQ(ofNodes->NodeToText(), written->NodeToText()) << name;
        EXPECT_EQ(ofNodes->NodeChildCount(), written->NodeChildCount()) << name;
    }
}

TEST(WrittenElement, MayHaveTwoParentsAndRefusesACycle) {
    const NodePtr element = Bell();
    const NodePtr first = test::NewNode("first");
    const NodePtr second = test::NewNode("second");
    first->NodeAddChild(element.get());
    second->NodeAddChild(element.get());
    element->NodeAddChild(first.get());
    EXPECT_EQ(3U, element->NodeChildCount());
    element->NodeAddNamedValue("new", "1");
    EXPECT_EQ("1", second->NodeFindChild("bell")->NodeGetNamedValue("new"));
    EXPECT_EQ(first->NodeFindChild("bell")->NodeToText(), second->NodeFindChild("bell")->NodeToText());
}

TEST(WrittenElement, IsOneObjectUntilSomebodyLooksIntoIt) {
    const long alive = dv::LiveObjects::Count();
    const NodePtr element = Bell();
    EXPECT_EQ(kBell, element->NodeToText());
    const auto made = [alive] { return dv::LiveObjects::Count() - alive; };
#ifdef DVHOST_COUNT_OBJECTS
    EXPECT_EQ(1, made());
    element->NodeGetName();
    EXPECT_EQ(5, made());  // with those within it
#else
    EXPECT_EQ(0, made());
#endif
}

TEST(WrittenElement, MayBeLookedIntoAndReleasedOnAnotherThread) {
    NodePtr element = Bell();
    const NodePtr held = Bell();
    std::thread([element = std::move(element), &held] {
        EXPECT_EQ("front", element->NodeGetText());
        EXPECT_EQ(3U, held->NodeChildCount());
    }).join();
    EXPECT_EQ(kBell, held->NodeToText());
}

}  // namespace
