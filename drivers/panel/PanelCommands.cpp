#include "drivers/panel/PanelCommands.h"

#include <limits>
#include <stdexcept>

#include "drivers/panel/Panel.h"
#include "drivers/panel/Values.h"
#include "host/glue/Numbers.h"

namespace {

using Reply = dv::auto_com<DvXML::INode>;

// Why a command is not carried out. Never leaves this file: it becomes the text of "fail".
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

constexpr char kNoAgent[] = "no intercom agent runs in this host";

constexpr std::int64_t kLeastInt = std::numeric_limits<int>::min();
constexpr std::int64_t kMostInt = std::numeric_limits<int>::max();
constexpr std::int64_t kMostId = 4'294'967'295;
constexpr std::int64_t kMostSession = 254;

Reply Success() {
    return DvXML::CreateXmlNode("success", "");
}

Reply Result(const std::string& text) {
    return DvXML::CreateXmlNode("result", text);
}

const std::string& Required(const ICmdMessage& message, const std::string& name) {
    if (!message.HasParameter(name)) throw Refusal("parameter " + name + " is missing");
    return message.GetString(name);
}

std::int64_t Number(const ICmdMessage& message, const std::string& name, std::int64_t least,
                    std::int64_t most) {
    const std::string& text = Required(message, name);
    if (const auto number = Values::ReadWhole(text, least, most)) return *number;
    throw Refusal(name + " must be a number from " + std::to_string(least) + " to " + std::to_string(most) +
                  ", not \"" + text + "\"");
}

// Ids read as everywhere: -1 is 4294967295.
unsigned long Id(const ICmdMessage& message, const std::string& name) {
    return dv::ToULong32(Number(message, name, kLeastInt, kMostId));
}

int Int(const ICmdMessage& message, const std::string& name) {
    return static_cast<int>(Number(message, name, kLeastInt, kMostInt));
}

// An absent flag is false.
bool Flag(const ICmdMessage& message, const std::string& name) {
    if (!message.HasParameter(name)) return false;
    if (const auto flag = Values::ReadFlag(message.GetString(name))) return *flag;
    throw Refusal(name + " must be true or false, not \"" + message.GetString(name) + "\"");
}

Reply AskGroupList(IIntercomAgent& agent, const ICmdMessage& message) {
    return agent.GetGroupList(Flag(message, "includeAll"));
}

Reply AskDeviceList(IIntercomAgent& agent, const ICmdMessage&) {
    return agent.GetDeviceList();
}

Reply AskContactList(IIntercomAgent& agent, const ICmdMessage&) {
    return agent.GetContactList();
}

Reply AskDeviceAor(IIntercomAgent& agent, const ICmdMessage& message) {
    return Result(agent.GetDeviceAOR(Id(message, "id")));
}

Reply AskPopupTimeout(IIntercomAgent& agent, const ICmdMessage&) {
    return Result(std::to_string(agent.GetPopupTimeout()));
}

Reply AskDeviceListByGroup(IIntercomAgent& agent, const ICmdMessage& message) {
    std::vector<unsigned long> ids;
    agent.GetDeviceListByGroup(ids, Int(message, "groupId"));
    Reply reply = Result("");
    for (const unsigned long id : ids)
        reply->NodeAddNamedULong("device", id);
    return reply;
}

Reply AskIntercomDevice(IIntercomAgent& agent, const ICmdMessage& message) {
    ISupportIntercom* const device = agent.GetIntercomDevice(Id(message, "id"));
    return Result(device ? device->getKey() : "");
}

}  // namespace

// clang-format off
const PanelCommands::Row PanelCommands::kCommands[] = {
    {"getOperations",     &PanelCommands::OnReqGetOperations,     "what the agent called on this panel, in order"},
    {"clearOperations",   &PanelCommands::OnReqClearOperations,   "forget the recorded operations"},
    {"setProperty",       &PanelCommands::OnReqSetProperty,       "change one config value, silently (name value)"},
    {"openSession",       &PanelCommands::OnReqOpenSession,       "hold a session with a device key (remote session)"},
    {"closeSession",      &PanelCommands::OnReqCloseSession,      "end the session with a device key (remote)"},
    {"addToAgent",        &PanelCommands::OnReqAddToAgent,        "register with the agent, or pass it no device ([id] [null])"},
    {"removeFromAgent",   &PanelCommands::OnReqRemoveFromAgent,   "take a device out of the agent ([id])"},
    {"notifyChanged",     &PanelCommands::OnReqNotifyChanged,     "tell the agent that a property changed (property [id])"},
    {"reportCall",        &PanelCommands::OnReqReportCall,        "report a finished call (displayName address callTime callLength received accepted)"},
    {"endOfflineSession", &PanelCommands::OnReqEndOfflineSession, "report a lost peer (local remote)"},
    {"askAgent",          &PanelCommands::OnReqAskAgent,          "call one of the agent's queries (operation, then includeAll, id or groupId)"},
};

