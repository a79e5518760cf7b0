// The UI commands of a panel: they show what the agent did with the panel, and make the panel do what
// a real device would do. Commands that do something answer "success"; wrong parameters, or the lack
// of an agent where one is needed, answer "fail" with the reason.
#include <limits>
#include <stdexcept>

#include "drivers/calls/Values.h"
#include "drivers/panel/Panel.h"
#include "host/glue/Numbers.h"

namespace {

using Reply = dv::auto_com<DvXML::INode>;

// Why a command is not carried out. Caught in this file: it becomes the text of "fail".
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

constexpr char kNoAgent[] = "no intercom agent runs in this host";

constexpr std::int64_t kMinInt = std::numeric_limits<int>::min();
constexpr std::int64_t kMaxInt = std::numeric_limits<int>::max();
constexpr std::int64_t kMaxId = 4'294'967'295;
constexpr std::int64_t kMaxSession = 254;

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

std::int64_t Number(const ICmdMessage& message, const std::string& name, std::int64_t min, std::int64_t max) {
    const std::string& text = Required(message, name);
    if (const auto number = Values::ReadWhole(text, min, max)) return *number;
    throw Refusal(name + " must be a number from " + std::to_string(min) + " to " + std::to_string(max) +
                  ", not \"" + text + "\"");
}

// A negative id counts down from the highest, as everywhere: -1 is 4294967295.
unsigned long Id(const ICmdMessage& message, const std::string& name) {
    return dv::ToULong32(Number(message, name, kMinInt, kMaxId));
}

int Int(const ICmdMessage& message, const std::string& name) {
    return static_cast<int>(Number(message, name, kMinInt, kMaxInt));
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

struct Question {
    const char* operation;
    Reply (*ask)(IIntercomAgent&, const ICmdMessage&);
};

// clang-format off
const Question kQuestions[] = {
    {"GetGroupList",         &AskGroupList},
    {"GetDeviceList",        &AskDeviceList},
    {"GetContactList",       &AskContactList},
    {"GetDeviceAOR",         &AskDeviceAor},
    {"GetPopupTimeout",      &AskPopupTimeout},
    {"GetDeviceListByGroup", &AskDeviceListByGroup},
    {"GetIntercomDevice",    &AskIntercomDevice},
};
// clang-format on

}  // namespace

struct Panel::CommandRow {
    const char* name;
    Reply (Panel::*handler)(const ICmdMessage&);
    const char* help;
};

// clang-format off
const Panel::CommandRow Panel::kCommands[] = {
    {"getOperations",     &Panel::OnReqGetOperations,     "what the agent called on this panel, in order"},
    {"clearOperations",   &Panel::OnReqClearOperations,   "forget the recorded operations"},
    {"setProperty",       &Panel::OnReqSetProperty,       "change one config value, silently (name value)"},
    {"openSession",       &Panel::OnReqOpenSession,       "hold a session with a device key (remote session)"},
    {"closeSession",      &Panel::OnReqCloseSession,      "end the session with a device key (remote)"},
    {"addToAgent",        &Panel::OnReqAddToAgent,        "register with the agent, or pass it no device ([id] [null])"},
    {"removeFromAgent",   &Panel::OnReqRemoveFromAgent,   "take a device out of the agent ([id])"},
    {"notifyChanged",     &Panel::OnReqNotifyChanged,     "tell the agent that a property changed (property [id])"},
    {"reportCall",        &Panel::OnReqReportCall,        "report a finished call (displayName address callTime callLength received accepted)"},
    {"endOfflineSession", &Panel::OnReqEndOfflineSession, "report a lost peer (local remote)"},
    {"askAgent",          &Panel::OnReqAskAgent,          "call one of the agent's queries (operation, then includeAll, id or groupId)"},
};
// clang-format on

void Panel::RegisterCommands() {
    for (const CommandRow& row : kCommands) {
        const auto answer = [this, handler = row.handler](const ICmdMessage& message) -> Reply {
            try {
                return (this->*handler)(message);
            } catch (const Refusal& refusal) {
                return DvXML::CreateXmlNode("fail", refusal.what());
            }
        };
        GetUICmdDispatcher().RegisterUICmd(row.name, answer, row.help);
    }
}

IIntercomAgent& Panel::RequireAgent() const {
    IIntercomAgent* const agent = FindAgent();
    if (!agent) throw Refusal(kNoAgent);
    return *agent;
}

unsigned long Panel::IdOrOwn(const ICmdMessage& message) const {
    return message.HasParameter("id") ? Id(message, "id") : getDeviceId();
}

Reply Panel::OnReqGetOperations(const ICmdMessage&) {
    return operations_.ToXml();
}

Reply Panel::OnReqClearOperations(const ICmdMessage&) {
    operations_.Clear();
    return Success();
}

Reply Panel::OnReqSetProperty(const ICmdMessage& message) {
    const std::string& setting = Required(message, "name");
    const PanelConfig::Row* const row = PanelConfig::FindRow(setting);
    if (!row)
        throw Refusal("no config value \"" + setting + "\" can be set; these can: " + PanelConfig::Names());
    const std::string fault = config_.Change(*row, Required(message, "value"));
    if (!fault.empty()) throw Refusal(fault);
    key = config_.key;
    return Success();
}

Reply Panel::OnReqOpenSession(const ICmdMessage& message) {
    const std::string& remote = Required(message, "remote");
    Sessions().Replace(remote, static_cast<unsigned char>(Number(message, "session", 0, kMaxSession)));
    return Success();
}

Reply Panel::OnReqCloseSession(const ICmdMessage& message) {
    const std::string& remote = Required(message, "remote");
    if (!Sessions().CloseRemote(remote)) throw Refusal("no session with \"" + remote + "\" is open");
    return Success();
}

Reply Panel::OnReqAddToAgent(const ICmdMessage& message) {
    const unsigned long id = IdOrOwn(message);
    IIntercomAgent& agent = RequireAgent();
    if (Flag(message, "null"))
        agent.AddIntercomDevice(id, nullptr);
    else
        link_.Add(id);
    return Success();
}

Reply Panel::OnReqRemoveFromAgent(const ICmdMessage& message) {
    const unsigned long id = IdOrOwn(message);
    if (!link_.Remove(id)) throw Refusal(kNoAgent);
    return Success();
}

Reply Panel::OnReqNotifyChanged(const ICmdMessage& message) {
    const auto property = static_cast<dvIntercom::DeviceProps>(Int(message, "property"));
    const unsigned long id = IdOrOwn(message);
    RequireAgent().OnDeviceChanged(id, property);
    return Success();
}

Reply Panel::OnReqReportCall(const ICmdMessage& message) {
    const bool received = Flag(message, "received");
    const bool accepted = Flag(message, "accepted");
    RequireAgent().AddRecentContact(message.GetString("displayName"), message.GetString("address"),
                                    message.GetString("callTime"), message.GetString("callLength"), received,
                                    accepted);
    return Success();
}

Reply Panel::OnReqEndOfflineSession(const ICmdMessage& message) {
    RequireAgent().EndOfflineSession(message.GetString("local"), message.GetString("remote"));
    return Success();
}

Reply Panel::OnReqAskAgent(const ICmdMessage& message) {
    const std::string& operation = Required(message, "operation");
    std::string known;
    for (const Question& row : kQuestions) {
        if (operation == row.operation) return row.ask(RequireAgent(), message);
        known.append(known.empty() ? "" : ", ").append(row.operation);
    }
    throw Refusal("the agent cannot be asked \"" + operation + "\"; it can be asked " + known);
}
