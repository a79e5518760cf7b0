// What the agent's tables of records have in common: their elements in a list, and the entry at
// an index.
#ifndef AGENT_RECORDLIST_H
#define AGENT_RECORDLIST_H

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <iterator>
#include <utility>

#include "contacts/IntercomRecentContact.h"
#include "host/interfaces/DvXML.h"

/// A record's own element.
template <class Record>
dv::auto_com<DvXML::INode> ElementOf(const boost::shared_ptr<Record>& record) {
    return record->toXml();
}

inline dv::auto_com<DvXML::INode> ElementOf(const boost::shared_ptr<IntercomRecentContact>& record) {
    return record->ToXml();
}

template <class Key, class Record>
dv::auto_com<DvXML::INode> ElementOf(const std::pair<const Key, boost::shared_ptr<Record>>& entry) {
    return ElementOf(entry.second);
}

/// Appends the elements of a list or map of records, in its order.
template <class Records>
void AppendRecords(DvXML::INode& list, const Records& records) {
    for (const auto& record : records)
        list.NodeAddChild(ElementOf(record).get());
}

/// A new element of that name with the elements of all records.
template <class Records>
dv::auto_com<DvXML::INode> ListOf(const char* name, const Records& records) {
    auto list = DvXML::CreateXmlNode(name, "");
    AppendRecords(*list, records);
    return list;
}

/// The map's entry at an index from 0, in key order; the end when there are not that many.
template <class Map>
typename Map::const_iterator EntryAt(const Map& map, unsigned long index) {
    return index < map.size() ? std::next(map.begin(), static_cast<std::ptrdiff_t>(index)) : map.end();
}

#endif
