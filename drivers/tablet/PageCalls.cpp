#include "drivers/tablet/PageCalls.h"

#include <algorithm>
#include <utility>

#include "host/glue/Log.h"
#include "host/glue/Numbers.h"

using telephony::CallReport;
using telephony::Command;
using telephony::CommandKind;
using telephony::Event;
using telephony::EventKind;
using telephony::LegReport;
using telephony::LegRole;
using telephony::LegState;

namespace {

// SIP statuses.
constexpr int kOk = 200;
constexpr int kUnavailable = 480;
constexpr int kNoSuchCall = 481;
constexpr int kServerError = 500;
constexpr int kNoService = 503;
constexpr int kDecline = 603;

constexpr char kPageGone[] = "The page is gone";
constexpr char kNobody[] = "No page is open";
constexpr char kControlAway[] = "Call control is away";
constexpr char kByCallControl[] = "callcontrol";
constexpr char kByCommand[] = "command";
constexpr char kCalling[] = "calling";
constexpr char kEstablished[] = "established";
constexpr char kHeld[] = "held";

// More than a page misses that comes back in time.
constexpr std::size_t kMostWaiting = 100;

PageCalls::Time Now() {
    return std::chrono::steady_clock::now();
}

dv::auto_com<DvXML::INode> About(const char* name, const std::string& id) {
    auto element = DvXML::CreateXmlNode(name, "");
    element->NodeSetAttribute("call", id);
    return element;
}

std::string SecondsSince(const std::optional<PageCalls::Time>& time) {
    if (!time) return "0";
    return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(Now() - *time).count());
}

const LegReport* LegOf(const CallReport& report, const std::string& user) {
    const auto found = std::ranges::find(report.legs, user, &LegReport::user);
    return found == report.legs.end() ? nullptr : &*found;
}

}  // namespace

// ---- what pages want

// A page that comes back has another reader than before. One that has missed an end is told of it again.
PageCalls::Call& PageCalls::Take(unsigned long reader, const std::string& id) {
    const auto found = calls_.find(id);
    if (found == calls_.end()) {
        pages_.Send(reader, *EndedElement(id, {kNoSuchCall, "It is over", kByCallControl}, std::nullopt));
        throw PageRefusal("there is no call " + id + "; it is over");
    }
    Call& call = found->second;
    if (call.others.contains(reader)) {
        pages_.Send(reader, *ElsewhereElement(id, NameOf(owner_.User())));
        throw PageRefusal("call " + id + " is at another page of this tablet");
    }
    if (!call.answered || call.page == reader) return call;
    if (const unsigned long before = std::exchange(call.page, reader); before != 0) {
        call.others.insert(before);
        pages_.Send(before, *ElsewhereElement(id, NameOf(owner_.User())));
    }
    call.due = Now() + times_.silence;
    for (const Element& element : std::exchange(call.waiting, {}))
        Tell(call, element);
    return call;
}

Command PageCalls::OfPage(CommandKind kind, const std::string& id) const {
    Command command;
    command.kind = kind;
    command.id = id;
    command.leg = owner_.User();
    return command;
}

void PageCalls::Send(const Command& command) {
    if (!owner_.SendToCallControl(command)) throw PageRefusal("call control is away; it is tried again");
}

bool PageCalls::Reject(const std::string& id, int code, const std::string& reason) {
    Command command = OfPage(CommandKind::PageReject, id);
    command.code = code;
    command.reason = reason;
    return owner_.SendToCallControl(command);
}

void PageCalls::Ring(unsigned long reader, const std::string& id) {
    Call& call = Take(reader, id);
    if (call.answered || call.rings) return;
    Send(OfPage(CommandKind::PageRinging, id));
    call.rings = true;
}

