// The media of one call in rtpengine. Every message carries the flags that keep what was told to a phone true
// for the whole call: the phone hears everything from the address and port in its first description.
#ifndef TELEPHONY_CALLCONTROL_ROOM_H
#define TELEPHONY_CALLCONTROL_ROOM_H

#include <functional>
#include <map>
#include <string>

#include "telephony/callcontrol/NgClient.h"

namespace telephony {

/// Names of ends in a room. The placeholder stands for the callee while only the caller is called.
inline constexpr char kPlaceholderTag[] = "placeholder";
inline constexpr char kCallerTag[] = "caller";
inline constexpr char kCalleeTag[] = "callee";

/// What rtpengine has counted from one end.
struct Traffic {
    long rtp = 0;
    long rtcp = 0;
    long lost = -1;  // as RTCP reports say; -1: none came
};

class Room {
public:
    using Handler = NgClient::Handler;

    Room(NgClient& ng, std::string name) : ng_(ng), name_(std::move(name)) {}

    const std::string& Name() const { return name_; }
    /// What was settled is forgotten: rtpengine has started anew.
    void StartAnew(std::string name) { name_ = std::move(name); }

    /// What `from` offers, as `to` is to be told. `to` may be empty in the first offer of a room.
    void Offer(const std::string& from, const std::string& to, const std::string& sdp, Handler handler);
    /// What `to` answers, as `from` is to be told.
    void Answer(const std::string& from, const std::string& to, const std::string& sdp, Handler handler);

    /// A listener hears what `source` sends and nothing comes back. The reply holds the offer for it.
    void Subscribe(const std::string& source, const std::string& listener, Handler handler);
    void SubscribeAnswer(const std::string& listener, const std::string& sdp, Handler handler);
    void Unsubscribe(const std::string& listener);

    /// The tone that a caller hears while it rings at the other end.
    void PlayRingback(const std::string& to);
    /// Must stand before the other end's answer: rtpengine would send both.
    void StopRingback(const std::string& to);

    /// Nothing that `from` sends passes; of both ends when it is empty.
    void Block(const std::string& from);
    void Unblock(const std::string& from);

    void Query(Handler handler);
    void Delete();

private:
    void Ask(const char* command, nlohmann::json keys, Handler handler);
    /// Of a request whose failure changes nothing for the call: it is logged.
    Handler LogFailure(const char* what) const;

    NgClient& ng_;
    std::string name_;
};

/// By tag, from the reply to Query.
std::map<std::string, Traffic> TrafficIn(const NgReply& reply);

}  // namespace telephony

#endif
