#include "contacts/IntercomRecentContact.h"

IntercomRecentContact::IntercomRecentContact(int id, const std::string& displayName,
                                             const std::string& address, const std::string& callTime,
                                             const std::string& callLength, bool receivedCall,
                                             bool acceptedCall)
    : id_(id),
      displayName_(displayName),
      address_(address),
      callTime_(callTime),
      callLength_(callLength),
      receivedCall_(receivedCall),
      acceptedCall_(acceptedCall) {}

IntercomRecentContact::~IntercomRecentContact() = default;

dv::auto_com<DvXML::INode> IntercomRecentContact::ToXml() const {
    auto entry = DvXML::CreateXmlNode("recentContact", "");
    entry->NodeAddNamedInt("id", id_);
    entry->NodeAddNamedValue("displayName", displayName_);
    entry->NodeAddNamedValue("aor", address_);
    entry->NodeAddNamedValue("callTime", callTime_);
    entry->NodeAddNamedValue("callLength", callLength_);
    entry->NodeAddNamedBool("receivedCall", receivedCall_);
    entry->NodeAddNamedBool("acceptedCall", acceptedCall_);
    return entry;
}
