// Address books to measure with: plain values, from which both sides of a comparison make what they measure.
//
// A contact has six numbers, which makes 12 elements: contact, contactId, displayName, firstName, lastName,
// phoneType and one for each number.
#ifndef BENCH_SUPPORT_CONTACTS_H
#define BENCH_SUPPORT_CONTACTS_H

#include <string>
#include <vector>

#include "host/interfaces/ICmdMessage.h"

namespace bench {

struct Phone {
    std::string kind;
    std::string number;
    bool speedDial;
};

struct Contact {
    int id;
    std::string displayName;
    std::string firstName;
    std::string lastName;
    std::vector<Phone> phones;
};

using ContactBook = std::vector<Contact>;

/// Contacts with the ids from 1 on. Another edition has the same ids, first and last names, and other display
/// names and numbers of the same lengths.
ContactBook MakeContacts(int count, int edition = 0);

/// A saved state with these contacts and nothing else.
dv::auto_com<DvXML::INode> SavedState(const ContactBook& contacts);

/// The commands that add these contacts.
dv::auto_com<ICmdMessage> AddMessage(const Contact& contact);
/// The commands that give contacts of these ids these display names and numbers.
dv::auto_com<ICmdMessage> EditMessage(const Contact& contact);

}  // namespace bench

#endif
