// What is made of the description of an element.
#ifndef HOST_XML_DESCRIBED_H
#define HOST_XML_DESCRIBED_H

#include "host/glue/IElementSource.h"
#include "host/xml/Node.h"

namespace DvXML {

/// The element as nodes.
dv::auto_com<Node> MakeNode(const IElementSource& source);

}  // namespace DvXML

#endif
