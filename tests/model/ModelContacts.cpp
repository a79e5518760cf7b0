// The address book and the recent calls.
#include <algorithm>

#include "tests/model/AgentModel.h"

namespace model {

std::map<std::string, AgentModel::Phone> AgentModel::PhonesOf(const std::vector<Tree>& children) {
    std::map<std::string, Phone> phones;
    for (std::size_t i = 0; i < children.size(); i++) {
        const Tree& child = children[i];
        phones[std::to_string(i) + "-" + child.text] = {child.name, ReadBool(child.Attribute("speedDial"))};
    }
    return phones;
}

AgentModel::Contact AgentModel::ContactOf(const Tree& element) {
    if (element.name != "contact") return {};
    Contact contact{ReadInt(element.Value("contactId")),
                    element.Value("displayName"),
                    element.Value("firstName"),
                    element.Value("lastName"),
                    {}};
    if (element.Find("phoneType")) contact.phones = PhonesOf(element.Find("phoneType")->children);
    return contact;
}

Tree AgentModel::ContactTree(const Contact& contact) {
    Tree tree("contact");
    tree.AddInt("contactId", contact.id).Add("displayName", contact.displayName);
    tree.Add("firstName", contact.firstName).Add("lastName", contact.lastName);
    Tree phones("phoneType");
    for (const auto& [key, phone] : contact.phones) {
        Tree number(phone.kind, key.substr(key.find('-') + 1));
        number.attributes = {{"speedDial", phone.speedDial ? "true" : "false"}};
        phones.Add(number);
    }
    return tree.Add(phones);
}

Tree AgentModel::ContactList() const {
    Tree list("contacts");
    for (const Contact& contact : contacts_)
        list.Add(ContactTree(contact));
    return list;
}

std::vector<AgentModel::Contact>::iterator AgentModel::FindContact(int id) {
    return std::find_if(contacts_.begin(), contacts_.end(),
                        [&](const Contact& contact) { return contact.id == id; });
}

AgentModel::Element AgentModel::AddContact(const Message& message) {
    const int id = message.Int("contactId");
    if (FindContact(id) != contacts_.end()) return Fail();
    contacts_.push_back({id, message.Text("displayName"), message.Text("firstName"), message.Text("lastName"),
                         PhonesOf(message.Children("phoneType"))});
    Mark();
    Event("ContactAdded", id);
    return Success();
}

AgentModel::Element AgentModel::DeleteContact(const Message& message) {
    const auto found = FindContact(message.Int("contactId"));
    if (found == contacts_.end()) return Fail();
    contacts_.erase(found);
    Mark();
    Event("ContactDeleted", message.Int("contactId"));
    return Success();
}

AgentModel::Element AgentModel::EditContact(const Message& message) {
    const auto found = FindContact(message.Int("contactId"));
    if (found == contacts_.end()) return Fail();
    found->displayName = message.Text("displayName");
    found->phones = PhonesOf(message.Children("phoneType"));
    Mark();
    Event("ContactEdited", found->id);
    return Success();
}

Tree AgentModel::RecentTree(const Recent& call) {
    Tree tree("recentContact");
    tree.AddInt("id", call.id).Add("displayName", call.displayName).Add("aor", call.address);
    tree.Add("callTime", call.time).Add("callLength", call.length);
    return tree.AddBool("receivedCall", call.received).AddBool("acceptedCall", call.accepted);
}

void AgentModel::AddRecentContact(const Recent& call) {
    const int count = static_cast<int>(recents_.size());
    if (count > 0 && count == maxRecentCalls_) recents_.erase(recents_.begin());
    recents_.push_back(call);
    recents_.back().id = nextRecentId_++;
    const Recent added = recents_.back();
    Mark();
    Log(7, "AddRecentContact: " + ToText(RecentTree(added)));
    Event("RecentContactAdded", added.id);
}

AgentModel::Element AgentModel::GetRecentContactList(const Message&) {
    Tree list("recentContacts");
    for (const Recent& call : recents_)
        list.Add(RecentTree(call));
    return list;
}

AgentModel::Element AgentModel::DeleteRecentContact(const Message& message) {
    const int id = message.Int("id");
    const auto found =
        std::find_if(recents_.begin(), recents_.end(), [&](const Recent& call) { return call.id == id; });
    if (found == recents_.end()) return Fail();
    const Recent removed = *found;
    recents_.erase(found);
    if (recents_.empty()) nextRecentId_ = 0;
    Mark();
    Log(7, "OnReqDeleteRecentContact: " + ToText(RecentTree(removed)));
    Event("RecentContactDeleted", id);
    return Success();
}

AgentModel::Element AgentModel::ClearRecentContactList(const Message&) {
    recents_.clear();
    nextRecentId_ = 1;
    Mark();
    Event("RecentContactsCleared");
    return Success();
}

}  // namespace model
