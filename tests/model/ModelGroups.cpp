// Groups of devices, and the lists of ids that parameters carry.
#include <algorithm>

#include "tests/model/AgentModel.h"

namespace model {
namespace {

constexpr char kAll[] = "All";

}  // namespace

std::vector<unsigned long> AgentModel::IdsOf(const std::vector<Tree>& children) {
    std::vector<unsigned long> ids;
    for (const Tree& child : children) {
        const long long number = ReadLong(child.text);
        if (number != 0 && number != -1) ids.push_back(ToId(number));
    }
    return ids;
}

bool AgentModel::NameIsFree(const std::string& name) const {
    return name != kAll && std::none_of(groups_.begin(), groups_.end(),
                                        [&](const auto& entry) { return entry.second.name == name; });
}

Tree AgentModel::GroupTree(const Group& group) const {
    Tree tree("group");
    tree.AddInt("groupId", group.id).Add("name", group.name);
    if (group.devices.empty()) return tree;
    Tree devices("devices");
    for (const unsigned long id : group.devices)
        devices.AddInt("device", static_cast<long long>(id));
    return tree.Add(devices);
}

/// Every registered device that is not a door station, under the id that it answers itself.
AgentModel::Group AgentModel::Everybody() const {
    Group all{0, kAll, {}};
    for (const auto& [id, device] : devices_) {
        const bool listed = std::count(all.devices.begin(), all.devices.end(), device->id) > 0;
        if (!device->doorStation && !listed) all.devices.push_back(device->id);
    }
    return all;
}

Tree AgentModel::GroupOrFail(int id) const {
    if (id == 0) return GroupTree(Everybody());
    const auto found = groups_.find(id);
    return found == groups_.end() ? Fail() : GroupTree(found->second);
}

Tree AgentModel::GroupList(bool includeAll) const {
    Tree list("groups");
    if (includeAll) list.Add(GroupOrFail(0));
    for (const auto& [id, group] : groups_)
        list.Add(GroupTree(group));
    return list;
}

void AgentModel::DeviceListByGroup(std::vector<unsigned long>& out, int groupId) const {
    const auto found = groups_.find(groupId);
    if (found != groups_.end()) out = found->second.devices;
}

AgentModel::Element AgentModel::Found(const std::string& name, const std::vector<unsigned long>& members) {
    const Group group{nextGroupId_, name, members};
    groups_.emplace(nextGroupId_, group);  // an id that is taken keeps its group
    nextGroupId_++;
    Mark();
    Event("GroupAdded", group.id);
    return GroupTree(group);
}

AgentModel::Element AgentModel::AddGroup(const Message& message) {
    const std::string name = message.Text("name");
    return NameIsFree(name) ? Found(name, {}) : Fail();
}

AgentModel::Element AgentModel::CopyGroup(const Message& message) {
    const std::string name = message.Text("name");
    const auto source = groups_.find(message.Int("groupId"));
    if (!NameIsFree(name) || source == groups_.end()) return Fail();
    return Found(name, std::vector<unsigned long>(source->second.devices));
}

AgentModel::Element AgentModel::DeleteGroup(const Message& message) {
    const int id = message.Int("groupId");
    if (groups_.erase(id) == 0) return Fail();
    Mark();
    Event("GroupRemoved", id);
    return Tree("groupId", std::to_string(id));
}

AgentModel::Element AgentModel::SetGroupState(const Message& message) {
    const auto found = groups_.find(message.Int("groupId"));
    if (found == groups_.end()) return Fail();
    found->second.name = message.Text("name");
    found->second.devices = IdsOf(message.Children("xml"));
    Event("GroupChanged", found->first);
    return Success();
}

AgentModel::Element AgentModel::GetSipUserGroup(const Message& message) {
    const std::string name = message.Text("groupName");
    Tree answer("SipGroup");
    answer.Add("GroupName", name);
    if (name == kAll) {
        for (const auto& [id, device] : devices_) {
            if (!device->doorStation) answer.Add("key", device->key);
        }
        return answer;
    }
    const auto found = std::find_if(groups_.begin(), groups_.end(),
                                    [&](const auto& entry) { return entry.second.name == name; });
    if (found == groups_.end()) return Fail();
    for (const unsigned long id : found->second.devices) {
        if (Device(id)) answer.Add("key", Device(id)->key);
    }
    return answer;
}

}  // namespace model
