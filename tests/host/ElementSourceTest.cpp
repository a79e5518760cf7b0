// Elements that stand for what a source describes.
#include "host/glue/IElementSource.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <random>

#include "host/glue/LiveObjects.h"
#include "host/glue/RefCount.h"
#include "tests/host/Xml.h"

namespace {

using DvXML::CreateXmlNode;
using DvXML::IElementSink;

class Source final : public dv::RefCount<DvXML::IElementSource> {
public:
    using Description = std::function<void(IElementSink&)>;
    explicit Source(Description description) : description_(std::move(description)) {}

    void Describe(IElementSink& sink) const override {
        ++described;
        description_(sink);
    }
    const std::string& ElementText() const override {
        ++asked;
        DvXML::WriteElement(*this, text_);
        return text_;
    }

    mutable int described = 0;
    mutable int asked = 0;

private:
    ~Source() override = default;

    const Description description_;
    mutable std::string text_;
};

dv::auto_com<Source> NewSource(Source::Description description) {
    return dv::auto_com<Source>::adopt(new Source(std::move(description)));
}

dv::auto_com<Source> Bell() {
    return NewSource([](IElementSink& sink) {
        sink.Begin("bell");
        sink.Attribute("loud", "true");
        sink.Text("front");
        sink.NamedValue("tone", "a<b");
        sink.Begin("list");
        sink.NamedValue("id", "7");
        sink.End();
        sink.NamedValue("empty", "");
        sink.End();
    });
}

constexpr char kBell[] = "<bell loud=\"true\">front<tone>a&lt;b</tone><list><id>7</id></list><empty/></bell>";

TEST(ElementSource, GivesItsTextWithoutMakingTheElement) {
    const auto source = Bell();
    const auto list = test::NewNode("bells");
    list->NodeAddChild(CreateXmlNode(*source).get());
    list->NodeAddChild(CreateXmlNode(*source).get());
    EXPECT_EQ(std::string("<bells>") + kBell + kBell + "</bells>", list->NodeToText());
    EXPECT_EQ(2, source->asked);
    EXPECT_EQ(kBell, CreateXmlNode(*source)->NodeToText());
}

TEST(ElementSource, MakesTheElementForWhoeverLooksIntoIt) {
    const auto source = Bell();
    EXPECT_EQ("bell", CreateXmlNode(*source)->NodeGetName());
    EXPECT_EQ("front", CreateXmlNode(*source)->NodeGetText());
    EXPECT_EQ(0, CreateXmlNode(*source)->NodeGetIntValue());
    EXPECT_EQ("a<b", CreateXmlNode(*source)->NodeGetNamedValue("tone"));
    EXPECT_EQ(3U, CreateXmlNode(*source)->NodeChildCount());
    EXPECT_TRUE(CreateXmlNode(*source)->NodeGetBoolAttribute("loud"));
    const auto element = CreateXmlNode(*source);
    ASSERT_NE(nullptr, element->NodeChildAt(2));
    EXPECT_EQ("empty", element->NodeChildAt(2)->NodeGetName());
    EXPECT_EQ(7, element->NodeFindChild("list")->NodeGetNamedInt("id"));
    EXPECT_EQ(kBell, element->NodeToText());
    EXPECT_EQ(0, source->asked);
}

TEST(ElementSource, IsFoundByNameAmongTheChildrenOfATree) {
    const auto list = test::NewNode("bells");
    list->NodeAddChild(CreateXmlNode(*Bell()).get());
    ASSERT_NE(nullptr, list->NodeFindChild("bell"));
    EXPECT_EQ("front", list->NodeGetNamedValue("bell"));
}

TEST(ElementSource, IsDescribedOnceForAnElementAndThenLeftAlone) {
    const auto source = Bell();
    const auto element = CreateXmlNode(*source);
    EXPECT_EQ(0, source->described);
    element->NodeGetName();
    element->NodeChildCount();
    element->NodeToText();
    EXPECT_EQ(1, source->described);
}

TEST(ElementSource, IsNotTouchedByWhoeverChangesItsElement) {
    const auto source = Bell();
    const auto changed = CreateXmlNode(*source);
    const auto other = CreateXmlNode(*source);
    changed->NodeAddNamedValue("new", "1");
    changed->NodeSetAttribute("loud", "false");
    changed->NodeFindChild("list")->NodeAddNamedInt("id", 8);
    EXPECT_EQ(
        "<bell loud=\"false\">front<tone>a&lt;b</tone><list><id>7</id><id>8</id></list><empty/>"
        "<new>1</new></bell>",
        changed->NodeToText());
    EXPECT_EQ(kBell, other->NodeToText());
    EXPECT_EQ(kBell, CreateXmlNode(*source)->NodeToText());
}

TEST(ElementSource, MayBeChangedBeforeAnybodyLooksIntoItsElement) {
    const auto source = Bell();
    const auto replaced = CreateXmlNode(*source);
    replaced->NodeSetAttribute("loud", "false");
    EXPECT_EQ(1U, replaced->NodeToText().find("bell loud=\"false\">front"));
    const auto extended = CreateXmlNode(*source);
    extended->NodeSetBoolAttribute("new", true);
    EXPECT_EQ(1U, extended->NodeToText().find("bell loud=\"true\" new=\"true\">front"));
    const auto longer = CreateXmlNode(*source);
    longer->NodeAddNamedValue("last", "1");
    EXPECT_EQ("last", longer->NodeChildAt(3)->NodeGetName());
    EXPECT_EQ(kBell, CreateXmlNode(*source)->NodeToText());
}

TEST(ElementSource, TakesChildrenLikeAnyElement) {
    const auto element = CreateXmlNode(*Bell());
    element->NodeAddChild(CreateXmlNode(*Bell()).get());
    element->NodeAddChild(element.get());
    EXPECT_EQ(4U, element->NodeChildCount());
}

TEST(ElementSource, LivesAsLongAsAnElementIsNotMade) {
    const long alive = dv::LiveObjects::Count();
    const auto element = CreateXmlNode(*Bell());
    EXPECT_EQ(kBell, element->NodeToText());
    EXPECT_EQ("bell", element->NodeGetName());
    {
        const auto unseen = CreateXmlNode(*Bell());
        EXPECT_EQ(kBell, unseen->NodeToText());
    }
    element->NodeGetName();
    EXPECT_EQ(kBell, element->NodeToText());
#ifdef DVHOST_COUNT_OBJECTS
    EXPECT_EQ(alive + 5, dv::LiveObjects::Count());  // the element and those within it
#else
    EXPECT_EQ(alive, dv::LiveObjects::Count());
#endif
}

TEST(ElementSource, ThatCannotDescribeItsElementLeavesNoText) {
    const auto source = NewSource([](IElementSink& sink) {
        sink.Begin("bell");
        sink.Text(std::string(10'000, 't'));
        throw std::bad_alloc();
    });
    std::string text = "text of before";
    EXPECT_THROW(DvXML::WriteElement(*source, text), std::bad_alloc);
    EXPECT_EQ("", text);
}

TEST(ElementSource, OfAnyBytesIsWrittenAsItsNodesAre) {
    std::mt19937 random;
    const auto bytes = [&random] {
        constexpr char kSome[] = "a1_:-. \t\r\n\"&<>/\0\xC3\xA4\xE2\x82\xAC\xFF\xEF\xBF\xBE";
        std::string drawn;
        for (auto left = random() % 12; left > 0; --left)
            drawn += kSome[random() % (sizeof kSome - 1)];
        return drawn;
    };
    for (int round = 0; round < 3000; ++round) {
        const std::string name = bytes();
        const std::string inner = bytes();
        const std::string value = bytes();
        const std::string text = bytes();
        const bool hasAttribute = random() % 2 == 0;
        const bool hasChild = random() % 2 == 0;
        const auto source = NewSource([&](IElementSink& sink) {
            sink.Begin(name);
            if (hasAttribute) sink.Attribute("k", value);
            sink.Text(text);
            if (hasChild) sink.NamedValue(inner, value);
            sink.End();
        });
        EXPECT_EQ(DvXML::MakeElement(*source)->NodeToText(), CreateXmlNode(*source)->NodeToText());
    }
}

}  // namespace
