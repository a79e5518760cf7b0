// What the agent called on a panel, in order, in the form that getOperations answers.
#ifndef DRIVERS_PANEL_OPERATIONS_H
#define DRIVERS_PANEL_OPERATIONS_H

#include <deque>
#include <string>

#include "host/interfaces/DvXML.h"

/// The record of a panel that runs for months stays bounded: beyond kMost the oldest are dropped,
/// and the answer then bears an attribute "dropped" with their number.
class Operations {
public:
    static constexpr std::size_t kMost = 10'000;

    /// Appends an operation; its arguments are added to the element that is returned. The element
    /// stays the record's.
    DvXML::INode& Add(const std::string& name);

    void Clear();

    /// A new element "operations" with one child per operation.
    dv::auto_com<DvXML::INode> ToXml() const;

private:
    std::deque<dv::auto_com<DvXML::INode>> operations_;
    unsigned long dropped_ = 0;
};

#endif
