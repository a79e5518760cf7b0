#include "telephony/callcontrol/BroadcastCall.h"

#include <algorithm>

#include "telephony/callcontrol/Sdp.h"

namespace telephony {

BroadcastCall::BroadcastCall(CallServices& services, const Command& command)
    : Call(services, command.id, CallKind::Broadcast, command.called, Direction::Send,
           Common(command.video, Direction::Send)),
      ringing_(services.loop) {
    AddLeg(command.from, LegRole::Caller, kCallerTag);
    for (const std::string& user : command.to)
        AddLeg(user, LegRole::Callee, "listener" + std::to_string(legs_.size()));
}

void BroadcastCall::Start() {
    ringing_.Start(services_.ringing, [this] {
        if (!established_) End(END_NO_ANSWER, "Nobody has answered", kByCallControl);
    });
    // A page that speaks opus would not be understood by phones: rtpengine turns it into nothing else here.
    const auto codecs = Caller().IsPage() ? UsualCodecs() : Caller().Codecs();
    const std::string placeholder =
        PlaceholderSdp(services_.address, codecs, Direction::Receive, Mirrored(video_));
    room_.OfferPlaceholder(placeholder, WithReply([this](const NgReply& reply) {
                               Caller().Tell(reply.Sdp(), *legs_[1], true);
                           }));
}

void BroadcastCall::OnLegAnswers(CallLeg& leg) {
    if (&leg != &Caller()) return TakeListenersAnswer(leg);
    room_.Answer(kPlaceholderTag, kCallerTag, leg.sdp,
                 WithReply([this](const NgReply&) { TellListeners(); }));
}

void BroadcastCall::TellListeners() {
    for (const auto& leg : legs_) {
        if (leg->report.role != LegRole::Callee || leg->IsOver()) continue;
        CallLeg& listener = *leg;
        room_.Subscribe(kCallerTag, listener.tag, listener.Codecs(),
                        WithReply([this, &listener](const NgReply& reply) {
                            if (!listener.IsOver()) listener.Tell(reply.Sdp(), Caller(), true);
                        }));
    }
}

void BroadcastCall::TakeListenersAnswer(CallLeg& listener) {
    room_.SubscribeAnswer(listener.tag, listener.sdp,
                          [weak = weak_from_this(), this, &listener](const NgReply& reply) {
                              const CallPtr call = weak.lock();
                              if (!call || ended_ || listener.IsOver()) return;
                              if (reply.ok) return SetEstablished();
                              if (reply.CallIsUnknown()) return;  // Watch sees to it
                              // The others go on hearing.
                              HangUpLeg(listener, END_NOT_ACCEPTABLE, "No media: " + reply.reason);
                              OnLegGone(listener, END_NOT_ACCEPTABLE, "No media: " + reply.reason);
                          });
}

void BroadcastCall::OnLegGone(CallLeg& leg, int code, const std::string& reason) {
    if (ended_) return;
    const bool isSpeaker = &leg == &Caller();
    if (!isSpeaker) room_.Unsubscribe(leg.tag);
    const bool anybody = std::ranges::any_of(
        legs_, [](const auto& other) { return other->report.role == LegRole::Callee && !other->IsOver(); });
    if (isSpeaker || !anybody) End(code, reason, leg.User());
}

// A phone that holds is told what it knows, turned to its wish: nobody else is concerned.
void BroadcastCall::OnLegReoffers(CallLeg& leg, const std::string& sdp) {
    const Direction allowed = &leg == &Caller() ? Direction::Receive : Direction::Send;
    const Direction direction = sdp.empty() ? allowed : Common(Mirrored(DirectionOf(sdp)), allowed);
    leg.sip->Reanswer(leg.Own(WithDirection(leg.told, direction)));
}

void BroadcastCall::OnLegRefusesReinvite(CallLeg& leg, int code) {
    const std::string reason = "The phone refused other media (" + std::to_string(code) + ")";
    HangUpLeg(leg, END_NO_MEDIA, reason);
    OnLegGone(leg, END_NO_MEDIA, reason);
}

void BroadcastCall::OnLegNeedsKeyframe(CallLeg& leg) {
    if (&leg != &Caller() && Caller().IsUp()) Caller().sip->RequestKeyframe();
}

std::string BroadcastCall::PlayDigits(const std::string&, const std::string&) {
    return "a broadcast takes digits by info only";
}

void BroadcastCall::Hold() {
    if (!established_ || held_) return;
    room_.Block(kCallerTag);
    SetHeld(true, kByCommand);
}

void BroadcastCall::Resume() {
    if (!established_ || !held_) return;
    room_.Unblock(kCallerTag);
    SetHeld(false, kByCommand);
}

void BroadcastCall::Rebuild() {
    Start();
    if (held_) room_.Block(kCallerTag);
}

}  // namespace telephony
