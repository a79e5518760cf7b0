#include "host/xml/Writer.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "host/xml/Name.h"
#include "host/xml/Node.h"
#include "host/xml/Output.h"

namespace DvXML {
namespace {

// The name as it is written; `made` is where one that had to be made legal is kept.
std::string_view WrittenName(const Name& name, std::string& made) {
    if (name.IsPlain() || IsLegalName(name.Text())) return name.Text();
    return made = LegalName(name.Text());
}

void PutAttribute(Output& out, std::string_view name, std::string_view value) {
    out.Put(' ', name, "=\"");
    out.PutValue(value);
    out.Put('"');
}

void PutAttributes(Output& out, const Node& node) {
    std::vector<std::string> replaced;
    for (const Attribute& attribute : node.GetAttributes()) {
        if (attribute.name.IsPlain() || IsLegalName(attribute.name.Text())) {
            PutAttribute(out, attribute.name.Text(), attribute.value);
            continue;
        }
        std::string name = LegalName(attribute.name.Text());
        while (node.FindAttribute(name) ||
               std::find(replaced.begin(), replaced.end(), name) != replaced.end()) {
            name += '_';
        }
        PutAttribute(out, name, attribute.value);
        replaced.push_back(std::move(name));
    }
}

void Close(Output& out, std::string_view name) {
    out.Put("</", name, '>');
}

// Writes the start tag and the node's own text; all of a node without child elements and of one that has its
// text. True when child elements are to follow, and the end tag.
bool Open(Output& out, const Node& node) {
    if (const IElementSource* source = node.GetSource()) {
        out.Put(source->ElementText());
        return false;
    }
    std::string made;
    const std::string_view name = WrittenName(node.GetName(), made);
    const std::string_view text = node.NodeGetText();
    const bool hasChildren = !node.GetChildren().empty();
    out.Put('<', name);
    PutAttributes(out, node);
    if (text.empty() && !hasChildren) {
        out.Put("/>");
        return false;
    }
    out.Put('>');
    out.PutText(text);
    if (!hasChildren) Close(out, name);
    return hasChildren;
}

void Close(Output& out, const Node& node) {
    std::string made;
    Close(out, WrittenName(node.GetName(), made));
}

struct OpenElement {
    const Node* node;
    std::size_t nextChild;
};

}  // namespace

// Keeps the open elements in a list of its own instead of recursing: trees may be of any depth.
std::string WriteXml(const Node& root) {
    std::string text;
    Output out(text);
    std::vector<OpenElement> open;
    if (Open(out, root)) open.push_back({&root, 0});
    while (!open.empty()) {
        const Node& node = *open.back().node;
        if (open.back().nextChild == node.GetChildren().size()) {
            Close(out, node);
            open.pop_back();
            continue;
        }
        const Node& child = *node.GetChildren()[open.back().nextChild++];
        if (Open(out, child)) open.push_back({&child, 0});
    }
    out.Finish();
    return text;
}

}  // namespace DvXML
