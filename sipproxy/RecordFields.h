// A record's table of fields: one row per field drives reading from a command message, reading
// from XML and writing, so that no field can be forgotten in one of the three.
#ifndef SIPPROXY_RECORDFIELDS_H
#define SIPPROXY_RECORDFIELDS_H

#include <string>
#include <variant>

#include "host/interfaces/ICmdMessage.h"

/// A field's name, which is both the message's parameter and the element's named value, and its
/// place in the record. Text is taken as it is; numbers by dv::ParseInt, absent ones as 0.
template <class Record>
struct RecordField {
    const char* name;
    std::variant<std::string Record::*, int Record::*> place;
};

template <class Record, class Table>
void ReadFields(Record& record, const Table& table, const ICmdMessage& message) {
    for (const auto& field : table) {
        if (const auto* text = std::get_if<std::string Record::*>(&field.place))
            record.*(*text) = message.GetString(field.name);
        else
            record.*std::get<int Record::*>(field.place) = message.GetInt(field.name);
    }
}

template <class Record, class Table>
void ReadFields(Record& record, const Table& table, const DvXML::INode& node) {
    for (const auto& field : table) {
        if (const auto* text = std::get_if<std::string Record::*>(&field.place))
            record.*(*text) = node.NodeGetNamedValue(field.name);
        else
            record.*std::get<int Record::*>(field.place) = node.NodeGetNamedInt(field.name);
    }
}

template <class Record, class Table>
void WriteFields(const Record& record, const Table& table, DvXML::INode& node) {
    for (const auto& field : table) {
        if (const auto* text = std::get_if<std::string Record::*>(&field.place))
            node.NodeAddNamedValue(field.name, record.*(*text));
        else
            node.NodeAddNamedInt(field.name, record.*std::get<int Record::*>(field.place));
    }
}

#endif
