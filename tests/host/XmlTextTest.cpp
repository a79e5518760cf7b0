// Texts of documents, and texts that arrive as parameters.
#include "host/glue/XmlText.h"

#include <gtest/gtest.h>

#include "host/glue/XmlHelper.h"

namespace {

constexpr std::string_view kEncodings[] = {"utf-16",       "UTF-16LE", "ISO-8859-1",
                                           "windows-1252", "no-such",  "utf-8"};

std::string Declared(std::string_view encoding, const std::string& element) {
    return "<?xml version=\"1.0\" encoding=\"" + std::string(encoding) + "\"?>" + element;
}

std::string Written(const dv::auto_com<DvXML::INode>& root) {
    return root ? root->NodeToText() : "none";
}

TEST(XmlParameter, IsUtf8WhateverEncodingItDeclares) {
    for (const std::string_view encoding : kEncodings) {
        const std::string text = Declared(encoding, "<a>K\xC3\xBC\x63he</a>");
        EXPECT_EQ("<a>K\xC3\xBC\x63he</a>", Written(DvXML::ParseParameter(text))) << encoding;
        EXPECT_EQ("<a/>", Written(DvXML::ParseParameter("\xEF\xBB\xBF" + Declared(encoding, "<a/>"))));
        EXPECT_EQ("none", Written(DvXML::ParseParameter(Declared(encoding, "<a>\xFC</a>")))) << encoding;
    }
}

TEST(XmlParameter, IsNoDocumentWhenItArrivedInAnotherEncodingAllTheSame) {
    using namespace std::string_view_literals;
    for (const auto text : {"<\0a\0/\0>\0"sv, "\0<\0a\0/\0>"sv, "\xFF\xFE<\0a\0/\0>\0"sv})
        EXPECT_EQ("none", Written(DvXML::ParseParameter(text)));
}

TEST(XmlParameter, IsReadLikeADocumentOtherwise) {
    EXPECT_EQ("<a><b>1</b></a>", Written(DvXML::ParseParameter(" <a>\n<b>1</b> </a>\n")));
    for (const char* const text :
         {"", " ", "5", "<a>", "<a/><a/>", "<!DOCTYPE a><a/>", "<a>&x;</a>",
          "<?xml version='1.0' encoding=' '?><a/>", "<?xml encoding='utf-16'?><a/>"}) {
        EXPECT_EQ("none", Written(DvXML::ParseParameter(text))) << text;
        EXPECT_EQ("none", Written(DvXML::ParseRoot(text))) << text;
    }
}

TEST(XmlDocument, ThatDeclaresAnotherEncodingIsNone) {
    for (const std::string_view encoding : kEncodings) {
        const std::string expected = encoding == "utf-8" ? "<a/>" : "none";
        EXPECT_EQ(expected, Written(DvXML::ParseRoot(Declared(encoding, "<a/>")))) << encoding;
    }
}

TEST(XmlDocument, NotesTheLineInWhichEachElementBegins) {
    DvXML::ElementLines lines;
    std::string error;
    const auto root = DvXML::ParseWithLines("<!--\n<x>\n-->\n<a b='>\n'>\n<c\n>1</c><d/></a>", lines, error);
    EXPECT_EQ("", error);
    EXPECT_EQ(3U, lines.size());
    EXPECT_EQ(4, lines.at(root.get()));
    EXPECT_EQ(6, lines.at(root->NodeFindChild("c")));
    EXPECT_EQ(7, lines.at(root->NodeFindChild("d")));
}

TEST(XmlDocument, ThatCannotBeReadHasAnErrorAndNoRoot) {
    DvXML::ElementLines lines;
    std::string error;
    EXPECT_FALSE(DvXML::ParseWithLines("<a>\n<b></a>", lines, error));
    EXPECT_EQ("line 2, column 6: mismatched tag", error);
}

}  // namespace
