// Any bytes as an XML document: read within the bounds or refused with a place, and what was read
// is written and read back as the same, as a tree and as an element that is still a text.
#include <algorithm>

#include "fuzz/Fuzz.h"
#include "host/xml/ElementWriter.h"

namespace {

using Limits = DvXML::ParseLimits;

// The levels of elements; a tree that goes deeper than the bound would overrun nothing here.
std::size_t DepthOf(const DvXML::INode& node, std::size_t most) {
    std::size_t deepest = 0;
    if (most == 0) return 1;
    for (const DvXML::INode* child : node.NodeChildren())
        deepest = std::max(deepest, DepthOf(*child, most - 1));
    return deepest + 1;
}

void RequirePlace(const std::string& error) {
    const bool placed = error.starts_with("line ") && error.find(", column ") != std::string::npos;
    if (!placed) fuzz::Fault("the error names no place: " + error);
}

// Without attributes, which cannot be asked for one after the other.
void Describe(const DvXML::INode& node, DvXML::ElementWriter& writer) {
    writer.Begin(node.NodeGetName());
    writer.Text(node.NodeGetText());
    for (const DvXML::INode* child : node.NodeChildren())
        Describe(*child, writer);
    writer.End();
}

void RequireExactText(const DvXML::INode& root) {
    DvXML::ElementWriter writer;
    Describe(root, writer);
    const DvXML::ElementText text = writer.TakeExactText();
    fuzz::Require(text != nullptr, "what was read can be written so that it is read again");
    const auto element = DvXML::CreateXmlNode(text);
    element->NodeGetName();  // makes nodes of it
    fuzz::RequireEqual("an element that was a text", *text, element->NodeToText());
}

void ReadAndWrite(std::string_view text) {
    const auto document = DvXML::CreateXmlDocument("before");
    if (document->DocumentParse(text) != 0) {
        fuzz::Require(document->DocumentGetRoot() == nullptr, "a refused document has no root");
        return RequirePlace(document->DocumentGetError());
    }
    const DvXML::INode& root = *document->DocumentGetRoot();
    fuzz::Require(document->DocumentGetError().empty(), "a document that was read has no error");
    fuzz::Require(DepthOf(root, Limits::kMaxDepth + 1) <= Limits::kMaxDepth, "the depth is bounded");
    const std::string written = root.NodeToText();
    const auto again = fuzz::RequireXml("what was written", written);
    fuzz::RequireEqual("written, read and written", written, again->NodeToText());
    RequireExactText(root);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ReadAndWrite(fuzz::Bytes(data, size));
    fuzz::RequireNothingAlive();
    return 0;
}
