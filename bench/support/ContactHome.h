// An agent with an address book whose contacts were all changed since its last document, and the commands
// that change them again.
#ifndef BENCH_SUPPORT_CONTACTHOME_H
#define BENCH_SUPPORT_CONTACTHOME_H

#include <cstddef>
#include <vector>

#include "bench/support/Agent.h"
#include "bench/support/Contacts.h"

namespace bench {

class ContactHome {
public:
    explicit ContactHome(int contacts);

    /// Changes every contact to the other of two editions. Whatever the agent keeps of a document for the
    /// next one is worth nothing then.
    void EditAll();
    /// Changes one contact, another one each time.
    void EditNext();
    std::string State() { return agent_.State(); }

private:
    using Edits = std::vector<dv::auto_com<ICmdMessage>>;

    const Edits editions_[2];
    Agent agent_;
    std::size_t edition_ = 0;
    std::size_t next_ = 0;
};

}  // namespace bench

#endif
