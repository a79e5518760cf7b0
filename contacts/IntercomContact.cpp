#include "contacts/IntercomContact.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <string_view>
#include <utility>

#include "host/glue/Numbers.h"
#include "host/glue/XmlText.h"

namespace {

// Only the position goes: a number may contain the separator itself.
std::string_view NumberOf(std::string_view key) {
    const auto separator = key.find('-');
    return separator == std::string_view::npos ? key : key.substr(separator + 1);
}

}  // namespace

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
      phones_(ReadPhoneTypeList(DvXML::ParseParameter(message.GetString("phoneType")).get())) {}

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
    : IntercomContact(other.address_, other.displayName_) {}

IntercomContact& IntercomContact::operator=(const IntercomContact& other) {
    setAddress(other.address_);
    setDisplayName(other.displayName_);
    return *this;
}

IntercomContact::~IntercomContact() = default;

void IntercomContact::getPhoneTypeList(PhoneTypeList& out) const {
    out = phones_;
    phonesAreShared_ = true;
    element_.reset();
}

void IntercomContact::setPhoneTypeList(PhoneTypeList phones) {
    phonesAreShared_ =
        std::any_of(phones.begin(), phones.end(), [](const auto& entry) { return !entry.second.unique(); });
    Change().phones_ = std::move(phones);
}

dv::auto_com<DvXML::INode> IntercomContact::toXml() const {
    if (element_) return DvXML::CreateXmlNode(element_);
    DvXML::ElementWriter text;
    WriteElement(text);
    const DvXML::ElementText element = text.TakeExactText();
    if (!phonesAreShared_) element_ = element;
    if (element) return DvXML::CreateXmlNode(element);
    DvXML::ElementWriter nodes(DvXML::ElementWriter::Form::kNodes);
    WriteElement(nodes);
    return nodes.TakeNodes();
}

void IntercomContact::WriteElement(DvXML::ElementWriter& writer) const {
    writer.Begin("contact");
    writer.NamedValue("contactId", std::to_string(contactId_));
    writer.NamedValue("displayName", displayName_);
    writer.NamedValue("firstName", firstName_);
    writer.NamedValue("lastName", lastName_);
    writer.Begin("phoneType");
    for (const auto& [key, phone] : phones_) {
        writer.Begin(phone->kind);
        writer.Attribute("speedDial", dv::BoolText(phone->speedDial));
        writer.Text(NumberOf(key));
        writer.End();
    }
    writer.End();
    writer.End();
}
