// Writes trees as text.
#include <algorithm>
#include <utility>
#include <vector>

#include "host/xml/ElementWriter.h"
#include "host/xml/Names.h"
#include "host/xml/Node.h"

namespace DvXML {
namespace {

// Attributes of one element whose legal names would be equal get a further "_".
void WriteAttributes(ElementWriter& writer, const Node& node) {
    std::vector<std::string> replaced;
    for (const Attribute& attribute : node.GetAttributes()) {
        if (IsLegalName(attribute.name)) {
            writer.Attribute(attribute.name, attribute.value);
            continue;
        }
        std::string name = LegalName(attribute.name);
        while (node.FindAttribute(name) ||
               std::find(replaced.begin(), replaced.end(), name) != replaced.end()) {
            name += '_';
        }
        writer.Attribute(name, attribute.value);
        replaced.push_back(std::move(name));
    }
}

struct OpenElement {
    const Node* node;
    std::size_t nextChild;
};

}  // namespace

// Keeps the open elements in a list of its own instead of recursing: trees may be of any depth.
std::string Node::NodeToText() const {
    ElementWriter writer;
    std::vector<OpenElement> open;
    const auto begin = [&](const Node& node) {
        if (const std::string* written = node.GetWritten()) return writer.Written(*written);
        writer.Begin(node.NodeGetName());
        WriteAttributes(writer, node);
        writer.Text(node.NodeGetText());
        open.push_back({&node, 0});
    };
    begin(*this);
    while (!open.empty()) {
        const Children& children = open.back().node->GetChildren();
        if (open.back().nextChild == children.size()) {
            writer.End();
            open.pop_back();
        } else {
            begin(*children[open.back().nextChild++]);
        }
    }
    return writer.TakeText();
}

}  // namespace DvXML
