// In which line each element of a document begins, for messages about documents that are
// well-formed and yet wrong.
#ifndef DRIVERHOST_HOME_ELEMENTLINES_H
#define DRIVERHOST_HOME_ELEMENTLINES_H

#include <map>
#include <string_view>

#include "host/interfaces/DvXML.h"

namespace driverhost {

class ElementLines {
public:
    /// `root` must be what reading `text` gave.
    ElementLines(std::string_view text, const DvXML::INode& root);

    /// The line of the element's start tag, from 1.
    int LineOf(const DvXML::INode& element) const;

private:
    std::map<const DvXML::INode*, int> lines_;
};

}  // namespace driverhost

#endif
