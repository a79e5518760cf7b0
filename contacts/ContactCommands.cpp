// Commands on the address book. Contact ids are chosen by user interfaces; the agent only keeps
// a second contact with the same id out.
#include <algorithm>
#include <boost/make_shared.hpp>

#include "agent/IntercomAgent.h"
#include "agent/RecordList.h"
#include "agent/Replies.h"
#include "agent/UiEvents.h"
#include "host/glue/XmlText.h"

IntercomAgent::Reply IntercomAgent::OnReqAddContact(const ICmdMessage& message) {
    const int id = message.GetInt("contactId");
    if (FindContact(id) != contacts.end()) return Replies::Fail();
    contacts.push_back(boost::make_shared<IntercomContact>(message));
    DmInvalidateState();
    MySendDataToUI(UiEvents::kContactAdded, id, UiEvents::kNone);
    return Replies::Success();
}

IntercomAgent::Reply IntercomAgent::OnReqDeleteContact(const ICmdMessage& message) {
    const int id = message.GetInt("contactId");
    const auto found = FindContact(id);
    if (found == contacts.end()) return Replies::Fail();
    contacts.erase(found);
    DmInvalidateState();
    MySendDataToUI(UiEvents::kContactDeleted, id, UiEvents::kNone);
    return Replies::Success();
}

// First and last name stay: a client that wants them changed deletes and adds the contact.
IntercomAgent::Reply IntercomAgent::OnReqEditContact(const ICmdMessage& message) {
    const int id = message.GetInt("contactId");
    const auto found = FindContact(id);
    if (found == contacts.end()) return Replies::Fail();
    const ContactPtr contact = *found;
    contact->setDisplayName(message.GetString("displayName"));
    contact->setPhoneTypeList(ReadPhoneTypeList(DvXML::ParseRoot(message.GetString("phoneType")).get()));
    DmInvalidateState();
    MySendDataToUI(UiEvents::kContactEdited, id, UiEvents::kNone);
    return Replies::Success();
}

IntercomAgent::Reply IntercomAgent::OnReqGetContactList(const ICmdMessage&) {
    return GetContactList();
}

dv::auto_com<DvXML::INode> IntercomAgent::GetContactList() {
    return ListOf("contacts", contacts);
}

std::string IntercomAgent::getNameByAddress(std::string address) const {
    for (const ContactPtr& contact : contacts)
        if (contact->isPhoneList(address)) return contact->getDisplayName();
    return address;
}

std::vector<ContactPtr>::iterator IntercomAgent::FindContact(int contactId) {
    return std::find_if(contacts.begin(), contacts.end(),
                        [&](const ContactPtr& contact) { return contact->getContactId() == contactId; });
}
