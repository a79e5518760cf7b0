// What the writer makes of bytes that XML cannot carry as they are.
#include <gtest/gtest.h>

#include "tests/host/Xml.h"

namespace {

using test::NewNode;
using test::Reread;

const std::string kReplacement = "\xEF\xBF\xBD";

std::string Written(const std::string& text) {
    return NewNode("a", text)->NodeToText();
}

std::string WrittenName(const std::string& name) {
    const std::string text = NewNode(name)->NodeToText();
    EXPECT_EQ(text, Reread(text));
    return text.substr(1, text.size() - 3);
}

TEST(Writer, EmptyElementIsOneTag) {
    EXPECT_EQ("<a/>", Written(""));
}

TEST(Writer, OwnTextStandsBeforeTheChildren) {
    const auto node = NewNode("service", "own");
    node->NodeAddNamedValue("id", "1");
    EXPECT_EQ("<service>own<id>1</id></service>", node->NodeToText());
}

TEST(Writer, MarkupIsEscaped) {
    EXPECT_EQ("<a>&lt;b c=\"d\" e='f'&gt; &amp;amp; ]]&gt;</a>", Written("<b c=\"d\" e='f'> &amp; ]]>"));
}

TEST(Writer, LineBreaksBecomeCharacterReferences) {
    EXPECT_EQ("<a>1&#13;&#10;2&#10;3&#13;\t4</a>", Written("1\r\n2\n3\r\t4"));
}

TEST(Writer, QuotesTabsAndLineBreaksInAttributesAreEscaped) {
    const auto node = NewNode("a");
    node->NodeSetAttribute("k", "\"'\t\r\n<>&");
    EXPECT_EQ("<a k=\"&quot;'&#9;&#13;&#10;&lt;&gt;&amp;\"/>", node->NodeToText());
}

TEST(Writer, ControlCharactersBecomeTheReplacementCharacter) {
    for (int c = 0; c < 0x20; ++c) {
        if (c == '\t' || c == '\n' || c == '\r') continue;
        EXPECT_EQ("<a>[" + kReplacement + "]</a>", Written("[" + std::string(1, static_cast<char>(c)) + "]"))
            << c;
    }
    EXPECT_EQ("<a>\x7F\xC2\x85</a>", Written("\x7F\xC2\x85"));
}

// The writer looks at several characters at a time.
TEST(Writer, EveryByteIsWrittenTheSameWhereverItStands) {
    const auto inAttribute = [](const std::string& value) {
        const auto node = NewNode("a");
        node->NodeSetAttribute("k", value);
        const std::string text = node->NodeToText();
        return text.substr(6, text.size() - 9);
    };
    const auto inText = [](const std::string& value) {
        const std::string text = Written(value);
        return text.substr(3, text.size() - 7);
    };
    for (int byte = 0; byte < 0x100; ++byte) {
        const std::string alone(1, static_cast<char>(byte));
        for (std::size_t before = 0; before < 18; ++before) {
            const std::string left(before, 'x');
            const std::string right(17 - before, 'y');
            EXPECT_EQ(left + inText(alone) + right, inText(left + alone + right)) << byte << " at " << before;
            EXPECT_EQ(left + inAttribute(alone) + right, inAttribute(left + alone + right))
                << byte << " at " << before;
        }
    }
}

TEST(Writer, PiecesOfAnyLengthAreWrittenWhole) {
    for (const std::size_t around : {8U, 16U, 4096U, 8192U, 12288U}) {
        for (std::size_t length = around - 8; length < around + 8; ++length) {
            const std::string name(length + 1, 'n');
            const std::string text(length, 't');
            const auto node = NewNode(name, text + "&");
            node->NodeSetAttribute("k", text);
            std::string expected = "<" + name;
            expected.append(" k=\"").append(text).append("\">").append(text).append("&amp;</");
            EXPECT_EQ(expected.append(name).append(">"), node->NodeToText()) << length;
        }
    }
}

TEST(Writer, ValidUtf8StaysAsItIs) {
    const std::string text =
        "K\xC3\xBC\x63he \xE2\x82\xAC \xED\x9F\xBF\xEE\x80\x80 \xF0\x9F\x94\x94 \xF4\x8F\xBF\xBF";
    EXPECT_EQ("<a>" + text + "</a>", Written(text));
}

struct Invalid {
    const char* bytes;
    int replacements;
};

TEST(Writer, EachByteThatIsNotUtf8BecomesTheReplacementCharacter) {
    const Invalid table[] = {
        {"\x80", 1},              // continuation without a start
        {"\xFF", 1},              // never in UTF-8
        {"\xC3", 1},              // truncated
        {"\xE2\x82", 2},          // truncated
        {"\xF0\x9F\x94", 3},      // truncated
        {"\xC0\xAF", 2},          // overlong
        {"\xE0\x9F\xBF", 3},      // overlong
        {"\xF0\x8F\xBF\xBF", 4},  // overlong
        {"\xED\xA0\x80", 3},      // surrogate
        {"\xED\xBF\xBF", 3},      // surrogate
        {"\xF4\x90\x80\x80", 4},  // beyond U+10FFFF
        {"\xF5\x80\x80\x80", 4},  // beyond U+10FFFF
        {"\xEF\xBF\xBE", 1},      // U+FFFE: UTF-8, but not XML
        {"\xEF\xBF\xBF", 1},      // U+FFFF
    };
    for (const Invalid& invalid : table) {
        std::string expected;
        for (int i = 0; i < invalid.replacements; ++i)
            expected += kReplacement;
        EXPECT_EQ("<a>[" + expected + "]</a>", Written("[" + std::string(invalid.bytes) + "]"));
        EXPECT_EQ("<a>" + expected + "</a>", Written(invalid.bytes));
    }
}

TEST(Writer, LegalNamesStayAsTheyAre) {
    for (const std::string name :
         {"a", "_", "a:b", "xml-1.0_x", "K\xC3\xBC\x63he", "\xC3\xBC", "\xE5\x90\x8D"}) {
        EXPECT_EQ(name, WrittenName(name));
    }
}

TEST(Writer, IllegalNamesBecomeLegal) {
    EXPECT_EQ("_", WrittenName(""));
    EXPECT_EQ("_1", WrittenName("1"));
    EXPECT_EQ("_-a", WrittenName("-a"));
    EXPECT_EQ("_a_", WrittenName("<a>"));
    EXPECT_EQ("a_b_c", WrittenName("a b/c"));
    EXPECT_EQ("a___b", WrittenName(std::string("a\0\r\nb", 5)));
    EXPECT_EQ("k\xC3\xBC_", WrittenName("k\xC3\xBC "));
    EXPECT_EQ("a_____b", WrittenName("a\xF0\x9F\x94\x94 b"));
    EXPECT_EQ("_", WrittenName("\xC3"));
    EXPECT_EQ("_1__", WrittenName("1\xC3\xC3"));
}

TEST(Writer, EndTagBearsTheReplacedNameToo) {
    EXPECT_EQ("<a_b>x</a_b>", NewNode("a b", "x")->NodeToText());
}

TEST(Writer, LongIllegalNameTakesNoLongerThanALongText) {
    std::string name;
    for (int i = 0; i < 500'000; ++i)
        name += "\xC3\x97";  // a multiplication sign may not stand in a name
    EXPECT_EQ(std::string(name.size(), '_'), WrittenName(name));
}

TEST(Writer, AttributesWhoseReplacedNamesWouldBeEqualStayApart) {
    const auto node = NewNode("a");
    node->NodeSetAttribute("x y", "1");
    node->NodeSetAttribute("x_y", "2");
    node->NodeSetAttribute("x?y", "3");
    node->NodeSetAttribute("", "4");
    const std::string text = node->NodeToText();
    EXPECT_EQ("<a x_y_=\"1\" x_y=\"2\" x_y__=\"3\" _=\"4\"/>", text);
    EXPECT_EQ(text, Reread(text));
}

}  // namespace
