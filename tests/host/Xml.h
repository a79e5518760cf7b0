// Documents as texts, for tests that compare what was read.
#ifndef TESTS_HOST_XML_H
#define TESTS_HOST_XML_H

#include <string>
#include <string_view>

#include "host/interfaces/DvXML.h"

namespace test {

/// A node without content.
inline dv::auto_com<DvXML::INode> NewNode(const std::string& name, const std::string& text = "") {
    return DvXML::CreateXmlNode(name, text);
}

/// The document that `text` is; one without a root when it is none.
inline dv::auto_com<DvXML::IDocument> Parse(std::string_view text) {
    dv::auto_com<DvXML::IDocument> document = DvXML::CreateXmlDocument("unparsed");
    document->DocumentParse(text);
    return document;
}

/// What was read, written again; "error: " and the reason when nothing was.
inline std::string Reread(std::string_view text) {
    const auto document = Parse(text);
    const DvXML::INode* root = document->DocumentGetRoot();
    return root ? root->NodeToText() : "error: " + document->DocumentGetError();
}

}  // namespace test

#endif
