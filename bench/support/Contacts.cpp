#include "bench/support/Contacts.h"

#include <array>
#include <cstddef>

#include "bench/support/Agent.h"

namespace bench {

namespace {

constexpr std::array kFirstNames{"Anna", "Björn", "Charlotte", "Dmitri", "Eloïse", "Ferdinand", "Grace"};
constexpr std::array kLastNames{"Adler", "Baker & Sons", "Castellanos", "Dübendorfer", "Evans"};
constexpr std::array kKinds{"home", "mobile", "work", "sip", "fax", "other"};

template <class Values>
std::string Pick(const Values& values, int index) {
    return values[static_cast<std::size_t>(index) % values.size()];
}

// Ten digits, the first of them never a 0.
std::string Number(int contact, int phone, int edition) {
    return std::to_string(1'000'000'000 + contact * 100 + phone * 10 + edition);
}

Contact MakeContact(int id, int edition) {
    Contact contact{id, "", Pick(kFirstNames, id), Pick(kLastNames, id), {}};
    contact.displayName = contact.firstName + " " + contact.lastName + " " + std::to_string(edition);
    int position = 0;
    for (const char* const kind : kKinds) {
        contact.phones.push_back({kind, Number(id, position, edition), position == 0});
        ++position;
    }
    return contact;
}

dv::auto_com<DvXML::INode> PhoneTypes(const std::vector<Phone>& phones) {
    auto list = DvXML::CreateXmlNode("phoneType", "");
    for (const Phone& phone : phones) {
        const auto element = DvXML::CreateXmlNode(phone.kind, phone.number);
        element->NodeSetBoolAttribute("speedDial", phone.speedDial);
        list->NodeAddChild(element.get());
    }
    return list;
}

dv::auto_com<DvXML::INode> ContactElement(const Contact& contact) {
    auto element = DvXML::CreateXmlNode("contact", "");
    element->NodeAddNamedInt("contactId", contact.id);
    element->NodeAddNamedValue("displayName", contact.displayName);
    element->NodeAddNamedValue("firstName", contact.firstName);
    element->NodeAddNamedValue("lastName", contact.lastName);
    element->NodeAddChild(PhoneTypes(contact.phones).get());
    return element;
}

}  // namespace

ContactBook MakeContacts(int count, int edition) {
    ContactBook contacts;
    for (int id = 1; id <= count; ++id)
        contacts.push_back(MakeContact(id, edition));
    return contacts;
}

dv::auto_com<DvXML::INode> SavedState(const ContactBook& contacts) {
    auto state = DvXML::CreateXmlNode("IntercomState", "");
    state->NodeAddNamedInt("nextGroupId", 1);
    state->NodeAddNamedInt("popupTimeout", 20);
    const auto list = DvXML::CreateXmlNode("contacts", "");
    for (const Contact& contact : contacts)
        list->NodeAddChild(ContactElement(contact).get());
    state->NodeAddChild(list.get());
    state->NodeAddNamedInt("maxRecentCalls", 50);
    return state;
}

dv::auto_com<ICmdMessage> AddMessage(const Contact& contact) {
    return Message("addContact", {{"contactId", std::to_string(contact.id)},
                                  {"displayName", contact.displayName},
                                  {"firstName", contact.firstName},
                                  {"lastName", contact.lastName},
                                  {"phoneType", PhoneTypes(contact.phones)->NodeToText()}});
}

dv::auto_com<ICmdMessage> EditMessage(const Contact& contact) {
    return Message("editContact", {{"contactId", std::to_string(contact.id)},
                                   {"displayName", contact.displayName},
                                   {"phoneType", PhoneTypes(contact.phones)->NodeToText()}});
}

}  // namespace bench
