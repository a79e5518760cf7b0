// Reads XML text into a tree. Made for text that may come from anybody: no DTD, no entities but
// the predefined ones, bounded depth and size.
#ifndef HOST_XML_READER_H
#define HOST_XML_READER_H

#include <string>
#include <string_view>

#include "host/glue/XmlText.h"
#include "host/xml/Node.h"

namespace DvXML {

struct ReadResult {
    dv::auto_com<Node> root;  // null when reading failed
    std::string error;        // then: where and why, without a word of the document
};

/// What becomes of an encoding that a document declares.
enum class DeclaredEncoding { kMustBeUtf8, kIgnored };

/// Reads one document in UTF-8. Notes where the elements begin if it is given `lines`. Throws nothing but
/// std::bad_alloc.
///
/// Comments and processing instructions are skipped. A run of text between two tags that is white
/// space only is dropped where the element has child elements, and kept where it has none.
ReadResult ReadXml(std::string_view text, DeclaredEncoding encoding, ElementLines* lines = nullptr);

/// True when an element may bear that name. The name must hold no ASCII but letters, digits and "_:-.".
bool IsReadableName(std::string_view name);

}  // namespace DvXML

#endif
