#include "client/Xml.h"

#include <gtest/gtest.h>

namespace {

std::string Shown(const std::string& xml) {
    const std::optional<Xml::Element> element = Xml::Parse(xml);
    return element ? Xml::Indented(*element) : "(not XML)";
}

}  // namespace

TEST(IndentedXml, EachElementHasItsLine) {
    EXPECT_EQ(
        "<groups>\n"
        "  <group>\n"
        "    <groupId>1</groupId>\n"
        "    <name/>\n"
        "  </group>\n"
        "</groups>\n",
        Shown("<groups><group><groupId>1</groupId><name></name></group></groups>"));
}

TEST(IndentedXml, TheTextOfALeafIsLeftAsItIs) {
    EXPECT_EQ("<a>  x &amp; &lt;y&gt;&#10;&#13; </a>\n", Shown("<a>  x &amp; &lt;y&gt;&#10;&#13; </a>"));
}

TEST(IndentedXml, TextBesideChildrenStandsOnALineOfItsOwn) {
    EXPECT_EQ("<param>\n  42\n  <name>iditem</name>\n</param>\n",
              Shown("<param><name>iditem</name>42</param>"));
}

TEST(IndentedXml, WhiteSpaceBetweenChildrenIsLeftOut) {
    EXPECT_EQ("<a>\n  <b/>\n</a>\n", Shown("<a>\n\t <b/>\n</a>"));
}

TEST(IndentedXml, AttributesAreKept) {
    EXPECT_EQ("<a x=\"1 &lt; &quot;2&quot;\" y=\"\"/>\n", Shown("<a x='1 &lt; \"2\"' y=''/>"));
}

TEST(IndentedXml, WhatIsNotXmlIsSaidToBeNone) {
    for (const char* const text : {"", "text", "<a>", "<a/><b/>", "<!DOCTYPE a><a/>", "<a>&b;</a>"})
        EXPECT_EQ("(not XML)", Shown(text)) << text;
}

TEST(IndentedXml, ADepthThatNobodySendsIsRefused) {
    std::string deep;
    for (int depth = 0; depth < 100'000; ++depth)
        deep += "<a>";
    EXPECT_EQ(std::nullopt, Xml::Parse(deep));
}

TEST(Xml, AValueIsTheTextOfTheFirstChildOfThatName) {
    const auto element = Xml::Parse("<a><b>1</b><c>2</c><b>3</b></a>");
    EXPECT_EQ("1", element->Value("b"));
    EXPECT_EQ("", element->Value("d"));
}
