// Ends what an earlier process left: its dialogs, so that no phone stays off the hook, and its rooms in
// rtpengine.
#ifndef TELEPHONY_CALLCONTROL_RECOVERY_H
#define TELEPHONY_CALLCONTROL_RECOVERY_H

#include <map>
#include <string>
#include <vector>

#include "telephony/callcontrol/Journal.h"
#include "telephony/callcontrol/NgClient.h"
#include "telephony/callcontrol/SipStack.h"

namespace telephony {

class Recovery {
public:
    /// Reads the journal; nothing is ended yet.
    Recovery(Loop& loop, NgClient& ng, Journal& journal, std::string ownPrefix);

    /// Whenever the proxy can be reached: says BYE, again and again until it is confirmed, or for a minute.
    void EndDialogs(SipStack& sip);
    /// Whenever rtpengine can be reached: deletes all rooms of earlier processes.
    void DeleteRooms();

private:
    struct Orphan {
        JournalEntry entry;
        std::size_t open = 0;  // BYEs on their way
        int attempts = 0;
        std::vector<nlohmann::json> unconfirmed;
    };

    void EndDialogsOf(SipStack& sip, const std::string& room);
    void Finish(SipStack& sip, const std::string& room);

    NgClient& ng_;
    Journal& journal_;
    const std::string ownPrefix_;
    std::map<std::string, Orphan> orphans_;
    Timer again_;
};

}  // namespace telephony

#endif
