// The two tables of commands that a driver answers: UI commands, answered with an element,
// and plain commands, which are not answered.
#ifndef HOST_GLUE_CMDDISPATCHERS_H
#define HOST_GLUE_CMDDISPATCHERS_H

#include <boost/function.hpp>
#include <boost/unordered_map.hpp>
#include <string>
#include <vector>

#include "host/interfaces/ICmdMessage.h"

/// The reply is the caller's; a null reply is a normal outcome.
using UICmdHandler = boost::function<dv::auto_com<DvXML::INode>(const ICmdMessage&)>;
using CmdHandler = boost::function<void(const ICmdMessage&)>;

struct CommandInfo {
    std::string name;
    std::string help;  // one line; may be empty
};

/// Handlers by exact name, listed in the order of registration.
template <class Handler>
class CommandTable {
public:
    /// 0; negative when the name is empty or taken, or the handler empty.
    long Register(const std::string& name, Handler handler, const std::string& help) {
        if (name.empty() || handler.empty()) return -1;
        if (!handlers_.emplace(name, handler).second) return -1;
        commands_.push_back({name, help});
        return 0;
    }

    /// Null when nothing registered that name. Valid until the next registration.
    const Handler* Find(const std::string& name) const {
        const auto found = handlers_.find(name);
        return found == handlers_.end() ? nullptr : &found->second;
    }

    const std::vector<CommandInfo>& Commands() const { return commands_; }

private:
    boost::unordered_map<std::string, Handler> handlers_;
    std::vector<CommandInfo> commands_;
};

/// UI commands.  All operations: [driver thread]
class DVHOST_API UICmdDispatcher {
public:
    /// Binds a UI command. 0; negative when the name is empty or taken, or the handler empty.
    long RegisterUICmd(const std::string& name, UICmdHandler handler, const std::string& help = "");

    /// Runs the handler for the message's name and stores its reply, which may be null. False,
    /// with `reply` null, when there is no such command. What the handler throws passes through.
    bool Dispatch(const ICmdMessage& message, dv::auto_com<DvXML::INode>& reply) const;

    /// In the order of registration.
    const std::vector<CommandInfo>& Commands() const { return table_.Commands(); }

private:
    CommandTable<UICmdHandler> table_;
};

/// Plain commands.  All operations: [driver thread]
class DVHOST_API CmdDispatcher {
public:
    /// Binds a plain command. 0; negative when the name is empty or taken, or the handler empty.
    long RegisterCmd1(const std::string& name, CmdHandler handler, const std::string& help = "");

    /// Runs the handler for the message's name. False when there is no such command. What the
    /// handler throws passes through.
    bool Dispatch(const ICmdMessage& message) const;

    /// In the order of registration.
    const std::vector<CommandInfo>& Commands() const { return table_.Commands(); }

private:
    CommandTable<CmdHandler> table_;
};

#endif
