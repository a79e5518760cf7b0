// The media of one call in rtpengine. Every message carries the flags that keep what was told to an end true
// for the whole call: it hears everything from the address and port in its first description. Ends are phones
// (plain RTP) or browser pages (ICE, DTLS, SRTP), which rtpengine turns into each other.
#ifndef TELEPHONY_CALLCONTROL_ROOM_H
#define TELEPHONY_CALLCONTROL_ROOM_H

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "telephony/callcontrol/NgClient.h"

namespace telephony {

/// Names of ends in a room. The placeholder stands for the callee while only the caller is called.
inline constexpr char kPlaceholderTag[] = "placeholder";
inline constexpr char kCallerTag[] = "caller";
inline constexpr char kCalleeTag[] = "callee";  // of phones; a page that is called has one to itself

/// A digit with the pause behind it, and what rtpengine needs beyond. So long it also needs from TakeDigits
/// on, until it has seen packets of both ends.
inline constexpr std::chrono::milliseconds kPlayedDigit{260};

/// What rtpengine has counted from one end.
struct Traffic {
    long rtp = 0;
    long rtcp = 0;
    long lost = -1;    // as RTCP reports say; -1: none came
    long jitter = -1;  // milliseconds, as RTCP reports say; the worst of its sources; -1: none came
};

class Room {
public:
    using Handler = NgClient::Handler;

    Room(NgClient& ng, std::string name) : ng_(ng), name_(std::move(name)) {}

    const std::string& Name() const { return name_; }
    /// This end is a page. The others are phones.
    void AddPage(const std::string& tag) { pages_.insert(tag); }
    /// What was settled is forgotten: rtpengine has started anew.
    void StartAnew(std::string name) {
        name_ = std::move(name);
        takesDigits_ = false;
    }

    /// The first offer of a room: what the placeholder offers, as the caller is to be told.
    void OfferPlaceholder(const std::string& sdp, Handler handler);
    /// What `from` offers, as `to` is to be told: with these codecs beside its own, which rtpengine turns
    /// into each other.
    void Offer(const std::string& from, const std::string& to, const std::string& sdp,
               const std::vector<std::string>& codecs, Handler handler);
    /// What `to` answers, as `from` is to be told.
    void Answer(const std::string& from, const std::string& to, const std::string& sdp, Handler handler);

    /// A listener hears what `source` sends and nothing comes back. The reply holds the offer for it.
    void Subscribe(const std::string& source, const std::string& listener,
                   const std::vector<std::string>& codecs, Handler handler);
    void SubscribeAnswer(const std::string& listener, const std::string& sdp, Handler handler);
    void Unsubscribe(const std::string& listener);

    /// The tone that a caller hears while it rings at the other end.
    void PlayRingback(const std::string& to, Handler handler);
    /// Must stand before the other end's answer: rtpengine would send both.
    void StopRingback(const std::string& to);

    /// Nothing that `from` sends passes; of both ends when it is empty.
    void Block(const std::string& from);
    void Unblock(const std::string& from);

    /// From the next offer and answer on digits can be played. rtpengine then decodes and encodes all sound
    /// of the room, which costs time and 20 ms of delay: only calls that need it have it.
    void TakeDigits(bool takes) { takesDigits_ = takes; }
    bool TakesDigits() const { return takesDigits_; }
    /// As if `from` had pressed the key; the end across from it is sent a telephone-event, or a tone when its
    /// phone takes no such events. One digit at a time: the next one kPlayedDigit later.
    void PlayDigit(const std::string& from, char digit, Handler handler);

    void Query(Handler handler);
    void Delete();

private:
    void Ask(const char* command, nlohmann::json keys, Handler handler);
    bool IsPage(const std::string& tag) const { return pages_.contains(tag); }
    nlohmann::json ListenersKeys(const std::string& listener) const;
    /// An offer or an answer; `keys` say how the end that gets it is spoken to.
    void Negotiate(const char* command, nlohmann::json keys, const std::string& sdp, Handler handler);
    /// Of a request whose failure changes nothing for the call: it is logged.
    Handler LogFailure(const char* what) const;

    NgClient& ng_;
    std::string name_;
    std::set<std::string> pages_;
    bool takesDigits_ = false;
};

/// A digit that rtpengine has seen in the sound, or has played itself.
struct RoomDigit {
    std::string room;
    std::string tag;  // of the end that it comes from
    char digit = 0;
};
/// From what rtpengine logs of digits; none when it is something else.
std::optional<RoomDigit> DigitIn(std::string_view datagram);

/// By tag, from the reply to Query.
std::map<std::string, Traffic> TrafficIn(const NgReply& reply);

}  // namespace telephony

#endif
