#include "telephony/callcontrol/Counts.h"

#include <algorithm>

#include "telephony/callcontrol/Call.h"

namespace telephony {
namespace {

constexpr int kDecline = 603;
constexpr int kBusy = 486;
constexpr int kBusyEverywhere = 600;

bool WasConnected(const CallReport& call) {
    return std::ranges::any_of(
        call.legs, [](const LegReport& leg) { return leg.role == LegRole::Callee && leg.answered; });
}

}  // namespace

std::string_view OutcomeOf(const Event& ended) {
    if (WasConnected(ended.call)) return ended.code == END_NORMAL ? "completed" : "broken";
    switch (ended.code) {
        case kBusy:
        case kBusyEverywhere:
            return "busy";
        case kDecline:
            return "declined";
        case END_NO_ANSWER:
            return "unanswered";
        case END_UNAVAILABLE:
            return "unavailable";
        case END_NORMAL:
        case END_CANCELLED:
            return "cancelled";
        case END_NO_MEDIA:
            return "no_media";
        default:
            return "failed";
    }
}

void CallCounts::Add(const Event& ended) {
    ++calls[{ended.call.kind, OutcomeOf(ended)}];
    for (const LegReport& leg : ended.call.legs) {
        packetsReceived += static_cast<std::uint64_t>(std::max(leg.packetsReceived, 0L));
        packetsLost += static_cast<std::uint64_t>(std::max(leg.packetsLost, 0L));
    }
}

}  // namespace telephony
