// Writes a tree as XML text that the reader accepts, whatever bytes the tree holds.
#ifndef HOST_XML_WRITER_H
#define HOST_XML_WRITER_H

#include <string>

namespace DvXML {

class Node;

/// The node as one text, without declaration and indentation; an element without content is
/// written <name/>.
///
/// Text: markup is escaped, CR and LF (in attributes tab too) become character references. U+FFFD
/// stands for each character that XML 1.0 forbids and for each byte that is not UTF-8.
///
/// Names: every ASCII character that may not stand in a name becomes "_", and "_" goes before what may
/// not begin one. Where that does not do, each byte beyond ASCII becomes "_" too. Attributes of one element
/// whose names would become equal get a further "_".
std::string WriteXml(const Node& node);

}  // namespace DvXML

#endif