const PanelCommands::QuestionRow PanelCommands::kQuestions[] = {
    {"GetGroupList",         &AskGroupList},
    {"GetDeviceList",        &AskDeviceList},
    {"GetContactList",       &AskContactList},
    {"GetDeviceAOR",         &AskDeviceAor},
    {"GetPopupTimeout",      &AskPopupTimeout},
    {"GetDeviceListByGroup", &AskDeviceListByGroup},
    {"GetIntercomDevice",    &AskIntercomDevice},
};
// clang-format on

void PanelCommands::Register(UICmdDispatcher& dispatcher) {
    for (const Row& row : kCommands) {
        const auto answer = [this, handler = row.handler](const ICmdMessage& message) -> Reply {
            try {
                return (this->*handler)(message);
            } catch (const Refusal& refusal) {
                return DvXML::CreateXmlNode("fail", refusal.what());
            }
        };
        dispatcher.RegisterUICmd(row.name, answer, row.help);
    }
}

IIntercomAgent& PanelCommands::Agent() const {
    IIntercomAgent* const agent = panel_.Link().Find();
    if (!agent) throw Refusal(kNoAgent);
    return *agent;
}

unsigned long PanelCommands::IdOr(const ICmdMessage& message, unsigned long otherwise) const {
    return message.HasParameter("id") ? Id(message, "id") : otherwise;
}

Reply PanelCommands::OnReqGetOperations(const ICmdMessage&) {
    return panel_.Recorded().ToXml();
}

Reply PanelCommands::OnReqClearOperations(const ICmdMessage&) {
    panel_.Recorded().Clear();
    return Success();
}

Reply PanelCommands::OnReqSetProperty(const ICmdMessage& message) {
    const std::string& name = Required(message, "name");
    const PanelConfig::Row* const row = PanelConfig::FindRow(name);
    if (!row)
        throw Refusal("no config value \"" + name + "\" can be set; these can: " + PanelConfig::Names());
    const std::string fault = panel_.ChangeSilently(*row, Required(message, "value"));
    if (!fault.empty()) throw Refusal(fault);
    return Success();
}

Reply PanelCommands::OnReqOpenSession(const ICmdMessage& message) {
    const std::string& remote = Required(message, "remote");
    panel_.Sessions().Replace(remote,
                              static_cast<unsigned char>(Number(message, "session", 0, kMostSession)));
    return Success();
}

Reply PanelCommands::OnReqCloseSession(const ICmdMessage& message) {
    const std::string& remote = Required(message, "remote");
    if (!panel_.Sessions().CloseRemote(remote)) throw Refusal("no session with \"" + remote + "\" is open");
    return Success();
}

Reply PanelCommands::OnReqAddToAgent(const ICmdMessage& message) {
    const unsigned long id = IdOr(message, panel_.getDeviceId());
    IIntercomAgent& agent = Agent();
    if (Flag(message, "null"))
        agent.AddIntercomDevice(id, nullptr);
    else
        panel_.Link().Add(id);
    return Success();
}

Reply PanelCommands::OnReqRemoveFromAgent(const ICmdMessage& message) {
    const unsigned long id = IdOr(message, panel_.getDeviceId());
    if (!panel_.Link().Remove(id)) throw Refusal(kNoAgent);
    return Success();
}

Reply PanelCommands::OnReqNotifyChanged(const ICmdMessage& message) {
    const auto property = static_cast<dvIntercom::DeviceProps>(Int(message, "property"));
    const unsigned long id = IdOr(message, panel_.getDeviceId());
    Agent().OnDeviceChanged(id, property);
    return Success();
}

Reply PanelCommands::OnReqReportCall(const ICmdMessage& message) {
    const bool received = Flag(message, "received");
    const bool accepted = Flag(message, "accepted");
    Agent().AddRecentContact(message.GetString("displayName"), message.GetString("address"),
                             message.GetString("callTime"), message.GetString("callLength"), received,
                             accepted);
    return Success();
}

Reply PanelCommands::OnReqEndOfflineSession(const ICmdMessage& message) {
    Agent().EndOfflineSession(message.GetString("local"), message.GetString("remote"));
    return Success();
}

Reply PanelCommands::OnReqAskAgent(const ICmdMessage& message) {
    const std::string& operation = Required(message, "operation");
    std::string known;
    for (const QuestionRow& row : kQuestions) {
        if (operation == row.operation) return row.ask(Agent(), message);
        known.append(known.empty() ? "" : ", ").append(row.operation);
    }
    throw Refusal("the agent cannot be asked \"" + operation + "\"; it can be asked " + known);
}
