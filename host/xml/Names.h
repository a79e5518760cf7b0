// Which names elements and attributes may bear, and what is written for all others.
#ifndef HOST_XML_NAMES_H
#define HOST_XML_NAMES_H

#include <string>
#include <string_view>

namespace DvXML {

/// True when an element or attribute may bear that name.
bool IsLegalName(std::string_view name);

/// A legal name in place of any other: every ASCII character that may not stand in a name becomes "_", and
/// "_" goes before what may not begin one. Where that does not do, each byte beyond ASCII becomes "_" too.
std::string LegalName(std::string_view name);

}  // namespace DvXML

#endif
