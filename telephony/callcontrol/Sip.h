// One end of a call as the call sees it: what can be asked of a phone and what it tells. SipStack.h does it
// with libre, Pages.h for browser pages, which speak no SIP; tests do it without a network.
#ifndef TELEPHONY_CALLCONTROL_SIP_H
#define TELEPHONY_CALLCONTROL_SIP_H

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "telephony/protocol/Event.h"

namespace telephony {

/// Whom a leg's phone is to see, and how it is asked to answer.
struct Invitation {
    std::string to;        // user
    std::string fromUser;  // the other end
    std::string fromName;
    std::string sdp;
    AnswerStyle answer = AnswerStyle::None;
    // What a page is told beside that.
    std::string call;
    CallKind kind = CallKind::Regular;
    Direction audio = Direction::Both;  // seen from this end
    Direction video = Direction::None;
    bool answersByItself = false;
    LegRole role = LegRole::Callee;
    std::string called = {};
};

/// What a phone does. The leg may be hung up from within each of them.
class LegEvents {
public:
    virtual ~LegEvents() = default;
    /// 180 to 183; the description is empty without early media.
    virtual void OnProgress(int code, const std::string& sdp) = 0;
    virtual void OnAnswer(const std::string& sdp) = 0;
    /// It was refused, could not be reached, or the phone that calls has given up. The leg is over.
    virtual void OnFailed(int code, const std::string& reason) = 0;
    /// The phone wants other media: Reanswer or RefuseReoffer must follow, now or later. Empty: it asks for
    /// an offer.
    virtual void OnReoffer(const std::string& sdp) = 0;
    /// What came back for Reinvite: 200 with a description, or the refusal.
    virtual void OnReanswer(int code, const std::string& sdp) = 0;
    virtual void OnDigits(const std::string& digits) = 0;
    /// It cannot show the pictures that come.
    virtual void OnKeyframe() = 0;
    /// It has answered Probe.
    virtual void OnAlive() = 0;
    /// The phone has hung up. The leg is over.
    virtual void OnBye() = 0;
};

class SipLeg {
public:
    virtual ~SipLeg() = default;

    virtual void Invite(const Invitation& invitation) = 0;

    // Of a leg whose phone has called.
    virtual void Ring() = 0;
    virtual void Progress(const std::string& sdp) = 0;
    virtual void Answer(const std::string& sdp) = 0;

    // Of a leg that is up.
    virtual void Reinvite(const std::string& sdp) = 0;
    virtual void Reanswer(const std::string& sdp) = 0;
    virtual void RefuseReoffer(int code, const std::string& reason) = 0;
    virtual void SendDigits(const std::string& digits) = 0;
    /// The next picture is to be a whole one.
    virtual void RequestKeyframe() = 0;
    /// Asks the phone whether it is still in the call; nothing comes of it when it is not.
    virtual void Probe() = 0;

    /// Ends it in any state, by CANCEL, a refusal or BYE, which say the code and words. No event comes any
    /// more.
    virtual void Hangup(int code, const std::string& reason) = 0;

    /// What a later process needs to end the leg; null while there is nothing to end.
    virtual nlohmann::json Journal() const = 0;
};

using SipLegPtr = std::shared_ptr<SipLeg>;

class Signalling {
public:
    virtual ~Signalling() = default;
    /// The events must outlive the leg, or its Hangup.
    virtual SipLegPtr NewLeg(LegEvents& events) = 0;
};

/// What a phone asks for that starts a call.
struct IncomingCall {
    std::string from;             // user
    std::string dialled;          // as the phone has it
    std::vector<std::string> to;  // users whom that stands for
    std::string sdp;
};

/// Takes the calls that phones start.
class IncomingCalls {
public:
    virtual ~IncomingCalls() = default;
    /// The leg waits for Ring, Answer or Hangup; what it tells goes to the LegEvents that are returned. Null:
    /// it was hung up already.
    virtual LegEvents* OnIncoming(SipLegPtr leg, const IncomingCall& call) = 0;
};

}  // namespace telephony

#endif
