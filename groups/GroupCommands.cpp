// Commands on groups. Names of stored groups are unique when a group is made, and "All" is
// reserved; a later setGroupState may give any name.
#include <algorithm>
#include <boost/make_shared.hpp>
#include <functional>
#include <unordered_set>
#include <vector>

#include "agent/IntercomAgent.h"
#include "agent/Replies.h"
#include "agent/UiEvents.h"
#include "host/glue/Numbers.h"
#include "host/glue/XmlHelper.h"

namespace {

// Most devices bear the ids that they are registered under, which ascend: then none repeats.
void KeepFirstOfEach(std::vector<unsigned long>& ids) {
    if (std::adjacent_find(ids.begin(), ids.end(), std::greater_equal<>()) == ids.end()) return;
    std::unordered_set<unsigned long> seen;
    std::erase_if(ids, [&](unsigned long id) { return !seen.insert(id).second; });
}

}  // namespace

IntercomAgent::Reply IntercomAgent::OnReqAddGroup(const ICmdMessage& message) {
    const std::string& name = message.GetString("name");
    if (!IsGroupNameFree(name)) return Replies::Fail();
    return InsertNewGroup(name, {});
}

IntercomAgent::Reply IntercomAgent::OnReqCopyGroup(const ICmdMessage& message) {
    const std::string& name = message.GetString("name");
    if (!IsGroupNameFree(name)) return Replies::Fail();
    const GroupPtr source = groups.Find(message.GetInt("groupId"));
    if (!source) return Replies::Fail();

    std::vector<unsigned long> members;
    source->GetGroupList(members);
    return InsertNewGroup(name, members);
}

bool IntercomAgent::IsGroupNameFree(const std::string& name) const {
    return name != IntercomGroup::kAllName && !groups.Find(name);
}

IntercomAgent::Reply IntercomAgent::InsertNewGroup(const std::string& name,
                                                   const std::vector<unsigned long>& deviceIds) {
    const auto group = boost::make_shared<IntercomGroup>(nextGroupId, name);
    group->SetGroupList(deviceIds);
    groups.Add(group);
    nextGroupId = dv::NextNumber(nextGroupId);
    DmInvalidateState();
    MySendDataToUI(UiEvents::kGroupAdded, group->GetGroupId(), UiEvents::kNone);
    return group->toXml();
}

IntercomAgent::Reply IntercomAgent::OnReqDeleteGroup(const ICmdMessage& message) {
    const int id = message.GetInt("groupId");
    if (!groups.Erase(id)) return Replies::Fail();
    DmInvalidateState();
    MySendDataToUI(UiEvents::kGroupRemoved, id, UiEvents::kNone);
    return DvXML::CreateXmlNode("groupId", id);
}

IntercomAgent::Reply IntercomAgent::OnReqGetGroupList(const ICmdMessage&) {
    return GetGroupList(true);
}

IntercomAgent::Reply IntercomAgent::OnReqGetGroup(const ICmdMessage& message) {
    return GetGroup(message.GetInt("groupId"));
}

dv::auto_com<DvXML::INode> IntercomAgent::GetGroupList(bool includeAll) {
    auto list = DvXML::CreateXmlNode("groups", "");
    if (includeAll) list->NodeAddChild(GetGroup(IntercomGroup::kAllId).get());
    AppendRecords(*list, groups.All());
    return list;
}

dv::auto_com<DvXML::INode> IntercomAgent::GetGroup(int id) const {
    if (id != IntercomGroup::kAllId) {
        const GroupPtr group = groups.Find(id);
        return group ? group->toXml() : Replies::Fail();
    }
    const std::vector<unsigned long> registeredIds = IdsOfAll();
    std::vector<unsigned long> members;
    members.reserve(registeredIds.size());
    for (const unsigned long registered : registeredIds)
        if (const auto own = Ask(registered, &ISupportIntercom::getDeviceId)) members.push_back(*own);
    KeepFirstOfEach(members);
    IntercomGroup all(IntercomGroup::kAllId, IntercomGroup::kAllName);
    all.SetGroupList(members);
    return all.toXml();
}

std::vector<unsigned long> IntercomAgent::IdsOfAll() const {
    std::vector<unsigned long> ids = DeviceIds();
    std::erase_if(ids, [&](unsigned long id) { return Ask(id, &ISupportIntercom::isDoorStation) != false; });
    return ids;
}

IntercomAgent::Reply IntercomAgent::OnReqSetGroupState(const ICmdMessage& message) {
    return SetGroupState(message.GetInt("groupId"), message.GetString("name"),
                         XmlHelper::ReadIdList(message.GetString("xml")));
}

// Not marked for saving: the change is stored with the next change of something else.
dv::auto_com<DvXML::INode> IntercomAgent::SetGroupState(int id, const std::string& name,
                                                        const std::vector<unsigned long>& deviceIds) {
    const GroupPtr group = groups.Find(id);
    if (!group) return Replies::Fail();
    groups.Rename(*group, name);
    group->SetGroupList(deviceIds);
    MySendDataToUI(UiEvents::kGroupChanged, id, UiEvents::kNone);
    return Replies::Success();
}

void IntercomAgent::GetDeviceListByGroup(std::vector<unsigned long>& out, int groupId) {
    if (const GroupPtr group = groups.Find(groupId)) group->GetGroupList(out);
}

IntercomAgent::Reply IntercomAgent::OnReqGetSipUserGroup(const ICmdMessage& message) {
    const std::string name = message.GetString("groupName");
    std::vector<unsigned long> members;
    if (name == IntercomGroup::kAllName) {
        members = IdsOfAll();
    } else {
        const GroupPtr group = groups.Find(name);
        if (!group) return Replies::Fail();
        group->GetGroupList(members);
    }
    auto reply = DvXML::CreateXmlNode("SipGroup", "");
    reply->NodeAddNamedValue("GroupName", name);
    for (const unsigned long id : members)
        if (const auto key = Ask(id, &ISupportIntercom::getKey)) reply->NodeAddNamedValue("key", *key);
    return reply;
}
