// XML texts as trees.
#ifndef HOST_GLUE_XMLTEXT_H
#define HOST_GLUE_XMLTEXT_H

#include <string_view>

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

}  // namespace DvXML

#endif
