#include "contacts/AddressBook.h"

#include <algorithm>

ContactPtr AddressBook::Find(int id) const {
    const auto found = firstOfId_.find(id);
    return found == firstOfId_.end() ? ContactPtr() : found->second;
}

void AddressBook::Add(const ContactPtr& contact) {
    contacts_.push_back(contact);
    firstOfId_.emplace(contact->getContactId(), contact);
}

bool AddressBook::Remove(int id) {
    const auto first = firstOfId_.find(id);
    if (first == firstOfId_.end()) return false;
    const bool everyIdOnce = contacts_.size() == firstOfId_.size();
    const auto removed = contacts_.erase(std::find(contacts_.begin(), contacts_.end(), first->second));
    firstOfId_.erase(first);
    if (everyIdOnce) return true;

    const auto next = std::find_if(removed, contacts_.end(),
                                   [&](const ContactPtr& contact) { return contact->getContactId() == id; });
    if (next != contacts_.end()) firstOfId_.emplace(id, *next);
    return true;
}