void PageCalls::Answer(unsigned long reader, const std::string& id, const std::string& sdp) {
    if (sdp.empty()) throw PageRefusal("parameter sdp is missing");
    if (sdp.size() > telephony::kLongestSdp)
        throw PageRefusal("the description has " + std::to_string(sdp.size()) + " bytes; at most " +
                          std::to_string(telephony::kLongestSdp) + " are taken: offer fewer codecs");
    Call& call = Take(reader, id);
    if (call.answered && !call.offered) throw PageRefusal("call " + id + " waits for no answer");
    Command command = OfPage(CommandKind::PageAnswer, id);
    command.sdp = sdp;
    Send(command);
    if (std::exchange(call.offered, false)) return;
    call.answered = true;
    call.page = reader;
    call.answer = sdp;
    call.due = Now() + times_.silence;
    const Element elsewhere = ElsewhereElement(id, NameOf(owner_.User()));
    for (const unsigned long other : pages_.All()) {
        if (other == reader) continue;
        call.others.insert(other);
        pages_.Send(other, *elsewhere);
    }
}

void PageCalls::Decline(unsigned long reader, const std::string& id) {
    Call& call = Take(reader, id);
    if (call.answered) throw PageRefusal("call " + id + " is answered; hang it up");
    if (!Reject(id, kDecline, "Declined")) throw PageRefusal("call control is away; it is tried again");
    call.outcome = {kDecline, "Declined", owner_.User()};
}

// While call control is away the page need not wait: DeviceCalls sees to it later.
void PageCalls::HangUp(unsigned long reader, const std::string& id) {
    Call& call = Take(reader, id);
    const Outcome outcome{kOk, "Hung up", owner_.User()};
    call.outcome = outcome;
    if (!deviceCalls_.HangUpCall(id) || !controlIsThere_) End(id, outcome);
}

void PageCalls::SetHeld(unsigned long reader, const std::string& id, bool held) {
    Take(reader, id);
    if (const std::string why = deviceCalls_.HoldCall(id, held); !why.empty()) throw PageRefusal(why);
}

void PageCalls::AskForKeyframe(unsigned long reader, const std::string& id) {
    if (!Take(reader, id).up) throw PageRefusal("call " + id + " is not answered yet");
    Send(OfPage(CommandKind::PageKeyframe, id));
}

void PageCalls::SendDigits(unsigned long reader, const std::string& id, const std::string& digits) {
    Take(reader, id);
    const std::string why = deviceCalls_.SendDigitsTo(id, digits, telephony::DigitStyle::Rfc4733);
    if (!why.empty()) throw PageRefusal(why);
}

void PageCalls::Ping(unsigned long reader, const std::string& id) {
    Call& call = Take(reader, id);
    if (call.answered && !call.outcome) call.due = Now() + times_.silence;
}

// ---- pages that come and go

void PageCalls::AddTo(DvXML::INode& welcome) const {
    if (!controlIsThere_) welcome.NodeAddChild(ControlElement().get());
    for (const auto& [id, call] : calls_) {
        const Element element = About("call", id);
        element->NodeSetAttribute("kind", TextOf(call.about.kind));
        element->NodeSetAttribute("role", TextOf(call.about.role));
        element->NodeSetAttribute("from", call.about.from);
        element->NodeSetAttribute("name", call.about.name);
        element->NodeSetAttribute("called", call.about.called);
        element->NodeSetAttribute("state", call.state);
        element->NodeSetAttribute("seconds", SecondsSince(call.established));
        welcome.NodeAddChild(element.get());
    }
}

void PageCalls::Invite(unsigned long reader) {
    for (auto& [id, call] : calls_) {
        if (call.answered) continue;
        call.due.reset();
        pages_.Send(reader, *InviteOf(id, call));
    }
}

// When no page is left, call control is told so, which ends what rings and what is up.
void PageCalls::OnPageGone(unsigned long reader) {
    const bool isLast = !pages_.IsAnybodyThere();
    for (auto& [id, call] : calls_) {
        const bool isLost = call.answered ? call.page == reader : isLast;
        if (!isLost || call.outcome) continue;
        if (isLast && controlIsThere_)
            call.outcome = {kUnavailable, kPageGone, owner_.User()};
        else if (call.answered)
            Leave(id, call);
    }
}

