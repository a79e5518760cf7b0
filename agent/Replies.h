// The elements that UI commands answer with: success, failure, lists of records.
#ifndef AGENT_REPLIES_H
#define AGENT_REPLIES_H

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <iterator>
#include <string>
#include <utility>

#include "host/interfaces/DvXML.h"

namespace Replies {

using Reply = dv::auto_com<DvXML::INode>;

/// <success/>
Reply Success();
/// <fail>, with the reason as its text if there is one.
Reply Fail(const std::string& reason = "");
/// <failed/>, which only removeService answers.
Reply Failed();
/// No element, although the command was carried out.
Reply None();

/// The failures of look-ups among devices and SIP records.
Reply UnableToFind(const std::string& key);
Reply UnableToErase(const std::string& key);
Reply NoEntityAt(unsigned long index);

}  // namespace Replies

/// A record's own element.
template <class Record>
dv::auto_com<DvXML::INode> ElementOf(const boost::shared_ptr<Record>& record) {
    if constexpr (requires { record->toXml(); })
        return record->toXml();
    else
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
