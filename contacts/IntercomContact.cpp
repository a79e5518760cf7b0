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
    : source_(dv::auto_com<Source>::adopt(
          new Source({message.GetString("displayName"), message.GetString("firstName"),
                      message.GetString("lastName"), message.GetInt("contactId"),
                      ReadPhoneTypeList(DvXML::ParseParameter(message.GetString("phoneType")).get())}))) {}

IntercomContact::IntercomContact(const DvXML::INode* node) {
    if (node->NodeGetName() != "contact") return;
    Values& values = source_->values;
    values.contactId = node->NodeGetNamedInt("contactId");
    values.displayName = node->NodeGetNamedValue("displayName");
    values.firstName = node->NodeGetNamedValue("firstName");
    values.lastName = node->NodeGetNamedValue("lastName");
    values.phones = ReadPhoneTypeList(node->NodeFindChild("phoneType"));
}

IntercomContact::IntercomContact(const std::string& address, const std::string& displayName)
    : address_(address) {
    setDisplayName(displayName);
}

IntercomContact::IntercomContact(const IntercomContact& other) : address_(other.address_) {
    setDisplayName(other.getDisplayName());
}

IntercomContact& IntercomContact::operator=(const IntercomContact& other) {
    address_ = other.address_;
    setDisplayName(other.getDisplayName());
    return *this;
}

IntercomContact::~IntercomContact() = default;

void IntercomContact::getPhoneTypeList(PhoneTypeList& out) const {
    out = OwnSource().values.phones;
    phonesAreShared_ = true;
}

void IntercomContact::setPhoneTypeList(PhoneTypeList phones) {
    phonesAreShared_ =
        std::any_of(phones.begin(), phones.end(), [](const auto& entry) { return !entry.second.unique(); });
    Change().phones = std::move(phones);
}

dv::auto_com<DvXML::INode> IntercomContact::toXml() const {
    return phonesAreShared_ ? DvXML::MakeElement(*source_) : DvXML::CreateXmlNode(*source_);
}

// The entries are copied too, as they may be shared from now on. The source that is left to elements has
// entries that nobody was given: there is none as long as they are shared.
IntercomContact::Source& IntercomContact::OwnSource() const {
    if (source_->IsHeldOnce()) return *source_;
    Values values = source_->values;
    for (auto& [key, phone] : values.phones)
        phone = boost::make_shared<T_PHONE_TYPE>(*phone);
    source_ = dv::auto_com<Source>::adopt(new Source(std::move(values)));
    return *source_;
}

IntercomContact::Values& IntercomContact::Change() {
    Source& own = OwnSource();
    own.ForgetText();
    return own.values;
}

void IntercomContact::Source::Describe(DvXML::IElementSink& sink) const {
    sink.Begin("contact");
    sink.NamedNumber("contactId", values.contactId);
    sink.NamedValue("displayName", values.displayName);
    sink.NamedValue("firstName", values.firstName);
    sink.NamedValue("lastName", values.lastName);
    sink.Begin("phoneType");
    for (const auto& [key, phone] : values.phones) {
        sink.Begin(phone->kind);
        sink.Attribute("speedDial", dv::BoolText(phone->speedDial));
        sink.Text(NumberOf(key));
        sink.End();
    }
    sink.End();
    sink.End();
}
