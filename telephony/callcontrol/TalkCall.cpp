#include "telephony/callcontrol/TalkCall.h"

#include <algorithm>
#include <utility>

#include "telephony/callcontrol/Log.h"
#include "telephony/callcontrol/Sdp.h"

namespace telephony {
namespace {

// A phone that answers by itself does so at once; a tone of 20 ms before would sound like a fault.
constexpr std::chrono::milliseconds kRingbackDelay(50);

Direction OfCaller(const Command& command, Direction direction) {
    return command.callKind == CallKind::Monitor ? Common(direction, Direction::Receive) : direction;
}

Direction VideoOfPhone(const std::string& offer) {
    return offer.find("\nm=video ") == std::string::npos ? Direction::None : Direction::Both;
}

// All that these may be offered, none twice.
std::vector<std::string> CodecsOf(const std::vector<CallLeg*>& legs) {
    std::vector<std::string> codecs;
    for (const CallLeg* const leg : legs)
        for (const std::string& codec : leg->Codecs())
            if (std::ranges::find(codecs, codec) == codecs.end()) codecs.push_back(codec);
    return codecs;
}

}  // namespace

TalkCall::TalkCall(CallServices& services, const Command& command)
    : Call(services, command.id, command.callKind, command.called, OfCaller(command, command.audio),
           OfCaller(command, command.video)),
      answersByItself_(command.callKind == CallKind::Monitor || !command.ring),
      isMonitor_(command.callKind == CallKind::Monitor),
      ringbackTimer_(services.loop),
      ringing_(services.loop),
      digitTimer_(services.loop) {
    AddLeg(command.from, LegRole::Caller, kCallerTag);
    AddCallees(command.to);
}

TalkCall::TalkCall(CallServices& services, std::string id, SipLegPtr caller, IncomingCall incoming)
    : Call(services, std::move(id), CallKind::Regular, std::move(incoming.dialled), Direction::Both,
           VideoOfPhone(incoming.sdp)),
      answersByItself_(false),
      isMonitor_(false),
      ringbackTimer_(services.loop),
      ringing_(services.loop),
      digitTimer_(services.loop) {
    byPhone_ = true;
    CallLeg& leg = AddLeg(incoming.from, LegRole::Caller, kCallerTag);
    leg.sip = std::move(caller);
    leg.sdp = std::move(incoming.sdp);
    leg.report.state = LegState::Calling;
    AddCallees(incoming.to);
}

void TalkCall::AddCallees(const std::vector<std::string>& users) {
    for (const std::string& user : users) {
        const std::string ofPage = "page" + std::to_string(legs_.size());
        AddLeg(user, LegRole::Callee, services_.device(user).page ? ofPage : kCalleeTag);
    }
}

void TalkCall::Start() {
    ringing_.Start(services_.ringing, [this] { End(END_NO_ANSWER, "Nobody has answered", kByCallControl); });
    if (byPhone_)
        OfferToCallees();
    else
        TellCaller();
}

void TalkCall::TellCaller() {
    // The placeholder stands for the other end, so it does what that end does.
    const std::string placeholder =
        PlaceholderSdp(services_.address, Caller().Codecs(), Mirrored(audio_), Mirrored(video_));
    room_.OfferPlaceholder(placeholder, WithReply([this](const NgReply& reply) {
                               const CallLeg& shown = answered_ ? *answered_ : *legs_[1];
                               Caller().Tell(reply.Sdp(), shown, true);
                           }));
}

// All phones of a group are told one offer, of which each takes its own. A page has one to itself, since the
// first packet to an offer's keys settles who speaks there.
void TalkCall::OfferToCallees() {
    if (answered_) return OfferTo({answered_});
    std::vector<CallLeg*> phones;
    for (const auto& leg : legs_) {
        if (leg->report.role != LegRole::Callee || leg->IsOver()) continue;
        if (leg->IsPage())
            OfferTo({leg.get()});
        else
            phones.push_back(leg.get());
    }
    if (!phones.empty()) OfferTo(phones);
}

void TalkCall::OfferTo(const std::vector<CallLeg*>& callees) {
    room_.Offer(kCallerTag, callees.front()->tag, Caller().sdp, CodecsOf(callees),
                WithReply([this, callees](const NgReply& reply) {
                    if (isMonitor_) room_.Block(kCallerTag);
                    TellCallees(callees, reply.Sdp());
                }));
}

void TalkCall::TellCallees(const std::vector<CallLeg*>& callees, const std::string& offer) {
    for (CallLeg* const leg : callees)
        if (!leg->IsOver()) leg->Tell(offer, Caller(), answersByItself_);
    if (!answered_) StartRingback();
}

void TalkCall::StartRingback() {
    // A phone that calls makes its tone itself.
    if (byPhone_ || ringback_ || ringbackTimer_.IsRunning()) return;
    ringbackTimer_.Start(kRingbackDelay, [this] {
        ringback_ = true;
        room_.PlayRingback(kCallerTag, [weak = weak_from_this(), this](const NgReply&) {
            // What was lost on the way to rtpengine is asked again, perhaps after it was to end.
            const CallPtr call = weak.lock();
            if (call && !ended_ && !ringback_) room_.StopRingback(kCallerTag);
        });
    });
}

void TalkCall::StopRingback() {
    ringbackTimer_.Stop();
    if (ringback_) room_.StopRingback(kCallerTag);
    ringback_ = false;
}

void TalkCall::OnLegRings(CallLeg& leg, const std::string& sdp) {
    if (leg.report.role == LegRole::Caller || answered_) return;
    // Once, however many ring.
    if (byPhone_ && !earlyMedia_ && !std::exchange(callerRings_, true)) Caller().sip->Ring();
    // Of several that ring nobody can say whose tone it should be.
    if (sdp.empty() || legs_.size() != 2 || earlyMedia_) return;
    earlyMedia_ = true;
    StopRingback();
    room_.Answer(kCallerTag, leg.tag, sdp, WithReply([this](const NgReply& reply) {
                     if (byPhone_ && !answered_) Caller().sip->Progress(Caller().Own(reply.Sdp()));
                 }));
}

void TalkCall::OnLegAnswers(CallLeg& leg) {
    const bool isCaller = &leg == &Caller();
    if (step_ == Step::Renegotiating || step_ == Step::Passing) {
        if (&leg != asked_) return;
        asked_ = nullptr;
        if (step_ == Step::Passing) return AnswerReoffer(*asking_, leg, leg.sdp);
        room_.Answer(Other(leg).tag, leg.tag, leg.sdp,
                     WithReply([this](const NgReply&) { NextRenegotiation(); }));
        return;
    }
    if (step_ == Step::Idle || step_ == Step::TakingDigits) return;
    if (!isCaller) return TakeCalleesAnswer(leg);
    room_.Answer(kPlaceholderTag, kCallerTag, leg.sdp,
                 WithReply([this](const NgReply&) { OfferToCallees(); }));
}

void TalkCall::TakeCalleesAnswer(CallLeg& callee) {
    if (answered_ && answered_ != &callee) return HangUpLeg(callee, END_NORMAL, "Call completed elsewhere");
    answered_ = &callee;
    ringing_.Stop();
    StopRingback();
    for (const auto& leg : legs_)
        if (leg->report.role == LegRole::Callee && leg.get() != &callee)
            HangUpLeg(*leg, END_NORMAL, "Call completed elsewhere");
    const auto complete =
        WithReply([this, &callee](const NgReply& reply) { CompleteAnswer(callee, reply.Sdp()); });
    room_.Answer(kCallerTag, callee.tag, callee.sdp, [weak = weak_from_this(), this, complete](const NgReply& reply) {
        const CallPtr call = weak.lock();
        if (!call || ended_) return;
        // rtpengine was started anew while it rang. The caller waits, and the callee hears of the new room.
        if (reply.CallIsUnknown() && !established_) return SetUpMediaAnew();
        complete(reply);
    });
}

void TalkCall::CompleteAnswer(CallLeg& callee, const std::string& answer) {
    if (callee.IsOver()) return;
    step_ = Step::Idle;
    CallLeg& caller = Caller();
    if (byPhone_ && !established_) {
        caller.sip->Answer(caller.Own(answer));
        caller.OnAnswer(caller.sdp);
    }
    WriteJournal(caller);
    if (established_)
        SetHeld(false, kByCallControl);
    else
        SetEstablished();
    StartPictures(callee);
}

// For pages. While ICE and DTLS are on their way pictures are lost, and a phone's next whole one may be far.
void TalkCall::StartPictures(CallLeg& callee) {
    const auto pictures = [](const std::string& codecs) {
        const std::size_t end = codecs.find(' ');
        return end == std::string::npos ? std::string() : codecs.substr(end);
    };
    CallLeg& caller = Caller();
    const std::string taken = pictures(callee.report.codecs);
    if (taken.empty()) return;
    if (caller.IsPage() != callee.IsPage()) (caller.IsPage() ? callee : caller).sip->RequestKeyframe();
    // A page sends the first codec of what it was told, whatever it has answered: one that calls was told of
    // all that the other end might take.
    if (!caller.IsPage() || step_ != Step::Idle || pictures(CodecsOf(caller.told)) == taken) return;
    toRenegotiate_ = {&caller};
    NextRenegotiation();
}

void TalkCall::OnLegGone(CallLeg& leg, int code, const std::string& reason) {
    if (ended_) return;
    const auto others = [&] {
        for (const auto& other : legs_)
            if (other->report.role == LegRole::Callee && !other->IsOver()) return true;
        return false;
    };
    // While several ring, one that does not want to leaves the others ringing.
    if (leg.report.role == LegRole::Callee && !answered_ && others()) return;
    if (leg.report.role == LegRole::Callee && answered_ && answered_ != &leg) return;
    End(code, reason, leg.User());
}

// ---- changes of a call that is up

bool TalkCall::CanBeReinvited(const CallLeg& leg) const {
    return services_.device(leg.User()).hold == HoldStyle::Reinvite;
}

void TalkCall::Hold() {
    if (!established_ || held_) return;
    held_ = heldByCommand_ = true;
    room_.Block("");  // at once, and whatever the phones say
    StartRenegotiation(Direction::None);
}

void TalkCall::Resume() {
    if (!established_ || !held_) return;
    held_ = heldByCommand_ = false;
    StartRenegotiation(Direction::Both);
}

void TalkCall::StartRenegotiation(Direction direction) {
    renegotiated_ = direction;
    holdToTell_ = true;
    toRenegotiate_ = {&Caller(), answered_};
    if (step_ == Step::Idle) NextRenegotiation();
    // Else it begins when what is under way is done.
}

void TalkCall::NextRenegotiation() {
    step_ = Step::Renegotiating;
    while (!toRenegotiate_.empty() && !CanBeReinvited(*toRenegotiate_.front()))
        toRenegotiate_.pop_front();
    if (toRenegotiate_.empty()) {
        step_ = Step::Idle;
        if (!std::exchange(holdToTell_, false)) return;
        if (!held_) {
            room_.Unblock("");
            if (isMonitor_) room_.Block(kCallerTag);
        }
        return SetHeld(held_, kByCommand);
    }
    CallLeg& leg = *toRenegotiate_.front();
    toRenegotiate_.pop_front();
    const CallLeg& other = Other(leg);
    const Direction allowed =
        isMonitor_ ? (&leg == &Caller() ? Direction::Send : Direction::Receive) : Direction::Both;
    const std::string offer =
        holdToTell_ ? WithDirection(other.sdp, Common(renegotiated_, allowed)) : other.sdp;
    room_.Offer(other.tag, leg.tag, offer, leg.Codecs(), WithReply([this, &leg](const NgReply& reply) {
                    asked_ = &leg;
                    leg.Tell(reply.Sdp(), leg, false);
                }));
}

void TalkCall::OnLegReoffers(CallLeg& leg, const std::string& sdp) {
    if (step_ != Step::Idle) return leg.sip->RefuseReoffer(491, "Request Pending");
    // Who asks for an offer gets what it knows; this is how sessions are refreshed.
    if (sdp.empty()) return leg.sip->Reanswer(leg.Own(leg.told));
    PassReofferOn(leg, Other(leg), sdp);
}

void TalkCall::PassReofferOn(CallLeg& from, CallLeg& to, const std::string& sdp) {
    step_ = Step::Passing;
    asking_ = &from;
    askedFor_ = sdp;
    room_.Offer(from.tag, to.tag, sdp, to.Codecs(), WithReply([this, &from, &to](const NgReply& reply) {
                    if (!CanBeReinvited(to)) {
                        // It goes on as it is; the one that asked is answered in its place.
                        const Direction direction = Mirrored(DirectionOf(askedFor_));
                        return AnswerReoffer(from, to, WithDirection(to.sdp, direction));
                    }
                    asked_ = &to;
                    to.Tell(AsHeld(reply.Sdp()), from, false);
                }));
}

// A phone that holds and resumes does not lift a hold that was ordered.
std::string TalkCall::AsHeld(const std::string& sdp) const {
    return heldByCommand_ ? WithDirection(sdp, Direction::None) : sdp;
}

void TalkCall::AnswerReoffer(CallLeg& from, CallLeg& to, const std::string& sdp) {
    room_.Answer(from.tag, to.tag, sdp, WithReply([this, &from](const NgReply& reply) {
                     from.sdp = askedFor_;
                     from.sip->Reanswer(from.Own(AsHeld(reply.Sdp())));
                     asking_ = nullptr;
                     step_ = Step::Idle;
                     if (!heldByCommand_)
                         SetHeld(DirectionOf(askedFor_) != Direction::Both && !isMonitor_, from.User());
                     if (!toRenegotiate_.empty()) NextRenegotiation();
                 }));
}

void TalkCall::OnLegRefusesReinvite(CallLeg& leg, int code) {
    if (step_ == Step::Building)  // rtpengine was started anew, and the phone does not go where it is now
        return End(END_NO_MEDIA, "The phone refused other media (" + std::to_string(code) + ")", leg.User());
    if (&leg != asked_) return;
    asked_ = nullptr;
    if (step_ == Step::Passing) {
        asking_->sip->RefuseReoffer(code, "Refused by the other end");
        asking_ = nullptr;
        step_ = Step::Idle;
        if (!toRenegotiate_.empty()) NextRenegotiation();
        return;
    }
    LogLine("call " + Id() + ": " + leg.User() + " refused a re-INVITE (" + std::to_string(code) +
            "); it is held on the way to it alone");
    NextRenegotiation();
}

// Phones are left to ask each other by RTCP, as they always have.
void TalkCall::OnLegNeedsKeyframe(CallLeg& leg) {
    if (!answered_ || (&leg != &Caller() && &leg != answered_)) return;
    CallLeg& other = Other(leg);
    if (other.IsUp() && (leg.IsPage() || other.IsPage())) other.sip->RequestKeyframe();
}

// ---- digits into the sound

std::string TalkCall::PlayDigits(const std::string& user, const std::string& digits) {
    const auto legs = LegsForDigits(user);
    if (legs.empty()) return kNobodyForDigits;
    CallLeg& leg = *legs.front();
    if (std::string why = WhyNoDigitsFor(leg); !why.empty()) return why;
    if (step_ != Step::Idle && step_ != Step::TakingDigits) return "the call is being changed; try again";
    for (const char digit : digits)
        toPlay_.emplace_back(&leg, digit);
    if (!room_.TakesDigits())
        TakeDigits();
    else if (!digitTimer_.IsRunning() && step_ == Step::Idle)
        PlayNextDigit();
    return {};
}

// rtpengine puts digits into what the other end sends, and says nothing when that goes nowhere.
std::string TalkCall::WhyNoDigitsFor(const CallLeg& leg) const {
    if (!established_) return "the call is not established";
    if (held_) return "the call is held";
    if (isMonitor_ && &leg != &Caller()) return "nothing is sent to who is watched; give digits by info";
    return {};
}

// What both ends have told is told to rtpengine once more, now with the flag. It answers what it has answered
// before, so neither phone has to know.
void TalkCall::TakeDigits() {
    step_ = Step::TakingDigits;
    room_.TakeDigits(true);
    const auto check = [this](std::function<void(const NgReply&)> handler) {
        return [weak = weak_from_this(), this, handler = std::move(handler)](const NgReply& reply) {
            const CallPtr call = weak.lock();
            if (call && !ended_ && step_ == Step::TakingDigits) handler(reply);
        };
    };
    room_.Offer(kCallerTag, answered_->tag, Caller().sdp, answered_->Codecs(),
                check([this, check](const NgReply& offered) {
                    if (!offered.ok) return FinishTakingDigits(offered);
                    room_.Answer(kCallerTag, answered_->tag, answered_->sdp,
                                 check([this](const NgReply& reply) { FinishTakingDigits(reply); }));
                }));
}

void TalkCall::FinishTakingDigits(const NgReply& reply) {
    step_ = Step::Idle;
    room_.TakeDigits(reply.ok);
    if (!reply.ok) DropDigits("rtpengine takes no digits: " + reply.reason);
    if (!toRenegotiate_.empty()) NextRenegotiation();
    digitTimer_.Start(kPlayedDigit, [this] { PlayNextDigit(); });
}

void TalkCall::PlayNextDigit() {
    if (toPlay_.empty()) return;
    const auto [leg, digit] = toPlay_.front();
    if (const std::string why = WhyNoDigitsFor(*leg); !why.empty()) return DropDigits(why);
    toPlay_.pop_front();
    const std::string from = Other(*leg).tag;
    played_.emplace(from, digit);
    digitTimer_.Start(kPlayedDigit, [this] { PlayNextDigit(); });
    room_.PlayDigit(from, digit, [weak = weak_from_this(), this](const NgReply& reply) {
        const CallPtr call = weak.lock();
        if (call && !ended_ && !reply.ok) DropDigits("rtpengine plays no digits: " + reply.reason);
    });
}

void TalkCall::DropDigits(const std::string& why) {
    toPlay_.clear();
    Event event;
    event.kind = EventKind::Refused;
    event.code = END_NOT_ACCEPTABLE;
    event.reason = "dtmf: " + why;
    Tell(std::move(event));
}

void TalkCall::Rebuild() {
    for (const auto& leg : legs_)
        if (leg->IsUp() && !CanBeReinvited(*leg))
            return End(END_NO_MEDIA, "rtpengine was started anew, and the phone takes no re-INVITE",
                       kByCallControl);
    if (asking_) asking_->sip->RefuseReoffer(491, "Request Pending");
    asking_ = asked_ = nullptr;
    toRenegotiate_.clear();
    toPlay_.clear();
    holdToTell_ = false;
    step_ = Step::Building;
    held_ = false;
    // A phone that calls has told its media, and is told the other end's with the answer.
    if (byPhone_ && !Caller().IsUp())
        OfferToCallees();
    else
        TellCaller();
}

bool TalkCall::ShouldBeHeard(const CallLeg& leg) const {
    if (&leg != &Caller() && &leg != answered_) return false;
    const Direction direction = DirectionOf(leg.sdp);
    return direction == Direction::Both || direction == Direction::Send;
}

}  // namespace telephony
