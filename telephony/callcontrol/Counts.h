// What has become of the calls since the program started.
#ifndef TELEPHONY_CALLCONTROL_COUNTS_H
#define TELEPHONY_CALLCONTROL_COUNTS_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "telephony/protocol/Event.h"

namespace telephony {

/// One word for how a call has ended: completed or broken when its ends were connected; else busy, declined,
/// unanswered, unavailable (no such phone is registered), cancelled, no_media or failed.
std::string_view OutcomeOf(const Event& ended);

struct CallCounts {
    void Add(const Event& ended);

    std::map<std::pair<CallKind, std::string_view>, std::uint64_t> calls;  // by kind and outcome
    std::uint64_t packetsReceived = 0;
    std::uint64_t packetsLost = 0;
};

}  // namespace telephony

#endif
