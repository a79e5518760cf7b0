// A running agent between a host that keeps nothing and a system manager that does nothing.
#ifndef BENCH_SUPPORT_AGENT_H
#define BENCH_SUPPORT_AGENT_H

#include <initializer_list>
#include <string>
#include <utility>

#include "agent/IntercomAgent.h"
#include "bench/support/Host.h"

namespace bench {

class Agent {
public:
    /// Created and initialised; null is no saved state.
    explicit Agent(DvXML::INode* savedState = nullptr);
    Agent(const Agent&) = delete;
    Agent& operator=(const Agent&) = delete;
    ~Agent();

    IntercomAgent& operator*() { return agent_; }
    IntercomAgent* operator->() { return &agent_; }

    /// From the message to the reply, as the host has it done.
    dv::auto_com<DvXML::INode> Ui(const ICmdMessage& message);
    void Plain(const ICmdMessage& message);
    /// The saved state as text.
    std::string State() { return agent_.GetPersistState(0)->NodeToText(); }

private:
    Host host_;
    IntercomAgent agent_{host_};
};

/// A command message with these parameters.
dv::auto_com<ICmdMessage> Message(const std::string& command,
                                  std::initializer_list<std::pair<std::string, std::string>> parameters = {});

/// Says on standard error why nothing can be measured, and ends the program with status 1.
[[noreturn]] void GiveUp(const std::string& reason);

/// Gives up unless the reply is an element other than "fail".
void ExpectDone(const dv::auto_com<DvXML::INode>& reply);

}  // namespace bench

#endif
