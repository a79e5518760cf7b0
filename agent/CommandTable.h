// Every command that the agent answers, one row each, in the order of registration. The host's
// command lists, the client's help and the command reference come from this table.
#ifndef AGENT_COMMANDTABLE_H
#define AGENT_COMMANDTABLE_H

#include <string>
#include <variant>

#include "agent/IntercomAgent.h"

using UIMember = dv::auto_com<DvXML::INode> (IntercomAgent::*)(const ICmdMessage&);
using PlainMember = void (IntercomAgent::*)(const ICmdMessage&);

struct IntercomAgent::CommandRow {
    const char* name;
    /// A UI command is answered with an element, a plain one is not answered.
    std::variant<UIMember, PlainMember> handler;
    const char* parameters;  // names, separated by blanks; "a|b" where one of them is read
    const char* help;        // what it does, in one line

    /// Help and parameters as one line.
    std::string HelpLine() const;
};

#endif
