// The record of what the agent called on a panel.
#ifndef DRIVERS_PANEL_OPERATIONS_H
#define DRIVERS_PANEL_OPERATIONS_H

#include <deque>
#include <string>

#include "host/interfaces/DvXML.h"

/// What the agent called on a panel, in order. The record stays bounded in a panel that runs for
/// months: beyond kMaxOperations the oldest are dropped.
class Operations {
public:
    static constexpr std::size_t kMaxOperations = 10'000;

    /// Appends an operation. The caller adds the arguments to the returned element, which still
    /// belongs to the record.
    DvXML::INode& Add(const std::string& name);

    void Clear();

    /// A new element "operations" with one child per operation; the attribute "dropped" counts those
    /// that are missing, if any are.
    dv::auto_com<DvXML::INode> ToXml() const;

private:
    std::deque<dv::auto_com<DvXML::INode>> operations_;
    unsigned long dropped_ = 0;
};

#endif
