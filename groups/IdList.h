// Lists of unsigned ids as XML: a container element with one child per id.
#ifndef GROUPS_IDLIST_H
#define GROUPS_IDLIST_H

#include <string>
#include <vector>

#include "host/glue/XmlHelper.h"

namespace XmlHelper {

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
long toXml<unsigned long>(const std::vector<unsigned long>& list, DvXML::INode& parent,
                          const char* containerName, const char* itemName);
template <>
long fromXml<unsigned long>(std::vector<unsigned long>& list, DvXML::INode& node, const char* containerName);

}  // namespace XmlHelper

/// The ids in a text with an XML document: the numbers (dv::ParseLong) in the root's children,
/// whatever their names, without those that are 0 or -1. No document gives no ids.
std::vector<unsigned long> ReadIdList(const std::string& xml);

#endif
