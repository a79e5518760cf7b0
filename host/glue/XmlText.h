// XML texts as trees.
#ifndef HOST_GLUE_XMLTEXT_H
#define HOST_GLUE_XMLTEXT_H

#include <string>
#include <string_view>
#include <unordered_map>

#include "host/interfaces/DvXML.h"

namespace DvXML {

/// The root element of a text that came as a parameter; null when it is empty or not a well-formed document
/// within the limits. The text arrived as UTF-8 whatever encoding it declares, so that is not looked at.
DVHOST_API dv::auto_com<INode> ParseParameter(std::string_view text);

/// The same of a document, which must be in UTF-8 and declare no other encoding.
inline dv::auto_com<INode> ParseRoot(std::string_view text) {
    const auto document = CreateXmlDocument("");
    document->DocumentParse(text);  // a failure leaves no root, which says all
    return dv::auto_com<INode>::share(document->DocumentGetRoot());
}

/// The line in which each element of a document begins, from 1.
using ElementLines = std::unordered_map<const INode*, int>;

/// The root element of a document, whose lines are noted as well: for messages about a document that is
/// well-formed and yet wrong. Null when it cannot be read; `error` is then what DocumentGetError would
/// return.
DVHOST_API dv::auto_com<INode> ParseWithLines(std::string_view text, ElementLines& lines, std::string& error);

}  // namespace DvXML

#endif
