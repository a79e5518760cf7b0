#include "contacts/IntercomContact.h"

#include <boost/make_shared.hpp>

#include "host/glue/XmlText.h"

PhoneTypeList ReadPhoneTypeList(const DvXML::INode* container) {
    PhoneTypeList phones;
    if (!container) return phones;
    int position = 0;
    for (const DvXML::INode* element : container->NodeChildren()) {
        const auto phone = boost::make_shared<T_PHONE_TYPE>();
        phone->kind = element->NodeGetName();
        phone->speedDial = element->NodeGetBoolAttribute("speedDial");
        phones.emplace(std::to_string(position++) + "-" + std::string(element->NodeGetText()), phone);
    }
    return phones;
}

IntercomContact::IntercomContact(const ICmdMessage& message)
    : displayName_(message.GetString("displayName")),
      firstName_(message.GetString("firstName")),
      lastName_(message.GetString("lastName")),
      contactId_(message.GetInt("contactId")),
      phones_(ReadPhoneTypeList(DvXML::ParseRoot(message.GetString("phoneType")).get())) {}

IntercomContact::IntercomContact(const DvXML::INode* node) {
    if (node->NodeGetName() != "contact") return;
    contactId_ = node->NodeGetNamedInt("contactId");
    displayName_ = node->NodeGetNamedValue("displayName");
    firstName_ = node->NodeGetNamedValue("firstName");
    lastName_ = node->NodeGetNamedValue("lastName");
    phones_ = ReadPhoneTypeList(node->NodeFindChild("phoneType"));
}

IntercomContact::IntercomContact(const std::string& address, const std::string& displayName)
    : address_(address), displayName_(displayName) {}

IntercomContact::IntercomContact(const IntercomContact& other)
    : dv::Counted(other), address_(other.address_), displayName_(other.displayName_) {}

IntercomContact& IntercomContact::operator=(const IntercomContact& other) {
    address_ = other.address_;
    displayName_ = other.displayName_;
    return *this;
}

IntercomContact::~IntercomContact() = default;

dv::auto_com<DvXML::INode> IntercomContact::toXml() const {
    auto contact = DvXML::CreateXmlNode("contact", "");
    contact->NodeAddNamedInt("contactId", contactId_);
    contact->NodeAddNamedValue("displayName", displayName_);
    contact->NodeAddNamedValue("firstName", firstName_);
    contact->NodeAddNamedValue("lastName", lastName_);

    const auto list = DvXML::CreateXmlNode("phoneType", "");
    for (const auto& [key, phone] : phones_) {
        // Only the position goes: a number may contain the separator itself.
        const auto separator = key.find('-');
        const auto element = DvXML::CreateXmlNode(
            phone->kind, separator == std::string::npos ? key : key.substr(separator + 1));
        element->NodeSetBoolAttribute("speedDial", phone->speedDial);
        list->NodeAddChild(element.get());
    }
    contact->NodeAddChild(list.get());
    return contact;
}
