#include "tests/model/AgentModel.h"

#include <algorithm>

namespace model {
namespace {

constexpr char kAgentInterface[] = "F2AE00A1-E2AF-4126-8F6F-137A42247E11";
constexpr const char* kEventClasses[] = {"11", "8", "12"};

std::string Lowered(std::string line) {
    for (char& c : line) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return line;
}

template <class Handlers>
std::vector<std::string> NamesOf(const Handlers& handlers) {
    std::vector<std::string> names;
    for (const auto& [name, handler] : handlers)
        names.push_back(name);
    return names;
}

}  // namespace

unsigned long AgentModel::nextUserId = 99999;

Tree Success() {
    return Tree("success");
}
Tree Fail(const std::string& reason) {
    return Tree("fail", reason);
}

AgentModel::AgentModel(Surroundings& surroundings, std::vector<std::string>& lines)
    : surroundings_(surroundings), lines_(lines) {
    Proxy("kill");
    Proxy("enable");
}

void AgentModel::Initialize(unsigned long ownId, const Tree* saved) {
    ownId_ = ownId;
    Line(std::string("register ") + kAgentInterface);
    for (const char* eventClass : kEventClasses)
        Line(std::string("listen ") + eventClass + " 0");
    if (saved) Load(*saved);
    const std::string& address = surroundings_.address;
    if (!address.empty() && configs_.count(address) == 0) {
        Tree config("State");
        config.Add("key", address).Add("domain", address).AddInt("port", 5060);
        configs_.emplace(address, config);
    }
    UpdateExternal();
    Event("AGENT_EXTERNAL", static_cast<int>(ownId_), external_);
    for (const DeviceFacts& driver : surroundings_.drivers) {
        Tell(driver, {"requestToAddDevice"});
        if (driver.answersRequests) AddIntercomDevice(driver.id, &driver);
    }
}

void AgentModel::OnDestroy() {
    for (const char* eventClass : kEventClasses)
        Line(std::string("unlisten ") + eventClass + " 0");
    Line(std::string("unregister ") + kAgentInterface);
    for (const unsigned long id : DeviceIds()) {
        const DeviceFacts* device = Device(id);
        if (device) Tell(*device, {"disconnectAgent"}, device->onDisconnect);
    }
    devices_.clear();
    users_.clear();
    Proxy("disable");
}

void AgentModel::Delete() {
    Line("withdraw all");
}

Tree AgentModel::State() const {
    Tree state("IntercomState");
    state.Add("version", "0.0.0.1").AddInt("nextGroupId", nextGroupId_).AddInt("popupTimeout", popupTimeout_);
    state.Add(Order()).Add(GroupList(false)).Add(ContactList()).AddInt("maxRecentCalls", maxRecentCalls_);
    const std::pair<const char*, const Store*> stores[] = {
        {"routes", &routes_}, {"acls", &acls_}, {"configs", &configs_}, {"services", &services_}};
    for (const auto& [name, store] : stores) {
        Tree container(name);
        for (const auto& [key, record] : *store)
            container.Add(record);
        state.Add(container);
    }
    return state;
}

AgentModel::Answer AgentModel::UiCommand(const Message& message) {
    const auto found = UiHandlers().find(message.name);
    if (found == UiHandlers().end()) return {false, std::nullopt};
    return {true, (this->*found->second)(message)};
}

bool AgentModel::PlainCommand(const Message& message) {
    const auto found = PlainHandlers().find(message.name);
    if (found == PlainHandlers().end()) return false;
    (this->*found->second)(message);
    return true;
}

void AgentModel::SystemEvent(const Tree& event) {
    unsigned long item = 0;
    unsigned long room = 0;
    for (const Tree& child : event.children) {
        if (child.Value("name") == "iditem") item = ReadId(child.text);
        if (child.Value("name") == "idroom") room = ReadId(child.text);
    }
    if (item == 0) return;
    const std::string name = event.Value("name");
    if (name == "OnItemRemoved") return OnDeviceRemoved(item);
    if (mode_ != 2 || (name != "OnItemNameChanged" && name != "OnItemMoved")) return;
    const bool everyDevice = name == "OnItemNameChanged" && item == room;
    for (const unsigned long one : everyDevice ? DeviceIds() : std::vector<unsigned long>{item}) {
        if (!Device(one)) continue;
        TellAddress(*Device(one));
        OnDeviceChanged(one, 0);
    }
}

void AgentModel::CheckMode() {
    int mode = 1;
    for (const auto& [id, device] : devices_)
        mode = std::max(mode, device->version);
    if (mode == mode_) return;
    if (mode == 1) Proxy("disable");
    if (mode == 2) Proxy("enable");
    mode_ = mode;
}

void AgentModel::UpdateExternal() {
    external_ = !services_.empty();
    if (!external_) return;
    Log(7, "IntercomAgent checking services");
    Log(7, "IntercomAgent has services");
}

AgentModel::Element AgentModel::SetPopupTimeout(const Message& message) {
    popupTimeout_ = message.Int("timeout");
    Event("PopupTimeoutChanged", static_cast<int>(ownId_), popupTimeout_);
    return Success();
}

AgentModel::Element AgentModel::GetIsExternal(const Message&) {
    UpdateExternal();
    Event("AGENT_EXTERNAL", static_cast<int>(ownId_), external_);
    return Tree("external", external_ ? "true" : "false");
}

void AgentModel::Event(const std::string& name, int id, int state) {
    Tree event(name);
    if (id != -1) event.AddInt("id", id);
    if (state != -1) event.AddInt("state", state);
    Ui(event);
}

void AgentModel::Log(int level, const std::string& text) {
    Line("log " + std::to_string(level) + " " + text);
}

void AgentModel::Proxy(const std::string& request) {
    Line("sysman " + request + " sipproxy");
    SysmanReply output = request + "\n";
    if (!surroundings_.replies.empty()) {
        output = surroundings_.replies.front();
        surroundings_.replies.pop_front();
    }
    if (!output) return Log(3, "failed to open connection to sysman");
    const std::string reply = Lowered(*output);
    if (reply.compare(0, request.size(), request) == 0)
        return Log(6, "IntercomAgent " + request + " sipproxy");
    Log(3, "Failed to " + request + " sipproxy");
}

const std::map<std::string, AgentModel::UiHandler>& AgentModel::UiHandlers() {
    static const std::map<std::string, UiHandler> handlers = {
        {"addGroup", &AgentModel::AddGroup},
        {"copyGroup", &AgentModel::CopyGroup},
        {"deleteGroup", &AgentModel::DeleteGroup},
        {"getGroupList", &AgentModel::GetGroupList},
        {"getGroup", &AgentModel::GetGroup},
        {"getDeviceList", &AgentModel::GetDeviceList},
        {"setDeviceOrder", &AgentModel::SetDeviceOrder},
        {"getDeviceState", &AgentModel::GetDeviceState},
        {"setDeviceState", &AgentModel::SetDeviceState},
        {"getPopupTimeout", &AgentModel::GetPopupTimeout},
        {"setPopupTimeout", &AgentModel::SetPopupTimeout},
        {"getIsExternal", &AgentModel::GetIsExternal},
        {"setGroupState", &AgentModel::SetGroupState},
        {"getSipUserGroup", &AgentModel::GetSipUserGroup},
        {"getCustomButtons", &AgentModel::GetCustomButtons},
        {"addUser", &AgentModel::AddUser},
        {"eraseUser", &AgentModel::EraseUser},
        {"getUser", &AgentModel::GetUser},
        {"addRoute", &AgentModel::AddRoute},
        {"eraseRoute", &AgentModel::EraseRoute},
        {"getRoute", &AgentModel::GetRoute},
        {"addAcl", &AgentModel::AddAcl},
        {"eraseAcl", &AgentModel::EraseAcl},
        {"getAcl", &AgentModel::GetAcl},
        {"addConfig", &AgentModel::AddConfig},
        {"eraseConfig", &AgentModel::EraseConfig},
        {"getConfig", &AgentModel::GetConfig},
        {"getSipProxyIP", &AgentModel::GetSipProxyIP},
        {"setSipProxyIP", &AgentModel::SetSipProxyIP},
        {"applySIPProxyChanges", &AgentModel::ApplySipProxyChanges},
        {"editService", &AgentModel::EditService},
        {"getServiceList", &AgentModel::GetServiceList},
        {"removeService", &AgentModel::RemoveService},
        {"addContact", &AgentModel::AddContact},
        {"deleteContact", &AgentModel::DeleteContact},
        {"editContact", &AgentModel::EditContact},
        {"getContactList", &AgentModel::GetContactList},
        {"getRecentContactList", &AgentModel::GetRecentContactList},
        {"deleteRecentContact", &AgentModel::DeleteRecentContact},
        {"clearRecentContactList", &AgentModel::ClearRecentContactList}};
    return handlers;
}

const std::map<std::string, AgentModel::PlainHandler>& AgentModel::PlainHandlers() {
    static const std::map<std::string, PlainHandler> handlers = {
        {"SIP_EXTERNAL_CALL", &AgentModel::ExternalCall},
        {"SIP_REGULAR_CALL", &AgentModel::RegularCall},
        {"SIP_MONITOR_CALL", &AgentModel::MonitorCall},
        {"SIP_BROADCAST_CALL", &AgentModel::BroadcastCall},
        {"CUSTOM_BUTTON", &AgentModel::CustomButton}};
    return handlers;
}

std::vector<std::string> AgentModel::UiCommandNames() {
    return NamesOf(UiHandlers());
}
std::vector<std::string> AgentModel::PlainCommandNames() {
    return NamesOf(PlainHandlers());
}

}  // namespace model
