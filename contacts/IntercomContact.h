// One entry of the address book: names, an address and phone numbers.
//
// Its element:
//   <contact><contactId>3</contactId><displayName>Ann</displayName><firstName/><lastName/>
//     <phoneType><home speedDial="true">555-0100</home></phoneType></contact>
// The address is neither written nor read.
#ifndef CONTACTS_INTERCOMCONTACT_H
#define CONTACTS_INTERCOMCONTACT_H

#include <boost/shared_ptr.hpp>
#include <map>
#include <string>

#include "host/glue/LiveObjects.h"
#include "host/interfaces/ICmdMessage.h"
#include "host/xml/ElementWriter.h"

/// What is known of one phone number beside the number.
struct T_PHONE_TYPE {
    std::string kind;  // the name of the element that carried the number
    bool speedDial = false;
};

/// Numbers by key: the position in the list that they were read from, "-", the number. Keys are
/// ordered as text, so position 10 stands before position 2. Copies of a list share the entries.
using PhoneTypeList = std::multimap<std::string, boost::shared_ptr<T_PHONE_TYPE>>;

/// Reads the numbers that stand as child elements in `container`; null has none.
PhoneTypeList ReadPhoneTypeList(const DvXML::INode* container);

/// All operations: [driver thread]
class IntercomContact : private dv::Counted {
public:
    /// Reads "contactId", "displayName", "firstName", "lastName" and, as an XML text, "phoneType".
    /// A text that is no XML document has no numbers.
    explicit IntercomContact(const ICmdMessage& message);
    /// Reads the element written by toXml; not null. One of another name leaves the contact empty.
    explicit IntercomContact(const DvXML::INode* node);
    IntercomContact(const std::string& address, const std::string& displayName);
    /// Both copies take address and display name only: a copy stands for the same person under
    /// an id and numbers of its own.
    IntercomContact(const IntercomContact& other);
    IntercomContact& operator=(const IntercomContact& other);
    virtual ~IntercomContact();

    const std::string& getAddress() const { return address_; }
    const std::string& getDisplayName() const { return displayName_; }
    const std::string& getFirstName() const { return firstName_; }
    const std::string& getLastName() const { return lastName_; }
    int getContactId() const { return contactId_; }
    void setAddress(const std::string& address) { address_ = address; }
    void setDisplayName(const std::string& name) { Change().displayName_ = name; }
    void setFirstName(const std::string& name) { Change().firstName_ = name; }
    void setLastName(const std::string& name) { Change().lastName_ = name; }
    void setContactId(int id) { Change().contactId_ = id; }

    /// Replaces `out` by the numbers; the entries are shared, not copied.
    void getPhoneTypeList(PhoneTypeList& out) const;
    /// Replaces the numbers; the entries are shared, not copied.
    void setPhoneTypeList(PhoneTypeList phones);

    /// True when a number stands under exactly that key, its position included.
    bool isPhoneList(const std::string& key) const { return phones_.count(key) != 0; }

    /// A new element; the caller holds its one reference.
    dv::auto_com<DvXML::INode> toXml() const;

private:
    void WriteElement(DvXML::ElementWriter& writer) const;

    // Every change of what stands in the element goes through here.
    IntercomContact& Change() {
        element_.reset();
        return *this;
    }

    std::string address_;
    std::string displayName_;
    std::string firstName_;
    std::string lastName_;
    int contactId_ = 0;
    PhoneTypeList phones_;
    mutable bool phonesAreShared_ = false;  // with somebody who may change the entries without telling

    // Kept until the next change, as saved states and lists of contacts are made after each change of a
    // single contact; null when there is none.
    mutable DvXML::ElementText element_;
};

#endif
