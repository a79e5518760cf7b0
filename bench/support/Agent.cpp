#include "bench/support/Agent.h"

#include <cstdio>
#include <cstdlib>

#include "host/glue/CmdMessage.h"
#include "host/glue/NetworkInterfaces.h"

namespace bench {

namespace {

constexpr unsigned long kAgentId = 1;

}  // namespace

Agent::Agent(DvXML::INode* savedState) {
    NetworkInterfaces::Override("");  // one configuration less in the state, and the same on every machine
    agent_.Initialize(kAgentId, *DvXML::CreateXmlNode("config", ""), savedState);
}

Agent::~Agent() {
    agent_.OnDestroy();
}

dv::auto_com<DvXML::INode> Agent::Ui(const ICmdMessage& message) {
    dv::auto_com<DvXML::INode> reply;
    if (!agent_.GetUICmdDispatcher().Dispatch(message, reply))
        GiveUp("no such UI command: " + message.GetName());
    return reply;
}

void Agent::Plain(const ICmdMessage& message) {
    if (!agent_.GetCmdDispatcher().Dispatch(message)) GiveUp("no such plain command: " + message.GetName());
}

dv::auto_com<ICmdMessage> Message(const std::string& command,
                                  std::initializer_list<std::pair<std::string, std::string>> parameters) {
    auto message = dv::CmdMessage::Create(command);
    for (const auto& [name, value] : parameters)
        message->AddParameter(name, value);
    return message;
}

void GiveUp(const std::string& reason) {
    std::fprintf(stderr, "bench: %s\n", reason.c_str());
    std::exit(1);
}

void ExpectDone(const dv::auto_com<DvXML::INode>& reply) {
    if (!reply || reply->NodeGetName() == "fail") GiveUp("a command of the preparation failed");
}

}  // namespace bench

// The system manager without a process: the linker puts these in the place of popen and pclose (-Wl,--wrap).
extern "C" {

std::FILE* __wrap_popen(const char* commandLine, const char* mode);
int __wrap_pclose(std::FILE* stream);

std::FILE* __wrap_popen(const char*, const char* mode) {
    return std::fopen("/dev/null", mode);
}

int __wrap_pclose(std::FILE* stream) {
    return std::fclose(stream);
}
}
