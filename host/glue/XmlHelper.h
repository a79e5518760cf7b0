// Single values to and from XML, with result codes: 0 is success, negative is failure.
// groups/IdList.h builds the forms for whole lists on these.
#ifndef HOST_GLUE_XMLHELPER_H
#define HOST_GLUE_XMLHELPER_H

#include "host/interfaces/DvXML.h"

namespace XmlHelper {

enum Result : long {
    RESULT_OK = 0,
    RESULT_BAD_NAME = -1,       // null or empty element name
    RESULT_NO_CONTAINER = -2,   // list forms: the container could not be created
    RESULT_BAD_NUMBER = -3,     // text is not a decimal number from 0 to 4294967295
    RESULT_NOT_FOUND = -4,      // list forms: the container is missing
    RESULT_NO_VALUE = -5        // no child of that name
};

/// Appends a child `name` holding the number.
DVHOST_API long toXml(unsigned long value, DvXML::INode& parent, const char* name);

/// Reads the child `name`, or the node itself when `name` is null or the node bears that name
/// already. Strict: decimal digits up to 4294967295 with optional white space around them;
/// anything else fails and leaves `value` untouched.
DVHOST_API long fromXml(unsigned long& value, DvXML::INode& node, const char* name);

/// Appends a child with a text (null: empty) and returns it; the parent holds it.
/// Null when `name` is null or empty.
DVHOST_API DvXML::INode* AddChild(DvXML::INode& parent, const char* name, const char* text);

}  // namespace XmlHelper

#endif
