#include "host/glue/CmdDispatchers.h"

#include <utility>

long UICmdDispatcher::RegisterUICmd(const std::string& name, UICmdHandler handler, const std::string& help) {
    return table_.Register(name, std::move(handler), help);
}

bool UICmdDispatcher::Dispatch(const ICmdMessage& message, dv::auto_com<DvXML::INode>& reply) const {
    reply.reset();
    const UICmdHandler* handler = table_.Find(message.GetName());
    if (!handler) return false;
    reply = (*handler)(message);
    return true;
}

long CmdDispatcher::RegisterCmd1(const std::string& name, CmdHandler handler, const std::string& help) {
    return table_.Register(name, std::move(handler), help);
}

bool CmdDispatcher::Dispatch(const ICmdMessage& message) const {
    const CmdHandler* handler = table_.Find(message.GetName());
    if (!handler) return false;
    (*handler)(message);
    return true;
}
