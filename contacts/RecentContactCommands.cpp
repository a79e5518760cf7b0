// The bounded list of recent calls, oldest first. It lives in memory only.
#include <algorithm>
#include <boost/make_shared.hpp>
#include <utility>

#include "agent/IntercomAgent.h"
#include "agent/Replies.h"
#include "agent/UiEvents.h"
#include "host/glue/Log.h"
#include "host/glue/Numbers.h"

void IntercomAgent::AddRecentContact(const std::string& displayName, const std::string& address,
                                     const std::string& callTime, const std::string& callLength,
                                     bool receivedCall, bool acceptedCall) {
    const auto entry = boost::make_shared<IntercomRecentContact>(nextRecentId, displayName, address, callTime,
                                                                 callLength, receivedCall, acceptedCall);
    BoundRecentContacts();
    recentContacts.push_back(entry);
    nextRecentId = dv::NextNumber(nextRecentId);
    DmInvalidateState();
    LogXMessage(dv::LOG_LEVEL_DEBUG, "AddRecentContact: %s", entry->ToXml()->NodeToText().c_str());
    MySendDataToUI(UiEvents::kRecentContactAdded, entry->GetId(), UiEvents::kNone);
}

// Makes room and counts the entry that is about to come. A bound that the count never equals
// (0, negative, or below the entries there are) bounds nothing.
void IntercomAgent::BoundRecentContacts() {
    if (recentCount == 0) {
        recentCount = 1;
    } else if (std::cmp_equal(recentCount, maxRecentCalls)) {
        recentContacts.erase(recentContacts.begin());
    } else {
        ++recentCount;
    }
}

IntercomAgent::Reply IntercomAgent::OnReqGetRecentContactList(const ICmdMessage&) {
    return ListOf("recentContacts", recentContacts);
}

IntercomAgent::Reply IntercomAgent::OnReqDeleteRecentContact(const ICmdMessage& message) {
    const int id = message.GetInt("id");
    const auto found = std::find_if(recentContacts.begin(), recentContacts.end(),
                                    [&](const RecentContactPtr& entry) { return entry->GetId() == id; });
    if (found == recentContacts.end()) return Replies::Fail();

    const RecentContactPtr removed = *found;
    recentContacts.erase(found);
    --recentCount;
    if (recentContacts.empty()) nextRecentId = 0;
    DmInvalidateState();
    LogXMessage(dv::LOG_LEVEL_DEBUG, "OnReqDeleteRecentContact: %s", removed->ToXml()->NodeToText().c_str());
    MySendDataToUI(UiEvents::kRecentContactDeleted, removed->GetId(), UiEvents::kNone);
    return Replies::Success();
}

// Numbering goes on at 1 here; when the last entry is deleted it goes on at 0. Both are meant.
IntercomAgent::Reply IntercomAgent::OnReqClearRecentContactList(const ICmdMessage&) {
    recentContacts.clear();
    recentCount = 0;
    nextRecentId = 1;
    DmInvalidateState();
    MySendDataToUI(UiEvents::kRecentContactsCleared, UiEvents::kNone, UiEvents::kNone);
    return Replies::Success();
}
