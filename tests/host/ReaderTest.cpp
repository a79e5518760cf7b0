// What the reader takes, and what it refuses with which words.
#include <gmock/gmock.h>

#include <random>

#include "tests/host/Xml.h"

namespace {

using DvXML::ParseLimits;
using test::NewNode;
using test::Parse;
using test::Reread;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string Nested(std::size_t depth) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i)
        text += "<a>";
    for (std::size_t i = 0; i < depth; ++i)
        text += "</a>";
    return text;
}

TEST(Reader, ReadsElementsTextsAndAttributes) {
    const auto document = Parse("<a k=\"v\" l='w'><b>x</b><c/>tail</a>");
    const DvXML::INode* root = document->DocumentGetRoot();
    ASSERT_NE(nullptr, root);
    EXPECT_EQ("a", root->NodeGetName());
    EXPECT_EQ("tail", root->NodeGetText());
    EXPECT_EQ("v", root->NodeGetAttribute("k"));
    EXPECT_EQ("w", root->NodeGetAttribute("l"));
    EXPECT_EQ("x", root->NodeGetNamedValue("b"));
    EXPECT_EQ(2U, root->NodeChildCount());
}

TEST(Reader, OwnTextIsThatOfTheNodeInOrderWithoutThatOfItsDescendants) {
    EXPECT_EQ("<a>one two <b>inner</b></a>", Reread("<a>one <b>inner</b>two </a>"));
    EXPECT_EQ("42", Parse("<param><name>iditem</name>42</param>")->DocumentGetRoot()->NodeGetText());
}

TEST(Reader, WhiteSpaceBetweenTagsIsDroppedWhereThereAreChildElements) {
    EXPECT_EQ("<a><b/><c/></a>", Reread("<a>\n  <b/>\r\n\t<c/>\n</a>"));
    EXPECT_EQ("<a>text<b/></a>", Reread("<a> \n<b/>text</a>"));
    EXPECT_EQ("<a>text<b/></a>", Reread("<a>text<b/> \n</a>"));
}

TEST(Reader, WhiteSpaceInALeafIsKept) {
    EXPECT_EQ("<a> &#10;\t</a>", Reread("<a> \n\t</a>"));
    EXPECT_EQ("<a><b> </b></a>", Reread("<a> <b> </b> </a>"));
}

TEST(Reader, TextIsNeverTrimmed) {
    EXPECT_EQ("<a> All <b/></a>", Reread("<a> All <b/></a>"));
    EXPECT_EQ("<a>1&#10; &#10; 2<b/></a>", Reread("<a>1\n <b/>\n 2</a>"));
}

TEST(Reader, RunGoesOnThroughCommentsInstructionsAndCdata) {
    EXPECT_EQ("<a>x y<b/></a>", Reread("<a>x<!-- - --> <?pi pi?>y<b/></a>"));
    EXPECT_EQ("<a>x <b/></a>", Reread("<a>x<![CDATA[ ]]><b/></a>"));
}

TEST(Reader, CdataIsText) {
    EXPECT_EQ("<a>&lt;b&gt;&amp;amp;</a>", Reread("<a><![CDATA[<b>&amp;]]></a>"));
}

TEST(Reader, CommentsAndInstructionsAreSkippedEverywhere) {
    EXPECT_EQ("<a><b/></a>",
              Reread("<?xml version='1.0'?><!-- c --><?p i?><a><!-- c --><b/><?p i?></a><!-- c --><?p?>\n"));
}

TEST(Reader, PredefinedEntitiesAndCharacterReferencesAreResolved) {
    EXPECT_EQ("&<>'\"", Parse("<a>&amp;&lt;&gt;&apos;&quot;</a>")->DocumentGetRoot()->NodeGetText());
    EXPECT_EQ("\r\n\xE2\x82\xAC", Parse("<a>&#13;&#xA;&#x20AC;</a>")->DocumentGetRoot()->NodeGetText());
}

TEST(Reader, LineBreaksOfAllKindsAreOneLineFeed) {
    EXPECT_EQ("1\n2\n3\n4", Parse("<a>1\n2\r\n3\r4</a>")->DocumentGetRoot()->NodeGetText());
}

