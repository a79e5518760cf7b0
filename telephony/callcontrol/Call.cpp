#include "telephony/callcontrol/Call.h"

#include <algorithm>
#include <random>

#include "telephony/callcontrol/Log.h"
#include "telephony/callcontrol/Sdp.h"

namespace telephony {
namespace {

// rtpengine is started again within a second; a call that has heard nothing of it for so long has no sound.
constexpr std::chrono::seconds kLongestWithoutMedia(10);

std::uint64_t RandomSession() {
    std::random_device random;
    return random();
}

}  // namespace

const std::vector<std::string>& UsualCodecs() {
    static const std::vector<std::string> codecs{"PCMA", "PCMU"};
    return codecs;
}

CallLeg::CallLeg(Call& call, std::string user, LegRole role, std::string tagInRoom, bool isPage)
    : tag(std::move(tagInRoom)), call_(call), isPage_(isPage), session_(RandomSession()) {
    report.user = std::move(user);
    report.role = role;
}

std::string CallLeg::Own(const std::string& description) {
    told = WithOrigin(description, session_, ++version_, call_.services_.address);
    return told;
}

std::vector<std::string> CallLeg::Codecs() const {
    const auto codecs = call_.services_.device(User()).codecs;
    return codecs.empty() ? UsualCodecs() : codecs;
}

void CallLeg::Tell(const std::string& offer, const CallLeg& shown, bool answersByItself) {
    const std::string description = WithCodecs(offer, call_.services_.device(User()).codecs);
    if (IsUp()) return sip->Reinvite(Own(description));
    Invitation invitation;
    invitation.to = User();
    invitation.fromUser = shown.User();
    invitation.fromName = call_.services_.device(shown.User()).name;
    invitation.sdp = Own(description);
    if (answersByItself) invitation.answer = call_.services_.device(User()).answer;
    const bool isCaller = report.role == LegRole::Caller;
    invitation.call = call_.id_;
    invitation.kind = call_.kind_;
    invitation.audio = isCaller ? call_.audio_ : Mirrored(call_.audio_);
    invitation.video = isCaller ? call_.video_ : Mirrored(call_.video_);
    invitation.answersByItself = answersByItself;
    invitation.role = report.role;
    invitation.called = call_.called_;
    report.state = LegState::Calling;
    sip = call_.services_.newLeg(User(), *this);
    sip->Invite(invitation);
    call_.WriteJournal(*this);
}

void CallLeg::OnProgress(int code, const std::string& description) {
    if (report.state == LegState::Calling) {
        report.state = LegState::Ringing;
        // Until now the proxy may have asked for credentials; this is the INVITE that a CANCEL must repeat.
        // It is written before anybody is told, so that whoever knows of a call finds it in the journal.
        call_.WriteJournal(*this);
        Event event = call_.About(EventKind::Ringing, *this);
        event.code = code;
        call_.Tell(std::move(event));
    }
    call_.OnLegRings(*this, description);
}

void CallLeg::OnAnswer(const std::string& description) {
    report.state = LegState::Up;
    report.answered = true;
    sdp = description;
    report.codecs = CodecsOf(sdp);
    heard = call_.services_.loop.Now();
    call_.WriteJournal(*this);
    Event event = call_.About(EventKind::LegUp, *this);
    event.codecs = report.codecs;
    call_.Tell(std::move(event));
    call_.OnLegAnswers(*this);
}

void CallLeg::OnFailed(int code, const std::string& reason) {
    const CallPtr alive = call_.shared_from_this();
    call_.Down(*this, code, reason);
    call_.OnLegGone(*this, code, reason);
}

void CallLeg::OnReoffer(const std::string& description) {
    call_.OnLegReoffers(*this, description);
}

void CallLeg::OnReanswer(int code, const std::string& description) {
    call_.WriteJournal(*this);
    if (code != 200) return call_.OnLegRefusesReinvite(*this, code);
    sdp = description;
    report.codecs = CodecsOf(sdp);
    call_.OnLegAnswers(*this);
}

void CallLeg::OnDigits(const std::string& digits) {
    call_.TellDigits(*this, digits, DigitStyle::Info);
}

void CallLeg::OnKeyframe() {
    if (!call_.ended_) call_.OnLegNeedsKeyframe(*this);
}

void CallLeg::OnAlive() {
    heard = call_.services_.loop.Now();
}

void CallLeg::OnBye() {
    OnFailed(END_NORMAL, "Hung up");
}

Call::Call(CallServices& services, std::string id, CallKind kind, std::string called, Direction audio,
           Direction video)
    : services_(services),
      audio_(audio),
      video_(video),
      room_(services.ng, services.newRoom()),
      id_(std::move(id)),
      kind_(kind),
      called_(std::move(called)),
      mediaSeen_(services.loop.Now()) {}

Call::~Call() {
    for (const auto& leg : legs_)
        if (leg->sip && !leg->IsOver()) leg->sip->Hangup(END_UNAVAILABLE, "Call control ends");
}

bool Call::Concerns(const std::string& user, const std::string& end) const {
    const std::string& caller = Caller().User();
    if (!end.empty() && end != caller && end != user && user != caller) return false;
    return std::ranges::any_of(legs_, [&](const auto& leg) { return leg->User() == user; });
}

CallReport Call::Report() const {
    CallReport report;
    report.id = id_;
    report.kind = kind_;
    report.byPhone = byPhone_;
    report.called = called_;
    report.state = !established_ ? "calling" : held_ ? "held" : "established";
    report.seconds = Seconds();
    for (const auto& leg : legs_)
        report.legs.push_back(leg->report);
    return report;
}

double Call::Seconds() const {
    if (!established_) return 0;
    return std::chrono::duration<double>(services_.loop.Now() - establishedAt_).count();
}

CallLeg& Call::AddLeg(const std::string& user, LegRole role, const std::string& tag) {
    const bool isPage = services_.device(user).page;
    if (isPage) room_.AddPage(tag);
    legs_.push_back(std::make_unique<CallLeg>(*this, user, role, tag, isPage));
    return *legs_.back();
}

void Call::Tell(Event event) const {
    event.id = id_;
    services_.tell(*this, std::move(event));
}

Event Call::About(EventKind kind, const CallLeg& leg) const {
    Event event;
    event.kind = kind;
    event.leg = leg.User();
    return event;
}

void Call::Down(CallLeg& leg, int code, const std::string& reason) {
    if (leg.IsOver()) return;
    leg.report.state = LegState::Down;
    leg.report.code = code;
    leg.report.reason = reason;
    Event event = About(EventKind::LegDown, leg);
    event.code = code;
    event.reason = reason;
    Tell(std::move(event));
}

void Call::HangUpLeg(CallLeg& leg, int code, const std::string& reason) {
    if (leg.IsOver()) return;
    if (leg.sip) leg.sip->Hangup(code, reason);
    Down(leg, code, reason);
}

void Call::SetEstablished() {
    if (established_) return;
    established_ = true;
    establishedAt_ = services_.loop.Now();
    Event event;
    event.kind = EventKind::Established;
    Tell(std::move(event));
}

void Call::SetHeld(bool held, const std::string& by) {
    held_ = held;
    Event event;
    event.kind = EventKind::Modified;
    event.state = held ? "held" : "active";
    event.by = by;
    Tell(std::move(event));
}

void Call::WriteJournal() const {
    if (ended_) return;
    std::vector<std::string> dialogs;
    for (const auto& leg : legs_)
        if (!leg->IsOver() && !leg->noted.empty()) dialogs.push_back(leg->noted);
    services_.journal.Write(room_.Name(), dialogs);
}

void Call::WriteJournal(CallLeg& changed) const {
    const nlohmann::json dialog = changed.sip->Journal();
    changed.noted =
        dialog.is_null() ? "" : dialog.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    WriteJournal();
}

Room::Handler Call::WithReply(std::function<void(const NgReply&)> handler) {
    return [weak = weak_from_this(), handler = std::move(handler)](const NgReply& reply) {
        const CallPtr call = weak.lock();
        if (!call || call->ended_) return;
        if (reply.ok) return handler(reply);
        if (call->established_ && (reply.CallIsUnknown() || !reply.answered)) return;  // Watch sees to it
        LogLine("call " + call->id_ + ": " + reply.reason);
        call->End(END_NO_MEDIA, "No media: " + reply.reason, kByCallControl);
    };
}

std::vector<CallLeg*> Call::LegsForDigits(const std::string& user) const {
    std::vector<CallLeg*> legs;
    for (const auto& leg : legs_)
        if (leg->IsUp() && !leg->IsPage() &&
            (user.empty() ? leg->report.role == LegRole::Callee : leg->User() == user))
            legs.push_back(leg.get());
    return legs;
}

std::string Call::SendDigits(const std::string& user, const std::string& digits) {
    const auto legs = LegsForDigits(user);
    for (CallLeg* const leg : legs)
        leg->sip->SendDigits(digits);
    return legs.empty() ? kNobodyForDigits : "";
}

void Call::OnRoomDigit(const std::string& tag, char digit) {
    if (const auto ours = played_.find({tag, digit}); ours != played_.end()) {
        played_.erase(ours);
        return;
    }
    for (const auto& leg : legs_)
        if (leg->IsUp() && leg->tag == tag)
            return TellDigits(*leg, std::string(1, digit), DigitStyle::Rfc4733);
}

void Call::TellDigits(const CallLeg& leg, const std::string& digits, DigitStyle by) {
    Event event = About(EventKind::Dtmf, leg);
    event.digits = digits;
    event.by = TextOf(by);
    Tell(std::move(event));
}

bool Call::HangUp(const std::string& user) {
    const auto found =
        std::ranges::find_if(legs_, [&](const auto& leg) { return leg->User() == user && !leg->IsOver(); });
    if (ended_ || found == legs_.end()) return false;
    const CallPtr alive = shared_from_this();
    CallLeg& leg = **found;
    HangUpLeg(leg, leg.IsUp() ? END_NORMAL : END_CANCELLED, kHungUp);
    OnLegGone(leg, END_NORMAL, kHungUp);
    return true;
}

void Call::End(int code, const std::string& reason, const std::string& by) {
    if (ended_) return;
    const CallPtr alive = shared_from_this();
    ended_ = true;
    for (const auto& leg : legs_) {
        // A phone that stops ringing with 200 takes it for answered elsewhere, and shows no missed call.
        const bool givenUp = code == END_NORMAL && !leg->IsUp();
        HangUpLeg(*leg, givenUp ? static_cast<int>(END_CANCELLED) : code, reason);
    }
    services_.journal.Remove(room_.Name());
    // What came through is asked for before the room goes. The phones are free already.
    room_.Query([this, alive, code, reason, by](const NgReply& reply) {
        if (reply.ok) TakeTraffic(reply, true);
        room_.Delete();
        TellEnded(code, reason, by);
        services_.over(*this);
    });
}

void Call::TellEnded(int code, const std::string& reason, const std::string& by) {
    Event event;
    event.kind = EventKind::Ended;
    event.code = code;
    event.reason = reason;
    event.by = by;
    event.seconds = Seconds();
    event.call = Report();
    Tell(std::move(event));
}

void Call::Watch() {
    if (ended_ || !established_) return;
    room_.Query([weak = weak_from_this()](const NgReply& reply) {
        const CallPtr call = weak.lock();
        if (!call || call->ended_) return;
        if (reply.ok) return call->TakeTraffic(reply, false);
        if (reply.CallIsUnknown()) return call->SetUpMediaAnew();
        if (call->services_.loop.Now() - call->mediaSeen_ > kLongestWithoutMedia)
            call->End(END_NO_MEDIA, "No media: " + reply.reason, kByCallControl);
    });
}

void Call::SetUpMediaAnew() {
    LogLine("call " + id_ + ": rtpengine does not know it any more; its media is set up anew");
    services_.journal.Remove(room_.Name());
    NewRoom();
    WriteJournal();
    mediaSeen_ = services_.loop.Now();
    Rebuild();
}

void Call::TakeTraffic(const NgReply& reply, bool last) {
    const Loop::TimePoint now = services_.loop.Now();
    mediaSeen_ = now;
    const auto traffic = TrafficIn(reply);
    for (const auto& leg : legs_) {
        const auto found = traffic.find(leg->tag);
        // All callees of a group share a tag: the packets are those of the one that has answered.
        if (found == traffic.end() || !leg->report.answered) continue;
        leg->report.packetsReceived = found->second.rtp;
        leg->report.packetsLost = found->second.lost;
        leg->report.jitter = found->second.jitter;
        const long count = found->second.rtp + found->second.rtcp;
        // While the proxy is away a phone that sends nothing cannot be asked.
        const bool isAsked = leg->IsPage() || services_.proxyIsUp();
        if (count != leg->counted || held_ || !ShouldBeHeard(*leg) || !isAsked) leg->heard = now;
        leg->counted = count;
        if (last || !leg->IsUp() || services_.silence.count() == 0) continue;
        // Many a phone sends nothing while its user is mute or says nothing.
        if (now - leg->heard >= services_.silence / 3) leg->sip->Probe();
        if (now - leg->heard < services_.silence) continue;
        HangUpLeg(*leg, END_NO_ANSWER, "Nothing is heard of it any more");
        return OnLegGone(*leg, END_NO_ANSWER, "Nothing is heard of it any more");
    }
}

}  // namespace telephony
