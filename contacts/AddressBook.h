// The contacts in the order in which they came, and found at once by id in a book of any size.
#ifndef CONTACTS_ADDRESSBOOK_H
#define CONTACTS_ADDRESSBOOK_H

#include <boost/shared_ptr.hpp>
#include <unordered_map>
#include <vector>

#include "contacts/IntercomContact.h"

using ContactPtr = boost::shared_ptr<IntercomContact>;

/// Several contacts may have one id, as a saved state may hold anything; the first of them counts. The id of
/// a contact must not change while it is here.  All operations: [driver thread]
class AddressBook {
public:
    /// In the order of Add. Valid until the next change.
    const std::vector<ContactPtr>& All() const { return contacts_; }

    /// The first contact of that id; null when there is none.
    ContactPtr Find(int id) const;

    void Add(const ContactPtr& contact);

    /// Takes out the first contact of that id. False when there is none.
    bool Remove(int id);

private:
    std::vector<ContactPtr> contacts_;
    std::unordered_map<int, ContactPtr> firstOfId_;
};

#endif