TEST(Reader, NameWithAColonIsJustAName) {
    EXPECT_EQ("<a:b c:d=\"1\"><e:f/></a:b>", Reread("<a:b c:d='1'><e:f/></a:b>"));
}

TEST(Reader, ByteOrderMarkAndDeclarationAreTaken) {
    EXPECT_EQ("<a/>", Reread("\xEF\xBB\xBF<a/>"));
    EXPECT_EQ("<a/>", Reread("<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\"?><a/>"));
}

TEST(Reader, ErrorTellsLineColumnAndReason) {
    EXPECT_EQ("error: line 3, column 6: mismatched tag", Reread("<a>\n<b>\n   </c></b></a>"));
    EXPECT_EQ("error: line 1, column 5: junk after document element", Reread("<a/>text"));
    EXPECT_EQ("error: line 1, column 5: junk after document element", Reread("<a/><a/>"));
    EXPECT_EQ("error: line 1, column 1: there is no element", Reread(""));
    EXPECT_EQ("error: line 2, column 1: there is no element", Reread("<!-- -->\n"));
    EXPECT_EQ("error: line 1, column 7: the text ends before the root element does", Reread("<a><b>"));
    EXPECT_EQ("error: line 1, column 4: undefined entity", Reread("<a>&nbsp;</a>"));
    EXPECT_EQ("error: line 1, column 10: duplicate attribute", Reread("<a k='1' k='2'/>"));
}

TEST(Reader, ErrorQuotesNothingOfTheDocument) {
    for (const std::string text :
         {"<user><password>secret</user>", "<secret>&secret;</secret>",
          "<a secret='secret' secret='secret'/>", "<?xml version='1.0' encoding='secret'?><a/>",
          "<!DOCTYPE secret><a/>", "<a/>secret"}) {
        EXPECT_THAT(Reread(text), StartsWith("error: "));
        EXPECT_THAT(Reread(text), Not(HasSubstr("secret"))) << text;
    }
}

TEST(Reader, CharactersThatXmlForbidsAreRefused) {
    for (const std::string text : {"<a>\x01</a>", "<a>&#1;</a>", "<a>&#0;</a>", "<a>&#xD800;</a>",
                                   "<a>&#xFFFE;</a>", "<a>&#x110000;</a>", "<a>\xEF\xBF\xBF</a>",
                                   "<a>\xFF</a>", "<a>\xC0\xAF</a>", "<a>\xED\xA0\x80</a>"}) {
        EXPECT_THAT(Reread(text), StartsWith("error: line 1, column 4: ")) << text;
    }
    EXPECT_THAT(Reread(std::string("<a>\0</a>", 8)), StartsWith("error: line 1, column 4: "));
}

TEST(Reader, OtherEncodingsAreRefused) {
    EXPECT_THAT(Reread("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xFC</a>"), HasSubstr("UTF-8"));
    EXPECT_THAT(Reread("<?xml version='1.0' encoding='UTF-16'?><a/>"), HasSubstr("UTF-8"));
    EXPECT_THAT(Reread("<?xml version='1.0' encoding='no-such'?><a/>"), HasSubstr("UTF-8"));
    using namespace std::string_view_literals;
    for (const auto text :
         {"<\0a\0/\0>\0"sv, "\0<\0a\0/\0>"sv, "\xFF\xFE<\0a\0/\0>\0"sv, "\xFE\xFF\0<\0a\0/\0>"sv}) {
        EXPECT_EQ("error: line 1, column 1: the document is not in UTF-8; convert it", Reread(text));
    }
}

TEST(Reader, DocumentTypeIsRefused) {
    const std::string refusal = "a document type declaration is not allowed; remove it";
    for (const std::string text :
         {"<!DOCTYPE a><a/>", "<!DOCTYPE a SYSTEM 'a.dtd'><a/>", "<!DOCTYPE a [<!ENTITY x 'y'>]><a>&x;</a>",
          "<!DOCTYPE a [<!ATTLIST a k CDATA 'default'>]><a/>"}) {
        EXPECT_THAT(Reread(text), HasSubstr(refusal)) << text;
    }
}

