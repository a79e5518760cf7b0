// SIP proxy records, external services, and the proxy's address; the saved state read back.
#include "tests/model/AgentModel.h"

namespace model {
namespace {

// A number is marked by "#".
const std::vector<std::string> kRouteFields = {"key",        "method", "event", "matchingPattern",
                                               "rewriteExp", "#order"};
const std::vector<std::string> kAclFields = {"key",   "peer",    "address",   "#mask",
                                             "#port", "#family", "#transport"};
const std::vector<std::string> kConfigFields = {"key", "domain", "#port"};
const std::vector<std::string> kServiceFields = {"name", "host", "username", "password"};

/// The record with the values that `source` holds, which is a command or a saved element.
template <class Read>
Tree Record(const std::vector<std::string>& fields, const Read& read) {
    Tree record("State");
    for (const std::string& field : fields) {
        if (field[0] == '#') {
            record.AddInt(field.substr(1), ReadInt(read(field.substr(1))));
        } else {
            record.Add(field, read(field));
        }
    }
    return record;
}

Tree RecordOf(const std::vector<std::string>& fields, const Message& message) {
    return Record(fields, [&](const std::string& name) { return message.Text(name); });
}

Tree RecordOf(const std::vector<std::string>& fields, const Tree& saved) {
    return Record(fields, [&](const std::string& name) { return saved.Value(name); });
}

/// A service is named twice: as the element's own text and as a value.
template <class Source>
Tree ServiceOf(const Source& source) {
    Tree service = RecordOf(kServiceFields, source);
    service.name = "service";
    service.text = service.Value("name");
    return service;
}

}  // namespace

AgentModel::Element AgentModel::Added(const Message& message, bool stored) {
    if (!stored) return Fail("Key already exists");
    Mark();
    Ui(message.Xml());
    return Success();
}

AgentModel::Element AgentModel::AddRecord(const Message& message, const Names& fields, Store& store) {
    return Added(message, store.emplace(message.Text("key"), RecordOf(fields, message)).second);
}

AgentModel::Element AgentModel::AddRoute(const Message& message) {
    return AddRecord(message, kRouteFields, routes_);
}

AgentModel::Element AgentModel::AddConfig(const Message& message) {
    return AddRecord(message, kConfigFields, configs_);
}

AgentModel::Element AgentModel::AddAcl(const Message& message) {
    acls_.emplace(message.Text("key"), RecordOf(kAclFields, message));
    return Added(message, true);
}

AgentModel::Element AgentModel::Erase(Store& store, const std::string& key) {
    if (store.erase(key) > 0) return Success();
    return Fail("Unable to erase sip entity " + key + ", entity not found.");
}

AgentModel::Element AgentModel::EraseRecord(const Message& message, Store& store) {
    if (store.erase(message.Text("key")) == 0) return Fail("Key does not exist");
    Ui(message.Xml());
    return Success();
}

AgentModel::Element AgentModel::EraseAcl(const Message& message) {
    Ui(message.Xml());
    return Erase(acls_, message.Text("key"));
}

AgentModel::Element AgentModel::GetRecord(const Message& message, const Store& store) {
    if (message.Has("key")) {
        const auto found = store.find(message.Text("key"));
        if (found != store.end()) return found->second;
        return Fail("Unable to find sip entity " + message.Text("key") + ".");
    }
    if (!message.Has("index")) return std::nullopt;
    const unsigned long index = message.Id("index");
    if (index >= store.size()) {
        return Fail("No entity located at index " + std::to_string(index) + ".  Not that many items");
    }
    return Tree("key", std::next(store.begin(), static_cast<long>(index))->first);
}

AgentModel::Element AgentModel::SetSipProxyIP(const Message& message) {
    proxyAddress_ = message.Text("address");
    for (const unsigned long id : DeviceIds()) {
        if (Device(id)) TellAddress(*Device(id));
    }
    return Success();
}

AgentModel::Element AgentModel::ApplySipProxyChanges(const Message&) {
    Proxy("kill");
    Proxy("enable");
    return std::nullopt;
}

AgentModel::Element AgentModel::EditService(const Message& message) {
    services_.insert_or_assign(message.Text("name"), ServiceOf(message));
    Mark();
    Event("ServiceChanged");
    return Success();
}

AgentModel::Element AgentModel::GetServiceList(const Message&) {
    Tree list("services");
    for (const auto& [name, service] : services_)
        list.Add(service);
    return list;
}

AgentModel::Element AgentModel::RemoveService(const Message& message) {
    if (services_.erase(message.Text("name")) == 0) return Tree("failed");
    Event("ServiceChanged");
    return Success();
}

void AgentModel::LoadStore(const Tree& saved, const std::string& container, const Names& fields,
                           Store& store) const {
    if (!saved.Find(container)) return;
    for (const Tree& child : saved.Find(container)->children) {
        store.emplace(child.Value("key"), RecordOf(fields, child));
    }
}

void AgentModel::Load(const Tree& saved) {
    nextGroupId_ = ReadInt(saved.Value("nextGroupId"));
    popupTimeout_ = ReadInt(saved.Value("popupTimeout"));
    const auto readIds = [](const Tree& parent, std::vector<unsigned long>& ids) {
        const Tree* container = parent.name == "devices" ? &parent : parent.Find("devices");
        unsigned long id = 0;
        if (!container) return;
        for (const Tree& child : container->children) {
            if (ReadStrictId(child.text, id)) ids.push_back(id);
        }
    };
    const auto childrenOf = [&](const std::string& name) {
        return saved.Find(name) ? saved.Find(name)->children : std::vector<Tree>();
    };
    if (saved.Find("order")) readIds(*saved.Find("order"), order_);
    for (const Tree& child : childrenOf("groups")) {
        if (child.Value("name") == "All") continue;
        Group group{ReadInt(child.Value("groupId")), child.Value("name"), {}};
        readIds(child, group.devices);
        groups_[group.id] = group;
    }
    for (const Tree& child : childrenOf("contacts"))
        contacts_.push_back(ContactOf(child));
    maxRecentCalls_ = ReadInt(saved.Value("maxRecentCalls"));
    LoadStore(saved, "routes", kRouteFields, routes_);
    LoadStore(saved, "acls", kAclFields, acls_);
    LoadStore(saved, "configs", kConfigFields, configs_);
    for (const Tree& child : childrenOf("services"))
        services_.emplace(child.Value("name"), ServiceOf(child));
}

}  // namespace model