// Call control ends a call with the words for a page that is gone only when it takes all of them for gone.
void PageCalls::Leave(const std::string& id, Call& call) {
    owner_.Log(dv::LOG_LEVEL_INFO, "the page of call " + id + " is gone; the call is left");
    call.outcome = {kUnavailable, kPageGone, owner_.User()};
    call.due.reset();
    if (!controlIsThere_ || calls_.size() > 1) {
        deviceCalls_.HangUpCall(id);
        return;
    }
    TellPresence(true);  // or it would be no news that they are gone
    TellPresence(false);
    if (pages_.IsAnybodyThere()) TellPresence(true);
}

void PageCalls::TellPresence(bool present) {
    Command command = OfPage(CommandKind::PagePresent, "");
    command.present = present;
    owner_.SendToCallControl(command);  // one that is away is told when it is back
}

void PageCalls::OnTime(Time now) {
    for (auto& [id, call] : calls_) {
        if (!call.due || *call.due > now) continue;
        call.due.reset();
        if (call.answered) {
            Leave(id, call);
        } else if (Reject(id, kUnavailable, kNobody)) {
            owner_.Log(dv::LOG_LEVEL_INFO, "the call of " + call.about.name + " is refused: no page is open");
            call.outcome = {kUnavailable, kNobody, owner_.User()};
        }
    }
    if (!controlDue_ || *controlDue_ > now) return;
    controlDue_.reset();
    while (!calls_.empty())
        End(calls_.begin()->first, {kNoService, kControlAway, kByCallControl});
}

std::optional<PageCalls::Time> PageCalls::NextTime() const {
    std::optional<Time> next = controlDue_;
    for (const auto& [id, call] : calls_)
        if (call.due && (!next || *call.due < *next)) next = call.due;
    return next;
}

// ---- calls that the agent orders

void PageCalls::OnOrder(const Command& order, bool isSent) {
    std::string name = order.called;
    if (name.empty() && order.to.size() == 1) name = NameOf(order.to.front());
    orders_[order.id] = {order.callKind, name};
    if (!isSent) Refuse(order.id, kNoService, kControlAway);
}

bool PageCalls::Refuse(const std::string& id, int code, const std::string& reason) {
    const auto node = orders_.extract(id);
    if (!node) return false;
    const auto element = DvXML::CreateXmlNode("refused", "");
    element->NodeSetAttribute("kind", TextOf(node.mapped().kind));
    element->NodeSetAttribute("name", node.mapped().name);
    element->NodeSetAttribute("code", std::to_string(code));
    element->NodeSetAttribute("reason", reason);
    pages_.SendAll(*element);
    return true;
}

// ---- what call control tells

void PageCalls::OnEvent(const Event& event) {
    switch (event.kind) {
        case EventKind::Snapshot:
            return TakeSnapshot(event);
        case EventKind::PageInvite:
            return TakeInvite(event);
        case EventKind::Refused:
            if (!Refuse(event.id, event.code, event.reason)) TakeRefusal(event);
            return;
        default:
            break;
    }
    // One that call control ends at once never comes to the pages.
    if (event.kind == EventKind::Ended && Refuse(event.id, event.code, event.reason)) return;
    const auto found = calls_.find(event.id);
    if (found == calls_.end()) return;
    Call& call = found->second;
    if (event.kind == EventKind::Ended) return End(event.id, {event.code, event.reason, event.by});
    if (event.kind == EventKind::LegDown && event.leg == owner_.User()) return TakeOwnLegDown(event, call);
    TakeNews(event, call);
}

