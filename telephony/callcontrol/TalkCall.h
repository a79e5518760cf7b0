// A call between a caller and whoever of the callees answers first: regular and monitor calls, groups, and
// what a phone has started by itself.
#ifndef TELEPHONY_CALLCONTROL_TALKCALL_H
#define TELEPHONY_CALLCONTROL_TALKCALL_H

#include <deque>
#include <string>
#include <vector>

#include "telephony/callcontrol/Call.h"

namespace telephony {

class TalkCall : public Call {
public:
    /// Ordered from outside: the caller's phone is called first, then the callees'.
    TalkCall(CallServices& services, const Command& command);
    /// Started at the caller's phone, which waits for an answer.
    TalkCall(CallServices& services, std::string id, SipLegPtr caller, IncomingCall incoming);

    /// Where the caller's leg reports to.
    LegEvents& CallerEvents() { return Caller(); }

    void Start() override;
    void Hold() override;
    void Resume() override;
    std::string PlayDigits(const std::string& user, const std::string& digits) override;

private:
    void AddCallees(const std::vector<std::string>& users);

    // The steps of setting media up, in their order. They are also taken when rtpengine was started anew;
    // then the phones hear of it by re-INVITE.
    void TellCaller();
    void OfferToCallees();
    void OfferTo(const std::vector<CallLeg*>& callees);
    void TellCallees(const std::vector<CallLeg*>& callees, const std::string& offer);
    void StartRingback();
    void TakeCalleesAnswer(CallLeg& callee);
    void CompleteAnswer(CallLeg& callee, const std::string& answer);
    void StartPictures(CallLeg& callee);

    // A change of a call that is up: the other end is asked, and its answer goes back.
    void StartRenegotiation(Direction direction);
    void NextRenegotiation();
    void PassReofferOn(CallLeg& from, CallLeg& to, const std::string& sdp);
    void AnswerReoffer(CallLeg& from, CallLeg& to, const std::string& sdp);

    // Digits into the sound.
    std::string WhyNoDigitsFor(const CallLeg& leg) const;
    void TakeDigits();
    void FinishTakingDigits(const NgReply& reply);
    void PlayNextDigit();
    void DropDigits(const std::string& why);

    void OnLegRings(CallLeg& leg, const std::string& sdp) override;
    void OnLegAnswers(CallLeg& leg) override;
    void OnLegReoffers(CallLeg& leg, const std::string& sdp) override;
    void OnLegRefusesReinvite(CallLeg& leg, int code) override;
    void OnLegNeedsKeyframe(CallLeg& leg) override;
    void OnLegGone(CallLeg& leg, int code, const std::string& reason) override;
    void Rebuild() override;
    bool ShouldBeHeard(const CallLeg& leg) const override;

    CallLeg& Other(const CallLeg& leg) { return &leg == &Caller() ? *answered_ : Caller(); }
    std::string AsHeld(const std::string& sdp) const;
    void StopRingback();
    bool CanBeReinvited(const CallLeg& leg) const;

    const bool answersByItself_;
    const bool isMonitor_;

    enum class Step {
        Building,       // until the callee has answered; again after rtpengine was started anew
        Idle,           // established, nothing under way
        Renegotiating,  // a command has changed the directions, both ends are told in turn
        Passing,        // a phone's re-INVITE is with the other end
        TakingDigits    // rtpengine is made to take digits; the phones hear nothing of it
    };
    Step step_ = Step::Building;
    CallLeg* answered_ = nullptr;  // the callee that answered first
    bool earlyMedia_ = false;
    bool heldByCommand_ = false;
    bool callerRings_ = false;  // the phone that calls was told
    bool ringback_ = false;
    Timer ringbackTimer_;
    Timer ringing_;
    std::deque<CallLeg*> toRenegotiate_;
    Direction renegotiated_ = Direction::Both;
    bool holdToTell_ = false;    // when all are told
    CallLeg* asked_ = nullptr;   // whose re-INVITE is under way
    CallLeg* asking_ = nullptr;  // whose re-INVITE waits for the answer
    std::string askedFor_;
    std::deque<std::pair<CallLeg*, char>> toPlay_;  // to whom
    Timer digitTimer_;                              // runs while a digit is played
};

}  // namespace telephony

#endif
