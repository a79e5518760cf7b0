#include "bench/support/ContactHome.h"

namespace bench {

namespace {

std::vector<dv::auto_com<ICmdMessage>> EditMessages(const ContactBook& contacts) {
    std::vector<dv::auto_com<ICmdMessage>> messages;
    for (const Contact& contact : contacts)
        messages.push_back(EditMessage(contact));
    return messages;
}

}  // namespace

ContactHome::ContactHome(int contacts)
    : editions_{EditMessages(MakeContacts(contacts)), EditMessages(MakeContacts(contacts, 1))},
      agent_(SavedState(MakeContacts(contacts)).get()) {}

void ContactHome::EditAll() {
    edition_ = 1 - edition_;
    next_ = 0;
    for (const auto& message : editions_[edition_])
        ExpectDone(agent_.Ui(*message));
}

void ContactHome::EditNext() {
    if (next_ == editions_[edition_].size()) {
        edition_ = 1 - edition_;
        next_ = 0;
    }
    ExpectDone(agent_.Ui(*editions_[edition_][next_++]));
}

}  // namespace bench
