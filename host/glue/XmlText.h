// Reading XML texts that arrive as parameters.
#ifndef HOST_GLUE_XMLTEXT_H
#define HOST_GLUE_XMLTEXT_H

#include <string_view>

#include "host/interfaces/DvXML.h"

namespace DvXML {

/// The root element of `text`; null when the text is empty or not a well-formed document.
inline dv::auto_com<INode> ParseRoot(std::string_view text) {
    if (text.empty()) return nullptr;
    const auto document = CreateXmlDocument("");
    document->DocumentParse(text);  // a failure leaves no root, which says all
    return dv::auto_com<INode>::share(document->DocumentGetRoot());
}

}  // namespace DvXML

#endif
