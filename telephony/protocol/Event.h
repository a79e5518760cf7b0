// What call control tells drivers and tools: one JSON object a line. docs/calls-real.md lists them with
// examples.
#ifndef TELEPHONY_PROTOCOL_EVENT_H
#define TELEPHONY_PROTOCOL_EVENT_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "telephony/protocol/Command.h"

namespace telephony {

enum class EventKind {
    Snapshot,     // the answer to hello and status: all that is
    Refused,      // a line was not understood, or a command cannot be done
    Registered,   // a phone signed in
    Lost,         // a phone is away
    Proxy,        // the proxy is there, or is not
    Media,        // rtpengine is there, or is not
    PhoneCall,    // a phone has started a call by itself
    Calling,      // a call has been ordered
    Ringing,      // a leg's phone rings
    LegUp,        // a leg's phone has answered
    Established,  // both ends are up
    Modified,     // held, resumed, or by a phone's own wish
    Dtmf,         // a phone has sent digits
    LegDown,      // a leg is over
    Ended,        // the call is over, with what became of every leg
    // To the client that speaks for the page, and to no other.
    PageInvite,   // a page is called, or is to begin a call
    PageOffer,    // other media within the call
    PageKeyframe  // who looks has no picture to begin with
};

enum class LegRole { Caller, Callee };
enum class LegState { Waiting, Calling, Ringing, Up, Down };

/// What became of one end of a call.
struct LegReport {
    std::string user;
    LegRole role = LegRole::Callee;
    LegState state = LegState::Waiting;
    int code = 0;              // the SIP status that ended it; 0 for none
    std::string reason = {};   // in words
    bool answered = false;     // it was up once
    std::string codecs = {};   // of its last SDP, as "PCMA/8000 VP8/90000"
    long packetsReceived = 0;  // RTP packets from the phone
    long packetsLost = -1;     // as the phones' RTCP reports say; -1: no report came
    long jitter = -1;          // milliseconds, on average; from the same reports
};

/// What is known of one call.
struct CallReport {
    std::string id;
    CallKind kind = CallKind::Regular;
    bool byPhone = false;  // started at a phone
    std::string state;     // calling, established, held
    double seconds = 0;    // since it is established
    std::vector<LegReport> legs = {};
    std::string called = {};  // the name that was called or dialled; empty: none beside the callees' own
};

/// A phone that is registered, or one that is known and away: of that one, what it was registered with last.
struct RegisteredPhone {
    std::string user;
    std::string contact;
    std::string agent;
    long since = 0;           // seconds since 1970: registered, or away. 0: it has not been there yet
    std::string name = {};    // as its driver calls it
    std::string reason = {};  // why it is away: expired or unregistered
};

/// What a page is asked for; its offer stands in Event::sdp.
struct PageInvitation {
    CallKind kind = CallKind::Regular;
    Direction audio = Direction::Both;  // seen from the page
    Direction video = Direction::None;
    bool answers = false;  // at once and by itself
    LegRole role = LegRole::Callee;
    std::string from = {};    // the user at the other end
    std::string name = {};    // as it is to be shown
    std::string called = {};  // the name that was called; empty: none beside the page's own
};

/// Only the fields of its kind have a meaning; the others keep their defaults and are not sent.
struct Event {
    EventKind kind = EventKind::Snapshot;
    std::string id;      // of the call
    std::string leg;     // user
    int code = 0;        // SIP status
    std::string reason;  // in words
    std::string by;      // Ended, Modified: the user, or "command", "callcontrol". Dtmf: info or rfc4733
    std::string state;   // Modified: held or active. Proxy, Media: up or lost
    std::string digits;
    std::string codecs;
    double seconds = 0;  // Ended: since it was established
    std::string sdp;     // PageInvite, PageOffer
    PageInvitation page;
    CallReport call;  // PhoneCall, Calling, Ended
    RegisteredPhone phone;
    // Snapshot
    std::vector<RegisteredPhone> phones;
    std::vector<RegisteredPhone> away;
    std::vector<CallReport> calls;
    std::string proxy;
    std::string media;
};

std::string ToLine(const Event& event);

/// Throws std::runtime_error with one line. Unknown fields are passed over: a newer call control may tell
/// more.
Event ParseEvent(std::string_view line);

std::string_view TextOf(EventKind kind);
std::string_view TextOf(LegRole role);
std::string_view TextOf(LegState state);

}  // namespace telephony

#endif
