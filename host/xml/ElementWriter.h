// Writes elements: trees as text, and the elements of records, which need no tree for that.
//
// A record that changes less often than its element is asked for describes the element once:
//
//     void Bell::WriteElement(DvXML::ElementWriter& writer) const {
//         writer.Begin("bell");
//         writer.NamedValue("tone", tone_);
//         writer.End();
//     }
//
// It keeps the text that comes of this until it changes, and hands out elements made from the text
// (CreateXmlNode): they become nodes only when somebody looks into them. Where no text says exactly what the
// record holds, the same function makes the nodes at once.
#ifndef HOST_XML_ELEMENTWRITER_H
#define HOST_XML_ELEMENTWRITER_H

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/interfaces/DvXML.h"

namespace DvXML {

class Node;

/// The text of one element, of which the reader makes exactly what was written. It never changes, so a record
/// and its elements can share it.
using ElementText = std::shared_ptr<const std::string>;

/// A new element from its text. It is as good as one made of nodes: whoever changes it changes it alone.
/// [driver thread]
DVHOST_API dv::auto_com<INode> CreateXmlNode(const ElementText& text);

/// Writes one element. In this order: Begin, the attributes, the text, the child elements, End; each child in
/// the same way.
///
/// As text, the element is one that the reader accepts, whatever bytes were given: markup is escaped, CR and
/// LF (in attributes tab too) become character references, U+FFFD stands for each character that XML 1.0
/// forbids and for each byte that is not UTF-8, and illegal names are made legal (LegalName). An element
/// without content is written <name/>. As nodes, the element holds the bytes as they were given.
class DVHOST_API ElementWriter {
public:
    enum class Form { kText, kNodes };
    explicit ElementWriter(Form form = Form::kText);

    /// Begins the element, or a child of the one that is open.
    void Begin(std::string_view name);
    /// Once for each name, which must be a legal one.
    void Attribute(std::string_view name, std::string_view value);
    void Text(std::string_view text);
    void End();
    /// A child element with a text and nothing else.
    void NamedValue(std::string_view name, std::string_view value);
    /// A child element, or the whole one, that has been written as text before. As text only.
    void Written(const std::string& element);

    // The result: one of these, once, after the last End.

    std::string TakeText();
    /// The text for CreateXmlNode. Null when the reader would not make of it what was written: something in
    /// it was replaced, would be dropped, or goes beyond ParseLimits.
    ElementText TakeExactText();
    dv::auto_com<INode> TakeNodes();

private:
    struct OpenElement {
        std::size_t nameAt;  // in text_, as it was written
        std::size_t nameSize;
        bool isBlank;  // has a text, of nothing but white space
    };

    void BeginNode(std::string_view name);
    void EndTag();
    void Escaped(std::string_view text, bool isAttribute);
    std::size_t Special(std::string_view text, bool isAttribute);

    const Form form_;

    // As text.
    std::string text_;
    boost::container::small_vector<OpenElement, 8> open_;
    bool inTag_ = false;   // the start tag of the innermost one has no end yet
    bool isExact_ = true;  // nothing was replaced, and nothing will be dropped

    // As nodes.
    dv::auto_com<INode> root_;
    std::vector<Node*> openNodes_;
};

}  // namespace DvXML

#endif
