// Numbers and lists of numbers to and from XML, with result codes: 0 is success, negative is failure.
#ifndef HOST_GLUE_XMLHELPER_H
#define HOST_GLUE_XMLHELPER_H

#include <string>
#include <vector>

#include "host/interfaces/DvXML.h"

namespace XmlHelper {

enum Result : long {
    RESULT_OK = 0,
    RESULT_BAD_NAME = -1,      // null or empty element name
    RESULT_NO_CONTAINER = -2,  // list forms: the container could not be created
    RESULT_BAD_NUMBER = -3,    // text is not a decimal number from 0 to 4294967295
    RESULT_NOT_FOUND = -4,     // list forms: the container is missing
    RESULT_NO_VALUE = -5       // no child of that name
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

/// Writes `list` as children `itemName` of a new child `containerName` of `parent`; with a null
/// container name straight into `parent`. The container is written for an empty list too.
/// Returns 0; RESULT_NO_CONTAINER, after an assertion record, when there can be no container; the
/// code of the first item that failed.  [driver thread]
template <class Number>
long toXml(const std::vector<Number>& list, DvXML::INode& parent, const char* containerName,
           const char* itemName);

/// Appends to `list` every child, in document order, of the node's child `containerName`; of the
/// node itself when it bears that name already, or the name is null. Children that do not read as
/// a number are skipped. Returns 0; RESULT_NOT_FOUND when there is no container; otherwise the
/// code of the last child that failed.  [driver thread]
template <class Number>
long fromXml(std::vector<Number>& list, DvXML::INode& node, const char* containerName);

template <>
DVHOST_API long toXml<unsigned long>(const std::vector<unsigned long>& list, DvXML::INode& parent,
                                     const char* containerName, const char* itemName);
template <>
DVHOST_API long fromXml<unsigned long>(std::vector<unsigned long>& list, DvXML::INode& node,
                                       const char* containerName);

/// The ids in a parameter that is an XML document: the numbers (dv::ParseLong) in the root's children,
/// whatever their names, without those that are 0 or -1. No document gives no ids.
DVHOST_API std::vector<unsigned long> ReadIdList(const std::string& xml);

}  // namespace XmlHelper

#endif
