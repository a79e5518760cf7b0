#include "groups/GroupTable.h"

GroupPtr GroupTable::Find(int id) const {
    const auto found = groups_.find(id);
    return found == groups_.end() ? GroupPtr() : found->second;
}

GroupPtr GroupTable::Find(const std::string& name) const {
    const auto found = idsByName_.find(name);
    return found == idsByName_.end() ? GroupPtr() : Find(*found->second.begin());
}

void GroupTable::Add(const GroupPtr& group) {
    if (!groups_.emplace(group->GetGroupId(), group).second) return;
    idsByName_[group->GetName()].insert(group->GetGroupId());
}

bool GroupTable::Erase(int id) {
    const auto found = groups_.find(id);
    if (found == groups_.end()) return false;
    Forget(*found->second);
    groups_.erase(found);
    return true;
}

void GroupTable::Rename(IntercomGroup& group, const std::string& name) {
    Forget(group);
    group.SetName(name);
    idsByName_[name].insert(group.GetGroupId());
}

void GroupTable::Forget(const IntercomGroup& group) {
    const auto ids = idsByName_.find(group.GetName());
    ids->second.erase(group.GetGroupId());
    if (ids->second.empty()) idsByName_.erase(ids);
}
