// The state document, <IntercomState>: eleven children in a fixed order. The form of the records in
// them is described with each record.
//
// The form may only grow: the reader ignores what it does not know, never looks at "version", and
// leaves a table empty when its element is missing. It checks no ranges, because the host keeps
// damaged documents away.
#include <boost/make_shared.hpp>
#include <utility>

#include "agent/IntercomAgent.h"
#include "agent/Replies.h"
#include "host/glue/XmlHelper.h"

namespace {

constexpr char kVersion[] = "0.0.0.1";

// Makes a record from each child; if two have the same key, the first one stays.
template <class Record>
void ReadSipEntities(const DvXML::INode& list, SipEntityMap& store) {
    for (DvXML::INode* element : list.NodeChildren()) {
        const auto record = boost::make_shared<Record>(element);
        store.emplace(record->getKey(), record);
    }
}

}  // namespace

dv::auto_com<DvXML::INode> IntercomAgent::GetPersistState(unsigned long) {
    auto root = DvXML::CreateXmlNode("IntercomState", "");
    root->NodeAddNamedValue("version", kVersion);
    root->NodeAddNamedInt("nextGroupId", nextGroupId);
    root->NodeAddNamedInt("popupTimeout", popupTimeout);
    root->NodeAddChild(GetDeviceOrder().get());
    root->NodeAddChild(GetGroupList(false).get());
    root->NodeAddChild(GetContactList().get());
    root->NodeAddNamedInt("maxRecentCalls", maxRecentCalls);
    root->NodeAddChild(ListOf("routes", routes).get());
    root->NodeAddChild(ListOf("acls", acls).get());
    root->NodeAddChild(ListOf("configs", configs).get());
    root->NodeAddChild(ListOf("services", services).get());
    return root;
}

void IntercomAgent::ReadState(DvXML::INode& state) {
    nextGroupId = state.NodeGetNamedInt("nextGroupId");
    popupTimeout = state.NodeGetNamedInt("popupTimeout");
    if (DvXML::INode* order = state.NodeFindChild("order")) ReadDeviceOrder(*order);
    if (DvXML::INode* list = state.NodeFindChild("groups")) ReadGroups(*list);
    if (DvXML::INode* list = state.NodeFindChild("contacts")) ReadContacts(*list);
    maxRecentCalls = state.NodeGetNamedInt("maxRecentCalls");
    if (DvXML::INode* list = state.NodeFindChild("routes")) ReadSipEntities<SipRoute>(*list, routes);
    if (DvXML::INode* list = state.NodeFindChild("acls")) ReadSipEntities<SipAcl>(*list, acls);
    if (DvXML::INode* list = state.NodeFindChild("configs")) ReadConfigs(*list);
    if (DvXML::INode* list = state.NodeFindChild("services")) ReadServices(*list);
}

void IntercomAgent::ReadDeviceOrder(DvXML::INode& order) {
    std::vector<unsigned long> ids;
    XmlHelper::fromXml<unsigned long>(ids, order, "devices");
    deviceOrder = OrderedIds(std::move(ids));
}

// If two groups have the same id, the last one stays.
void IntercomAgent::ReadGroups(DvXML::INode& list) {
    for (DvXML::INode* element : list.NodeChildren()) {
        // This name belongs to the computed group; a stored group would be listed beside it.
        if (element->NodeGetNamedValue("name") == IntercomGroup::kAllName) continue;
        const auto group = boost::make_shared<IntercomGroup>(element);
        groups.Erase(group->GetGroupId());
        groups.Add(group);
    }
}

void IntercomAgent::ReadContacts(DvXML::INode& list) {
    for (DvXML::INode* element : list.NodeChildren())
        contacts.Add(boost::make_shared<IntercomContact>(element));
}

void IntercomAgent::ReadConfigs(DvXML::INode& list) {
    for (DvXML::INode* element : list.NodeChildren())
        AddConfig(new SipConfig(element));
}

void IntercomAgent::ReadServices(DvXML::INode& list) {
    for (DvXML::INode* element : list.NodeChildren()) {
        const auto service = boost::make_shared<ServiceInfo>(element);
        services.emplace(service->getKey(), service);
    }
}