void PageCalls::TakeNews(const Event& event, Call& call) {
    switch (event.kind) {
        case EventKind::PageOffer: {
            call.offered = true;
            const Element element = About("offer", event.id);
            element->NodeAddNamedValue("sdp", event.sdp);
            return Tell(call, element);
        }
        case EventKind::PageKeyframe:
            return Tell(call, About("keyframe", event.id));
        case EventKind::Ringing:
            if (event.leg != owner_.User()) Tell(call, AboutLeg("ringing", event));
            return;
        case EventKind::LegUp:
            if (event.leg != owner_.User()) return Tell(call, AboutLeg("legUp", event));
            return SetUp(call);
        case EventKind::LegDown: {
            call.lastDown = event.leg;
            const Element element = AboutLeg("legDown", event);
            element->NodeSetAttribute("code", std::to_string(event.code));
            element->NodeSetAttribute("reason", event.reason);
            return Tell(call, element);
        }
        case EventKind::Established:
            call.established = Now();
            call.state = kEstablished;
            return Tell(call, About("established", event.id));
        case EventKind::Modified: {
            call.state = event.state == kHeld ? kHeld : kEstablished;
            const Element element = About("modified", event.id);
            element->NodeSetAttribute("state", event.state);
            element->NodeSetAttribute("by", event.by);
            return Tell(call, element);
        }
        default:
            return;
    }
}

// An invite is told once more to a driver that has come back. An answer that was on the way was lost.
void PageCalls::TakeInvite(const Event& event) {
    orders_.erase(event.id);
    Call& call = calls_[event.id];
    if (!call.offer.empty() && call.offer == event.sdp) {
        if (!call.answered) return;
        Command command = OfPage(CommandKind::PageAnswer, event.id);
        command.sdp = call.answer;
        owner_.SendToCallControl(command);
        return;
    }
    call = Call();
    call.about = event.page;
    call.offer = event.sdp;
    call.state = kCalling;
    if (!pages_.IsAnybodyThere()) call.due = Now() + times_.comingBack;
    pages_.SendAll(*InviteOf(event.id, call));
}

void PageCalls::SetUp(Call& call) {
    call.up = true;
    call.offer.clear();
    call.answer.clear();
}

// Answered elsewhere is a callee that is told to stop ringing, with 200.
void PageCalls::TakeOwnLegDown(const Event& event, Call& call) {
    const Outcome outcome = call.outcome.value_or(Outcome{event.code, event.reason,
                                                          !call.lastDown.empty() ? call.lastDown
                                                          : event.code == kOk    ? kByCommand
                                                                                 : kByCallControl});
    if (call.outcome || call.up || event.code != kOk) return End(event.id, outcome);
    Tell(call, ElsewhereElement(event.id, ""));
    calls_.erase(event.id);
}

void PageCalls::TakeSnapshot(const Event& event) {
    if (!std::exchange(controlIsThere_, true)) {
        controlDue_.reset();
        pages_.SendAll(*ControlElement());
        if (pages_.IsAnybodyThere()) TellPresence(true);
    }
    std::map<std::string, const LegReport*> running;  // our legs, by call
    for (const CallReport& report : event.calls) {
        const LegReport* const own = LegOf(report, owner_.User());
        if (!own || own->state == LegState::Down) continue;
        running[report.id] = own;
        if (own->state == LegState::Up) TakeRunning(report, *own);
    }
    std::vector<std::string> gone;
    for (const auto& [id, call] : calls_)
        if (!running.contains(id)) gone.push_back(id);
    for (const std::string& id : gone)
        End(id, calls_.at(id).outcome.value_or(
                    Outcome{kUnavailable, "It has ended while call control was away", kByCallControl}));
}

// One that is not known runs since before this driver, and so does its page.
void PageCalls::TakeRunning(const CallReport& report, const LegReport& own) {
    const auto [found, isNew] = calls_.try_emplace(report.id);
    Call& call = found->second;
    SetUp(call);
    call.state = report.state;
    if (!isNew) return;
    call.answered = true;
    call.due = Now() + times_.comingBack;
    call.about.kind = report.kind;
    call.about.role = own.role;
    call.about.called = report.called;
    if (report.state != kCalling)
        call.established = Now() - std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                       std::chrono::duration<double>(report.seconds));
    for (const LegReport& leg : report.legs) {
        if (leg.role == own.role || leg.state == LegState::Down) continue;
        call.about.from = leg.user;
        call.about.name = NameOf(leg.user);
        break;
    }
}

