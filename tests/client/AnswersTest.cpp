#include "client/Answers.h"

#include <gtest/gtest.h>

namespace {

std::string Shown(const std::string& xml) {
    return Indented(xml).value_or("(not XML)");
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
              Shown("<param>42<name>iditem</name></param>"));
    EXPECT_EQ("<p>\n  1\n  <a/>\n  2 &amp; 3\n</p>\n", Shown("<p>1<a/>2 &amp; 3</p>"));
}

TEST(IndentedXml, WhiteSpaceBetweenChildrenIsLeftOut) {
    EXPECT_EQ("<a>\n  <b/>\n</a>\n", Shown("<a>\n\t <b/>\n</a>"));
}

TEST(IndentedXml, AttributesAreKept) {
    EXPECT_EQ("<a x=\"1 &lt; &quot;2&quot;\" y=\"\"/>\n", Shown("<a x='1 &lt; \"2\"' y=''/>"));
}

TEST(IndentedXml, WhatStandsInNoElementIsLeftOut) {
    EXPECT_EQ("<a>\n  <b/>\n</a>\n", Shown("<?xml version='1.0'?>\n<!-- b --><a><!-- c --><b/></a>\n"));
}

TEST(IndentedXml, NothingInATextIsExpanded) {
    const std::string text = "<a>&b; <![CDATA[<c>]]> &#233;</a>";
    EXPECT_EQ(text + "\n", Shown(text));
}

TEST(IndentedXml, WhatIsNotXmlIsSaidToBeNone) {
    for (const std::string text : {"", "text", "<a>", "<a><b></a>", "<a/><b/>", "<a/>text", "text<a/>",
                                   "<!DOCTYPE a><a/>", "<a b></a>", "<a"})
        EXPECT_EQ("(not XML)", Shown(text)) << text;
    using namespace std::string_literals;
    EXPECT_EQ("(not XML)", Shown("<a/>\0<b/>"s));
}

TEST(IndentedXml, ADepthThatNobodySendsIsRefused) {
    const auto nested = [](int depth) {
        std::string begin;
        std::string end;
        for (int level = 0; level < depth; ++level) {
            begin += "<a>";
            end += "</a>";
        }
        return begin + end;
    };
    EXPECT_NE("(not XML)", Shown(nested(256)));
    EXPECT_EQ("(not XML)", Shown(nested(257)));
    EXPECT_EQ("(not XML)", Shown(nested(100'000)));
}

TEST(ParsedXml, ValuesAreDecoded) {
    const pugi::xml_document document = ParseXml("<a><b>1 &lt; 2&#10;</b><c> </c></a>");
    EXPECT_STREQ("1 < 2\n", document.document_element().child_value("b"));
    EXPECT_STREQ(" ", document.document_element().child_value("c"));
}
