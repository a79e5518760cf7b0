// What a driver or a tool tells call control: one JSON object a line. docs/calls-real.md lists them with
// examples.
#ifndef TELEPHONY_PROTOCOL_COMMAND_H
#define TELEPHONY_PROTOCOL_COMMAND_H

#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace telephony {

/// Who is called by this name rings wherever somebody is to hear of the door.
inline constexpr char kDoorbell[] = "doorbell";

/// Rises when a line no longer means what it meant.
inline constexpr int kProtocolVersion = 1;

inline constexpr std::size_t kLongestName = 128;  // of a user, a call, a shown name
inline constexpr std::size_t kMostCallees = 256;
inline constexpr std::size_t kMostDigits = 32;
/// Of a description. libre cuts datagrams at 8192 bytes without a word, and a call with half a description
/// would look established.
inline constexpr std::size_t kLongestSdp = 7000;

/// What phones may be offered for sound: rtpengine turns each of them into each other.
inline constexpr std::array<std::string_view, 4> kCodecs{"PCMA", "PCMU", "G722", "opus"};
/// As it stands in kCodecs, in whatever case it was written; empty when it is none of them.
std::string_view FindCodec(std::string_view name);

enum class CommandKind {
    Hello,
    Call,
    Hangup,
    Hold,
    Resume,
    Dtmf,
    Status,
    // Of a client that speaks for pages; see IsOfPages.
    PagePresent,
    PageRinging,
    PageAnswer,
    PageReject,
    PageKeyframe
};

enum class CallKind {
    Regular,    // both hear each other
    Monitor,    // the caller hears and sees, and is not heard
    Broadcast,  // all others hear the caller, and are not heard
};

/// Which way, seen from the caller.
enum class Direction { None, Send, Receive, Both };

/// How a phone is told to answer by itself. None: it cannot, and rings.
enum class AnswerStyle { None, CallInfo, AlertInfo, AnswerMode };

/// How a phone is held. A phone that breaks off calls on a re-INVITE is held by the gate alone: its sound is
/// stopped on the way, and it is not told.
enum class HoldStyle { Reinvite, Gate };

/// How digits reach a phone: by a request, or as telephone-events in the sound (RFC 4733).
enum class DigitStyle { Info, Rfc4733 };

/// What a driver says of its own device. It holds while the connection is open.
struct Device {
    std::string user;
    std::string name;  // shown to the other end; empty: the user
    AnswerStyle answer = AnswerStyle::None;
    HoldStyle hold = HoldStyle::Reinvite;
    bool mayBeMonitored = false;
    std::vector<std::string> codecs =
        {};             // of kCodecs, the best first; empty: PCMA, PCMU and what the other end has
    bool page = false;  // no phone: its client speaks for browser pages, by WebRTC
};

struct Command {
    CommandKind kind = CommandKind::Status;
    std::string id;   // of the call
    std::string leg;  // the user that Dtmf is for, empty: all but the caller; that Hangup is for, empty: all;
                      // whose page it is, in those of pages
    std::string from;  // user
    std::vector<std::string> to;
    std::string called;  // the name that they were called by; empty: none beside theirs
    CallKind callKind = CallKind::Regular;
    Direction audio = Direction::Both;
    Direction video = Direction::None;
    bool ring = true;  // false: the callee is asked to answer by itself
    std::string digits;
    DigitStyle by = DigitStyle::Info;
    int version = 0;
    bool all = false;      // Hello: events of all devices
    bool present = false;  // PagePresent: at least one page is open
    std::string sdp;       // PageAnswer. That it is no longer than kLongestSdp is not looked at here
    int code = 0;          // PageReject: SIP status
    std::string reason;    // PageReject: in words
    std::vector<Device> devices;
};

/// Tells in one line what is wrong with a command.
class CommandError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Throws CommandError: no JSON, an unknown command or value, a missing field, a bound exceeded. Unknown
/// fields are errors, too: a misspelt one would silently not be obeyed.
Command ParseCommand(std::string_view line);

/// The line that ParseCommand reads as this command.
std::string ToLine(const Command& command);

bool IsOfPages(CommandKind kind);
std::string_view TextOf(CommandKind kind);
std::string_view TextOf(CallKind kind);
std::optional<CallKind> ToCallKind(std::string_view text);
std::string_view TextOf(Direction direction);
std::optional<Direction> ToDirection(std::string_view text);
std::string_view TextOf(DigitStyle style);

}  // namespace telephony

#endif