TEST(Reader, EntitiesOfEntitiesAreNotExpanded) {
    std::string text = "<!DOCTYPE lolz [<!ENTITY lol 'lol'>";
    std::string previous = "lol";
    for (int level = 1; level < 10; ++level) {
        const std::string entity = "lol" + std::to_string(level);
        text += "<!ENTITY " + entity + " '";
        for (int i = 0; i < 10; ++i)
            text += "&" + previous + ";";
        text += "'>";
        previous = entity;
    }
    EXPECT_THAT(Reread(text + "]><lolz>&lol9;</lolz>"), HasSubstr("document type declaration"));
}

TEST(Reader, ExternalEntityIsNotFetched) {
    const std::string text = "<!DOCTYPE a [<!ENTITY x SYSTEM 'file:///etc/passwd'>]><a>&x;</a>";
    EXPECT_THAT(Reread(text), HasSubstr("document type declaration"));
    EXPECT_THAT(Reread(text), Not(HasSubstr("root")));
}

TEST(Reader, DepthIsBounded) {
    EXPECT_EQ(128U, ParseLimits::kMaxDepth);
    EXPECT_THAT(Reread(Nested(128)), StartsWith("<a><a>"));
    EXPECT_EQ("error: line 1, column 385: more than 128 elements within each other", Reread(Nested(129)));
    EXPECT_THAT(Reread(Nested(100'000)), HasSubstr("more than 128 elements"));
}

TEST(Reader, ManyElementsSideBySideAreNotDeep) {
    std::string text = "<a>";
    for (int i = 0; i < 100'000; ++i)
        text += "<b><c/></b>";
    text += "</a>";
    EXPECT_EQ(100'000U, Parse(text)->DocumentGetRoot()->NodeChildCount());
}

TEST(Reader, LargeTextIsRead) {
    const std::string content(50UL * 1024 * 1024, 'x');
    const auto document = Parse("<a>" + content + "</a>");
    ASSERT_NE(nullptr, document->DocumentGetRoot());
    EXPECT_TRUE(content == document->DocumentGetRoot()->NodeGetText());
}

TEST(Reader, SizeIsBounded) {
    std::string text = "<a/>";
    text.resize(ParseLimits::kMaxTextBytes, ' ');
    EXPECT_EQ("<a/>", Reread(text));
    EXPECT_EQ("error: the document is larger than 67108864 bytes", Reread(text + " "));
}

constexpr char kSample[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><!-- c --><home k='v &amp; w'>\n  <driver "
    "id=\"1\">K\xC3\xBC\x63he "
    "&#8364;</driver><![CDATA[<x>]]> own\n</home>";

TEST(Reader, EveryTruncationIsRefused) {
    const std::string whole = kSample;
    ASSERT_THAT(Reread(whole), StartsWith("<home"));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_THAT(Reread(whole.substr(0, length)), StartsWith("error: line ")) << length;
    }
}

// Whatever was read must be written readable again.
void ExpectErrorOrStableText(const std::string& text) {
    const std::string reread = Reread(text);
    if (reread.starts_with("error: ")) return;
    EXPECT_EQ(reread, Reread(reread)) << text;
}

TEST(Reader, DamagedBytesAreReadOrRefused) {
    std::mt19937 random(1);
    for (int round = 0; round < 20'000; ++round) {
        std::string text = kSample;
        for (auto changes = 1 + random() % 3; changes > 0; --changes) {
            text[random() % text.size()] = static_cast<char>(random());
        }
        ExpectErrorOrStableText(text);
    }
}

TEST(Reader, RandomBytesAreReadOrRefused) {
    constexpr std::string_view likely = "<>/=&;'\"a!-[]? \n#x1";
    std::mt19937 random(2);
    for (int round = 0; round < 20'000; ++round) {
        std::string text = "<a";
        for (auto length = random() % 40; length > 0; --length) {
            text += random() % 8 == 0 ? static_cast<char>(random()) : likely[random() % likely.size()];
        }
        ExpectErrorOrStableText(text);
    }
}

}  // namespace
