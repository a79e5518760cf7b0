// Commands on the address book. Contact ids are chosen by user interfaces; the agent only keeps
// a second contact with the same id out.
#include <boost/make_shared.hpp>

#include "agent/IntercomAgent.h"
#include "agent/Replies.h"
#include "agent/UiEvents.h"
#include "host/glue/XmlText.h"

IntercomAgent::Reply IntercomAgent::OnReqAddContact(const ICmdMessage& message) {
    const int id = message.GetInt("contactId");
    if (contacts.Find(id)) return Replies::Fail();
    contacts.Add(boost::make_shared<IntercomContact>(message));
    DmInvalidateState();
    MySendDataToUI(UiEvents::kContactAdded, id, UiEvents::kNone);
    return Replies::Success();
}

IntercomAgent::Reply IntercomAgent::OnReqDeleteContact(const ICmdMessage& message) {
    const int id = message.GetInt("contactId");
    if (!contacts.Remove(id)) return Replies::Fail();
    DmInvalidateState();
    MySendDataToUI(UiEvents::kContactDeleted, id, UiEvents::kNone);
    return Replies::Success();
}

// First and last name stay: a client that wants them changed deletes and adds the contact.
IntercomAgent::Reply IntercomAgent::OnReqEditContact(const ICmdMessage& message) {
    const int id = message.GetInt("contactId");
    const ContactPtr contact = contacts.Find(id);
    if (!contact) return Replies::Fail();
    contact->setDisplayName(message.GetString("displayName"));
    contact->setPhoneTypeList(ReadPhoneTypeList(DvXML::ParseParameter(message.GetString("phoneType")).get()));
    DmInvalidateState();
    MySendDataToUI(UiEvents::kContactEdited, id, UiEvents::kNone);
    return Replies::Success();
}

IntercomAgent::Reply IntercomAgent::OnReqGetContactList(const ICmdMessage&) {
    return GetContactList();
}

dv::auto_com<DvXML::INode> IntercomAgent::GetContactList() {
    return ListOf("contacts", contacts.All());
}

std::string IntercomAgent::getNameByAddress(std::string address) const {
    for (const ContactPtr& contact : contacts.All())
        if (contact->isPhoneList(address)) return contact->getDisplayName();
    return address;
}
