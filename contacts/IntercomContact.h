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
#include <utility>

#include "host/glue/ElementSource.h"
#include "host/interfaces/ICmdMessage.h"

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

/// Counted as a live object by its source.  All operations: [driver thread]
class IntercomContact {
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
    const std::string& getDisplayName() const { return source_->values.displayName; }
    const std::string& getFirstName() const { return source_->values.firstName; }
    const std::string& getLastName() const { return source_->values.lastName; }
    int getContactId() const { return source_->values.contactId; }
    void setAddress(const std::string& address) { address_ = address; }
    void setDisplayName(const std::string& name) { Change().displayName = name; }
    void setFirstName(const std::string& name) { Change().firstName = name; }
    void setLastName(const std::string& name) { Change().lastName = name; }
    void setContactId(int id) { Change().contactId = id; }

    /// Replaces `out` by the numbers; the entries are shared, not copied.
    void getPhoneTypeList(PhoneTypeList& out) const;
    /// Replaces the numbers; the entries are shared, not copied.
    void setPhoneTypeList(PhoneTypeList phones);

    /// True when a number stands under exactly that key, its position included.
    bool isPhoneList(const std::string& key) const { return source_->values.phones.count(key) != 0; }

    /// A new element; the caller holds its one reference.
    dv::auto_com<DvXML::INode> toXml() const;

private:
    // What stands in the element.
    struct Values {
        std::string displayName;
        std::string firstName;
        std::string lastName;
        int contactId = 0;
        PhoneTypeList phones;
    };

    // What elements are made of, with their text once somebody asked for that: saved states and lists of
    // contacts are made after each change of a single contact.
    class Source final : public DvXML::ElementSource {
    public:
        explicit Source(Values given) : values(std::move(given)) {}

        // IElementSource
        void Describe(DvXML::IElementSink& sink) const override;

        using ElementSource::ForgetText;
        using RefCount::IsHeldOnce;

        Values values;

    private:
        ~Source() override = default;
    };

    // The source, held by this contact alone: elements that stand for the values as they were keep those.
    Source& OwnSource() const;
    Values& Change();

    std::string address_;
    mutable dv::auto_com<Source> source_ = dv::auto_com<Source>::adopt(new Source({}));
    mutable bool phonesAreShared_ = false;  // with somebody who may change the entries, of which nobody tells
};

#endif