// A page whose answer is refused is in no call. DeviceCalls does not hear of what pages were refused.
void PageCalls::TakeRefusal(const Event& event) {
    const auto found = calls_.find(event.id);
    if (found == calls_.end()) return;
    Call& call = found->second;
    const bool isOfPage = IsOfPage(event);
    if (!isOfPage && event.code != kNoSuchCall) return;
    if (!isOfPage || call.outcome)
        return End(event.id, call.outcome.value_or(Outcome{event.code, event.reason, kByCallControl}));
    if (call.up || !call.answered) return;
    call.outcome = {kServerError, event.reason, kByCallControl};
    Reject(event.id, kServerError, "The answer of the page was refused");
}

void PageCalls::OnCallControlLost(const std::string& reason) {
    controlTrouble_ = reason;
    if (std::exchange(controlIsThere_, false)) controlDue_ = Now() + times_.comingBack;
    pages_.SendAll(*ControlElement());
    while (!orders_.empty())
        Refuse(orders_.begin()->first, kNoService, kControlAway);
}

// ---- what pages are told

void PageCalls::End(const std::string& id, const Outcome& outcome) {
    auto node = calls_.extract(id);
    if (!node) return;
    const Call& call = node.mapped();
    const Element element = EndedElement(id, outcome, call.established);
    if (call.page != 0)
        pages_.Send(call.page, *element);
    else
        pages_.SendAll(*element);
}

void PageCalls::Tell(Call& call, const Element& element) {
    if (!call.answered) return pages_.SendAll(*element);
    if (call.page != 0 && pages_.Send(call.page, *element)) return;
    if (call.waiting.size() < kMostWaiting) return call.waiting.push_back(element);
    call.due = Now();  // it has missed too much
}

PageCalls::Element PageCalls::EndedElement(const std::string& id, const Outcome& outcome,
                                           const std::optional<Time>& established) const {
    auto element = About("ended", id);
    element->NodeSetAttribute("code", std::to_string(outcome.code));
    element->NodeSetAttribute("reason", outcome.reason);
    element->NodeSetAttribute("by", outcome.by);
    element->NodeSetAttribute("seconds", SecondsSince(established));
    return element;
}

PageCalls::Element PageCalls::ElsewhereElement(const std::string& id, const std::string& where) const {
    auto element = About("elsewhere", id);
    element->NodeSetAttribute("where", where);
    return element;
}

PageCalls::Element PageCalls::InviteOf(const std::string& id, const Call& call) const {
    const Element element = About("invite", id);
    element->NodeSetAttribute("kind", TextOf(call.about.kind));
    element->NodeSetAttribute("role", TextOf(call.about.role));
    element->NodeSetAttribute("from", call.about.from);
    element->NodeSetAttribute("name", call.about.name);
    element->NodeSetAttribute("called", call.about.called);
    element->NodeSetAttribute("audio", TextOf(call.about.audio));
    element->NodeSetAttribute("video", TextOf(call.about.video));
    element->NodeSetBoolAttribute("answers", call.about.answers);
    element->NodeAddNamedValue("sdp", call.offer);
    return element;
}

PageCalls::Element PageCalls::AboutLeg(const char* name, const Event& event) const {
    const Element element = About(name, event.id);
    element->NodeSetAttribute("leg", event.leg);
    element->NodeSetAttribute("name", NameOf(event.leg));
    return element;
}

PageCalls::Element PageCalls::ControlElement() const {
    auto element = DvXML::CreateXmlNode("callControl", "");
    element->NodeSetBoolAttribute("up", controlIsThere_);
    if (!controlIsThere_) element->NodeSetAttribute("reason", controlTrouble_);
    return element;
}

std::string PageCalls::NameOf(const std::string& user) const {
    const Peer peer = Directory(owner_.FindAgent()).FindUser(user);
    return peer.name.empty() ? user : peer.name;
}
