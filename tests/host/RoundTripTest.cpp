// What is written is read back, whatever the tree holds.
#include <gtest/gtest.h>

#include <random>

#include "tests/host/Xml.h"

namespace {

using DvXML::INode;
using test::NewNode;
using test::Parse;

using NodePtr = dv::auto_com<INode>;

void AppendUtf8(std::string& text, std::uint32_t c) {
    const auto byte = [](std::uint32_t value) { return static_cast<char>(value); };
    const auto more = [&](unsigned shift) { return byte(0x80 | ((c >> shift) & 0x3F)); };
    if (c < 0x80) {
        text += byte(c);
    } else if (c < 0x800) {
        (text += byte(0xC0 | (c >> 6))) += more(0);
    } else if (c < 0x10000) {
        ((text += byte(0xE0 | (c >> 12))) += more(6)) += more(0);
    } else {
        (((text += byte(0xF0 | (c >> 18))) += more(12)) += more(6)) += more(0);
    }
}

bool IsSurrogate(std::uint32_t c) {
    return c >= 0xD800 && c <= 0xDFFF;
}

// The Char production of XML 1.0.
bool IsXmlCharacter(std::uint32_t c) {
    if (c < 0x20) return c == '\t' || c == '\n' || c == '\r';
    return !IsSurrogate(c) && c != 0xFFFE && c != 0xFFFF;
}

// All trees of a kind, from one seed each.
class Grower {
public:
    explicit Grower(unsigned seed) : random_(seed) {}

    unsigned Below(unsigned bound) { return static_cast<unsigned>(random_() % bound); }

    std::string Bytes(unsigned maxLength) {
        std::string bytes;
        for (unsigned length = Below(maxLength + 1); length > 0; --length) {
            constexpr std::string_view likely = "<>&\"'\r\n\t ]x\xED\xA0\x80\xEF\xBF\xBF\xC3";
            bytes += Below(2) ? static_cast<char>(random_()) : likely[Below(likely.size())];
        }
        return bytes;
    }

    std::string Characters(unsigned maxLength) {
        std::string text;
        for (unsigned length = Below(maxLength + 1); length > 0; --length) {
            const std::uint32_t c = Below(3) ? Below(0x60) : Below(0x110000);
            if (IsXmlCharacter(c)) AppendUtf8(text, c);
        }
        return text;
    }

    // Any bytes anywhere.
    NodePtr NastyTree(unsigned depth) {
        const unsigned children = depth ? Below(4) : 0;
        const NodePtr node = NewNode(Bytes(5), (children ? "x" : "") + Bytes(20));
        for (unsigned i = Below(4); i > 0; --i)
            node->NodeSetAttribute(Bytes(2), Bytes(10));
        for (unsigned i = 0; i < children; ++i)
            node->NodeAddChild(NastyTree(depth - 1).get());
        return node;
    }

    // Any characters in texts, names as XML wants them.
    NodePtr CarriableTree(unsigned depth) {
        const unsigned children = depth ? Below(4) : 0;
        const NodePtr node = NewNode("n" + std::to_string(Below(3)), (children ? "x" : "") + Characters(20));
        for (unsigned i = Below(4); i > 0; --i)
            node->NodeSetAttribute("a" + std::to_string(i), Characters(10));
        for (unsigned i = 0; i < children; ++i)
            node->NodeAddChild(CarriableTree(depth - 1).get());
        return node;
    }

private:
    std::mt19937 random_;
};

void ExpectSame(const INode& expected, const INode& actual) {
    EXPECT_EQ(expected.NodeGetName(), actual.NodeGetName());
    EXPECT_EQ(expected.NodeGetText(), actual.NodeGetText());
    for (const std::string name : {"a1", "a2", "a3"}) {
        EXPECT_EQ(expected.NodeGetAttribute(name), actual.NodeGetAttribute(name));
    }
    ASSERT_EQ(expected.NodeChildCount(), actual.NodeChildCount());
    for (std::size_t i = 0; i < expected.NodeChildCount(); ++i) {
        ExpectSame(*expected.NodeChildAt(i), *actual.NodeChildAt(i));
    }
}

constexpr unsigned kTrees = 1000;
constexpr unsigned kDepth = 5;

TEST(RoundTrip, TreesOfAnyBytesAreWrittenReadable) {
    for (unsigned seed = 0; seed < kTrees; ++seed) {
        const std::string text = Grower(seed).NastyTree(kDepth)->NodeToText();
        EXPECT_EQ(text, test::Reread(text)) << "seed " << seed;
    }
}

TEST(RoundTrip, TreesThatXmlCanCarryComeBackTheSame) {
    for (unsigned seed = 0; seed < kTrees; ++seed) {
        SCOPED_TRACE(seed);
        const NodePtr tree = Grower(seed).CarriableTree(kDepth);
        const auto document = Parse(tree->NodeToText());
        ASSERT_NE(nullptr, document->DocumentGetRoot()) << document->DocumentGetError();
        ExpectSame(*tree, *document->DocumentGetRoot());
    }
}

TEST(RoundTrip, EveryCharacterComesBackOrIsReplaced) {
    constexpr std::uint32_t block = 0x1000;
    for (std::uint32_t start = 0; start < 0x110000; start += block) {
        std::string text, expected;
        for (std::uint32_t c = start; c < start + block; ++c) {
            if (IsSurrogate(c)) continue;
            AppendUtf8(text, c);
            AppendUtf8(expected, IsXmlCharacter(c) ? c : 0xFFFD);
        }
        const NodePtr node = NewNode("a", text);
        node->NodeSetAttribute("k", text);
        const auto document = Parse(node->NodeToText());
        ASSERT_NE(nullptr, document->DocumentGetRoot()) << document->DocumentGetError();
        EXPECT_TRUE(expected == document->DocumentGetRoot()->NodeGetText()) << start;
        EXPECT_TRUE(expected == document->DocumentGetRoot()->NodeGetAttribute("k")) << start;
    }
}

TEST(RoundTrip, EveryCharacterInANameIsWrittenReadable) {
    const NodePtr names = NewNode("names");
    for (std::uint32_t c = 0; c < 0x11000; ++c) {
        if (IsSurrogate(c)) continue;
        std::string first, later = "a";
        AppendUtf8(first, c);
        AppendUtf8(later, c);
        names->NodeAddNamedValue(first, "");
        names->NodeAddNamedValue(later, "");
    }
    const std::string text = names->NodeToText();
    EXPECT_TRUE(text == test::Reread(text));
}

}  // namespace
