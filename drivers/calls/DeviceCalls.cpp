#include "drivers/calls/DeviceCalls.h"

#include <algorithm>
#include <utility>

#include "drivers/calls/CallState.h"
#include "host/glue/Log.h"
#include "host/glue/Numbers.h"
#include "host/interfaces/IIntercomAgent.h"
#include "host/interfaces/ISupportIntercom.h"

using dvIntercom::NO_SESSION;
using std::chrono::steady_clock;
using std::chrono::system_clock;
using telephony::CallReport;
using telephony::Command;
using telephony::CommandKind;
using telephony::Event;
using telephony::EventKind;
using telephony::LegReport;
using telephony::LegRole;
using telephony::LegState;

namespace {

// SIP statuses of call control's.
constexpr int kNoCallOfThatId = 481;
constexpr int kNotHeardOf = 408;
// With these words it ends the leg of a page that is gone.
constexpr int kAway = 480;
constexpr char kPageGone[] = "The page is gone";
constexpr int kLeastFailure = 300;
// The peer's key in a report that the device itself is lost.
constexpr char kDown[] = "down";

constexpr char kHeld[] = "held";
constexpr char kEstablished[] = "established";
constexpr char kCalling[] = "calling";

// No other driver makes it, also after a restart of the host: call control may still have the old calls.
std::string NewId(const std::string& user, unsigned long number) {
    const auto now = system_clock::now().time_since_epoch();
    return user + "-" + std::to_string(std::chrono::duration_cast<std::chrono::microseconds>(now).count()) +
           "-" + std::to_string(number);
}

std::string Seconds(steady_clock::duration duration) {
    return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(duration).count());
}

Command About(CommandKind kind, const std::string& id) {
    Command command;
    command.kind = kind;
    command.id = id;
    return command;
}

std::string Names(const std::vector<Peer>& peers) {
    std::string names;
    for (const Peer& peer : peers)
        names += (names.empty() ? "" : ", ") + peer.name;
    return names;
}

}  // namespace

// ---- what the device is told to do

void DeviceCalls::Start(const Order& order) {
    Command command = About(CommandKind::Call, NewId(owner_.User(), ++started_));
    const auto refuse = [&](const std::string& why) {
        owner_.Log(dv::LOG_LEVEL_ERROR, "no call to " + Names(order.peers) + ": " + why);
    };
    if (CountOfSessions() + order.peers.size() > NO_SESSION) return refuse("all session numbers are taken");
    command.from = owner_.User();
    command.callKind = order.kind;
    command.audio = order.audio;
    command.video = order.video;
    command.ring = order.ring;
    command.called = order.called;
    CallReport report;
    report.id = command.id;
    report.kind = order.kind;
    report.state = kCalling;
    report.legs.push_back({owner_.User(), LegRole::Caller});
    for (const Peer& peer : order.peers) {
        command.to.push_back(peer.user);
        report.legs.push_back({peer.user});
    }
    if (!owner_.SendToCallControl(command)) return refuse("call control is away");
    Call& call = calls_[command.id];
    call.report = report;
    call.begin = system_clock::now();
    for (const Peer& peer : order.peers)
        call.sessions.push_back({FreeNumber(), peer, false});
    owner_.OnStateChanged();
}

unsigned char DeviceCalls::Find(const std::string& key) const {
    for (const auto& [id, call] : calls_)
        for (const Session& session : call.sessions)
            if (session.peer.key == key) return session.number;
    return NO_SESSION;
}

bool DeviceCalls::IsActive(unsigned char number) const {
    for (const auto& [id, call] : calls_)
        for (const Session& session : call.sessions)
            if (session.number == number) return call.report.state != kHeld;
    return false;
}

bool DeviceCalls::HangUp(unsigned char number) {
    Call* const call = FindCallOf(number);
    if (!call) return false;
    const auto session = std::ranges::find(call->sessions, number, &Session::number);
    return HangUp(*call, *session);
}

bool DeviceCalls::HangUpAll() {
    std::vector<unsigned char> numbers;
    for (const auto& [id, call] : calls_)
        for (const Session& session : call.sessions)
            numbers.push_back(session.number);
    for (const unsigned char number : numbers)
        HangUp(number);
    return !numbers.empty();
}

// The session ends when call control says so. Of several listeners one leaves and the others go on.
bool DeviceCalls::HangUp(const Call& call, Session& session) {
    Command command = About(CommandKind::Hangup, call.report.id);
    if (session.received)
        command.leg = owner_.User();
    else if (call.sessions.size() > 1)
        command.leg = session.peer.user;
    if (!owner_.SendToCallControl(command)) NoteHangup(session);
    return true;
}

void DeviceCalls::NoteHangup(Session& session) {
    session.hangupDue = true;
    owner_.Log(dv::LOG_LEVEL_ERROR, "the call with " + session.peer.name +
                                        " is hung up as soon as call control, which is away, is back");
}

bool DeviceCalls::HangUpCall(const std::string& id) {
    Call* const call = FindCall(id);
    if (!call) return false;
    Command command = About(CommandKind::Hangup, id);
    command.leg = owner_.User();
    if (owner_.SendToCallControl(command)) return true;
    for (Session& session : call->sessions)
        NoteHangup(session);
    return true;
}

bool DeviceCalls::SetHeld(unsigned char number, bool held) {
    Call* const call = FindCallOf(number);
    if (!call) return false;
    const Session& session = *std::ranges::find(call->sessions, number, &Session::number);
    const std::string why = Hold(*call, session, held);
    if (!why.empty()) owner_.Log(dv::LOG_LEVEL_ERROR, why);
    return true;
}

std::string DeviceCalls::HoldCall(const std::string& id, bool held) {
    const Call* const call = FindCall(id);
    if (!call || call->sessions.empty()) return "there is no call " + id;
    return Hold(*call, call->sessions.front(), held);
}

std::string DeviceCalls::Hold(const Call& call, const Session& session, bool held) {
    const std::string head =
        "the call with " + session.peer.name + " cannot be " + (held ? "held" : "resumed") + ": ";
    if (!session.answered) return head + "it is not answered";
    if (session.received && call.report.kind == telephony::CallKind::Broadcast)
        return head + "a broadcast is held by who speaks";
    if (!owner_.SendToCallControl(About(held ? CommandKind::Hold : CommandKind::Resume, call.report.id)))
        return head + "call control is away";
    return {};
}

bool DeviceCalls::SetAllHeld(bool held) {
    std::vector<unsigned char> numbers;  // one of each call: the call is held as a whole
    for (const auto& [id, call] : calls_)
        if (!call.sessions.empty() && (call.report.state == kHeld) != held)
            numbers.push_back(call.sessions.front().number);
    for (const unsigned char number : numbers)
        SetHeld(number, held);
    return !numbers.empty();
}

bool DeviceCalls::SendDigits(const std::string& digits, telephony::DigitStyle by) {
    const Call* running = nullptr;
    for (const auto& [id, call] : calls_) {
        const LegReport* const own = OwnLeg(call);
        const bool isUp = own && own->state == LegState::Up && call.confirmed;
        if (isUp && (!running || call.begin < running->begin)) running = &call;
    }
    if (!running) return false;
    Command command = About(CommandKind::Dtmf, running->report.id);
    command.leg = owner_.User();
    command.digits = digits;
    command.by = by;
    return owner_.SendToCallControl(command);
}

std::string DeviceCalls::SendDigitsTo(const std::string& id, const std::string& digits,
                                      telephony::DigitStyle by) {
    const Call* const call = FindCall(id);
    if (!call || call->sessions.empty()) return "there is no call " + id;
    const Session& session = call->sessions.front();
    if (!session.answered) return "the call with " + session.peer.name + " is not answered";
    Command command = About(CommandKind::Dtmf, id);
    if (session.received) command.leg = session.peer.user;
    command.digits = digits;
    command.by = by;
    return owner_.SendToCallControl(command) ? "" : "call control is away";
}

std::optional<int> DeviceCalls::State() const {
    bool rings = false;
    bool calls = false;
    for (const auto& [id, call] : calls_) {
        const LegReport* const own = OwnLeg(call);
        for (const Session& session : call.sessions) {
            if (session.answered) return STATE_CONNECTED;
            rings |=
                session.received && own && (own->state == LegState::Ringing || own->state == LegState::Up);
            calls |= !session.received;
        }
    }
    if (rings) return STATE_RINGING;
    return calls ? std::optional<int>(STATE_CALLING) : std::nullopt;
}

// ---- what call control tells

void DeviceCalls::OnEvent(const Event& event) {
    switch (event.kind) {
        case EventKind::Snapshot:
            return TakeSnapshot(event);
        case EventKind::Registered:
        case EventKind::Lost:
            if (owner_.IsRegistered() && event.phone.user == owner_.User())
                SetPresent(event.kind == EventKind::Registered);
            return;
        case EventKind::PhoneCall:
        case EventKind::Calling:
            TakeCall(event.call);
            return RingChimes(event.call);
        case EventKind::Ringing:
        case EventKind::LegUp:
        case EventKind::LegDown:
        case EventKind::Established:
        case EventKind::Modified:
            return TakeLeg(event);
        case EventKind::Ended:
            return TakeEnd(event);
        case EventKind::Refused:
            return TakeRefusal(event);
        case EventKind::Dtmf:
            return owner_.Log(dv::LOG_LEVEL_INFO, event.leg + " sent the digits " + event.digits);
        case EventKind::PageInvite:
        case EventKind::PageOffer:
        case EventKind::PageKeyframe:
            return;  // for the driver that has pages
        case EventKind::Proxy:
        case EventKind::Media:
            return owner_.Log(
                dv::LOG_LEVEL_INFO,
                std::string(event.kind == EventKind::Proxy ? "the SIP proxy" : "the media relay") + " is " +
                    (event.state == "up" ? "there" : "away"));
    }
}

// What was told before may have been missed: everything is compared with what is.
void DeviceCalls::TakeSnapshot(const Event& event) {
    std::vector<std::string> gone;
    for (const auto& [id, call] : calls_) {
        const bool runs = std::ranges::find(event.calls, id, &CallReport::id) != event.calls.end();
        if (!runs && call.confirmed) gone.push_back(id);
    }
    for (const std::string& id : gone) {
        owner_.Log(dv::LOG_LEVEL_INFO, "call " + id + " has ended while call control was away");
        End(id);
    }
    for (const CallReport& report : event.calls)
        if (std::ranges::find(report.legs, owner_.User(), &LegReport::user) != report.legs.end())
            TakeCall(report);
    // A proxy that has just come does not know yet who is there.
    if (event.proxy == "up" && owner_.IsRegistered())
        SetPresent(std::ranges::find(event.phones, owner_.User(), &telephony::RegisteredPhone::user) !=
                   event.phones.end());
    std::vector<unsigned char> due;
    for (auto& [id, call] : calls_)
        for (Session& session : call.sessions)
            if (std::exchange(session.hangupDue, false)) due.push_back(session.number);
    for (const unsigned char number : due)
        HangUp(number);
}

void DeviceCalls::TakeCall(const CallReport& report) {
    Call& call = calls_[report.id];
    if (!call.confirmed && call.sessions.empty()) {
        const auto since =
            std::chrono::duration_cast<system_clock::duration>(std::chrono::duration<double>(report.seconds));
        call.begin = system_clock::now() - since;
    }
    call.report = report;
    call.confirmed = true;
    AddSessions(call);
    Update(call);
}

void DeviceCalls::RingChimes(const CallReport& report) {
    const bool isOurs = !report.legs.empty() && report.legs.front().user == owner_.User() &&
                        report.called == telephony::kDoorbell;
    if (!isOurs) return;
    const Directory directory(owner_.FindAgent());
    for (const LegReport& leg : report.legs) {
        ISupportIntercom* const device =
            leg.role == LegRole::Callee ? directory.FindDeviceOf(leg.user) : nullptr;
        if (!device) continue;
        try {
            device->RingDoorChime();
        } catch (const std::exception& error) {
            owner_.Log(dv::LOG_LEVEL_ERROR, "the chime of " + leg.user + " has failed: " + error.what());
        }
    }
}

void DeviceCalls::AddSessions(Call& call) {
    const LegReport* const own = OwnLeg(call);
    if (!own || own->state == LegState::Down) return;
    std::optional<Directory> directory;
    for (const LegReport& leg : call.report.legs) {
        const bool isPeer = leg.role != own->role && leg.state != LegState::Down;
        const auto known = [&](const Session& session) { return session.peer.user == leg.user; };
        if (!isPeer || std::ranges::any_of(call.sessions, known)) continue;
        if (!directory) directory.emplace(owner_.FindAgent());
        const Peer peer = directory->FindUser(leg.user);
        const unsigned char number = FreeNumber();
        if (number == NO_SESSION)
            owner_.Log(dv::LOG_LEVEL_ERROR,
                       "no session for the call with " + peer.name + ": all numbers are taken");
        else
            call.sessions.push_back({number, peer, own->role == LegRole::Callee});
    }
}

void DeviceCalls::TakeLeg(const Event& event) {
    const bool isLost = event.code == kNotHeardOf || (event.code == kAway && event.reason == kPageGone);
    if (event.kind == EventKind::LegDown && isLost) TellOfLoss(event.id, event.leg);
    Call* const call = FindCall(event.id);
    if (!call) return;
    if (event.kind == EventKind::Established) call->report.state = kEstablished;
    if (event.kind == EventKind::Modified) call->report.state = event.state == kHeld ? kHeld : kEstablished;
    if (LegReport* const leg = FindLeg(*call, event.leg)) {
        if (event.kind == EventKind::Ringing) leg->state = LegState::Ringing;
        if (event.kind == EventKind::LegUp) leg->state = LegState::Up;
        if (event.kind == EventKind::LegDown) {
            leg->state = LegState::Down;
            leg->code = event.code;
            leg->reason = event.reason;
        }
    }
    Update(*call);
}

// One that is lost takes the call, and so the other legs, with it: only the first is meant.
void DeviceCalls::TellOfLoss(const std::string& id, const std::string& user) {
    Call* const call = FindCall(id);
    const LegReport* const leg = call ? FindLeg(*call, user) : nullptr;
    if (!leg || leg->state != LegState::Up || call->endsByLoss) return;
    const bool isCaller = leg->role == LegRole::Caller;
    if (isCaller && !call->lost.empty()) return;
    // Of several pages of one device the others are still there.
    if (user == owner_.User() && !owner_.IsRegistered() && present_) return;
    call->lost.insert(user);
    call->endsByLoss = isCaller || call->report.kind != telephony::CallKind::Broadcast;
    const auto session =
        std::ranges::find(call->sessions, user, [](const Session& s) { return s.peer.user; });
    const std::string peer = user == owner_.User()             ? kDown
                             : session != call->sessions.end() ? session->peer.key
                                                               : "";
    IIntercomAgent* const agent = owner_.FindAgent();
    if (agent && !peer.empty()) agent->EndOfflineSession(owner_.Key(), peer);
}

void DeviceCalls::TakeEnd(const Event& event) {
    const Call* const call = FindCall(event.id);
    if (!call) return;
    for (const Session& session : call->sessions)
        LogFailure(session, event.code, event.reason);
    End(event.id);
}

// Of a call that the device has started. One that somebody else has answered, or that was hung up, has not
// failed.
void DeviceCalls::LogFailure(const Session& session, int code, const std::string& reason) const {
    if (session.answered || session.received || code < kLeastFailure) return;
    owner_.Log(dv::LOG_LEVEL_INFO,
               "the call to " + session.peer.name + " has failed: " + std::to_string(code) + " " + reason);
}

void DeviceCalls::TakeRefusal(const Event& event) {
    const Call* const call = FindCall(event.id);
    if (!call && event.code == kNoCallOfThatId) return;  // it has ended meanwhile
    owner_.Log(dv::LOG_LEVEL_ERROR,
               "call control refuses: " + event.reason + " (" + std::to_string(event.code) + ")");
    if (call && (!call->confirmed || event.code == kNoCallOfThatId)) End(event.id);
    // It could not read a line, and so cannot say whose call it was. One that it has taken all the same is
    // told.
    if (event.id.empty()) EndUnconfirmed();
}

void DeviceCalls::SetPresent(bool present) {
    const bool isLost = present_ && !present;
    present_ = present;
    owner_.OnStateChanged();
    // Who is in a call and is heard is there, whatever its registration says.
    if (!isLost || calls_.empty() || State() == STATE_CONNECTED) return;
    if (IIntercomAgent* const agent = owner_.FindAgent()) agent->EndOfflineSession(owner_.Key(), kDown);
}

void DeviceCalls::OnLost(const std::string& reason) {
    owner_.Log(dv::LOG_LEVEL_ERROR, "call control is away: " + reason +
                                        "; it is tried again. Until then this device can start no calls");
    EndUnconfirmed();
}

void DeviceCalls::EndUnconfirmed() {
    std::vector<std::string> unconfirmed;
    for (const auto& [id, call] : calls_)
        if (!call.confirmed) unconfirmed.push_back(id);
    for (const std::string& id : unconfirmed) {
        if (const Call* const call = FindCall(id); call && !call->sessions.empty())
            owner_.Log(dv::LOG_LEVEL_ERROR,
                       "the call to " + call->sessions.front().peer.name + " has failed with it");
        End(id);
    }
}

// ---- the sessions

void DeviceCalls::Update(Call& call) {
    const LegReport* const own = OwnLeg(call);
    const bool established = call.report.state != kCalling;
    std::vector<Finished> finished;
    for (Session& session : call.sessions) {
        const LegReport* const peer = FindLeg(call, session.peer.user);
        const bool isOver = !own || !peer || own->state == LegState::Down || peer->state == LegState::Down;
        if (isOver) {
            const LegReport* const cause = peer && peer->state == LegState::Down ? peer : own;
            if (cause) LogFailure(session, cause->code, cause->reason);
            finished.push_back({session, call.begin});
        } else if (established && !session.answered && own->state == LegState::Up &&
                   peer->state == LegState::Up) {
            session.answered = true;
            const auto since = std::chrono::duration_cast<steady_clock::duration>(
                std::chrono::duration<double>(call.report.seconds));
            session.answeredAt = steady_clock::now() - since;
        }
    }
    std::erase_if(call.sessions, [&](const Session& session) {
        return std::ranges::any_of(finished,
                                   [&](const Finished& f) { return f.session.number == session.number; });
    });
    call.report.seconds = 0;  // of those that answer from now on
    owner_.OnStateChanged();
    Report(finished);
}

// Everything is up to date before the agent is told, because it may call back.
void DeviceCalls::End(const std::string& id) {
    const auto node = calls_.extract(id);
    if (!node) return;
    std::vector<Finished> finished;
    for (const Session& session : node.mapped().sessions)
        finished.push_back({session, node.mapped().begin});
    owner_.OnStateChanged();
    Report(finished);
}

void DeviceCalls::Report(const std::vector<Finished>& finished) {
    for (const auto& [session, begin] : finished) {
        IIntercomAgent* const agent = owner_.FindAgent();
        if (!agent) {
            owner_.Log(dv::LOG_LEVEL_INFO,
                       "call with " + session.peer.key + " not reported: no intercom agent runs");
            continue;
        }
        const auto length =
            session.answered ? steady_clock::now() - session.answeredAt : steady_clock::duration::zero();
        agent->AddRecentContact(session.peer.name, session.peer.key,
                                dv::UtcText(system_clock::to_time_t(begin)), Seconds(length),
                                session.received, session.answered);
    }
}

DeviceCalls::Call* DeviceCalls::FindCall(const std::string& id) {
    const auto found = calls_.find(id);
    return found == calls_.end() ? nullptr : &found->second;
}

DeviceCalls::Call* DeviceCalls::FindCallOf(unsigned char number) {
    for (auto& [id, call] : calls_)
        if (std::ranges::find(call.sessions, number, &Session::number) != call.sessions.end()) return &call;
    return nullptr;
}

LegReport* DeviceCalls::FindLeg(Call& call, const std::string& user) const {
    const auto found = std::ranges::find(call.report.legs, user, &LegReport::user);
    return found == call.report.legs.end() ? nullptr : &*found;
}

const LegReport* DeviceCalls::OwnLeg(const Call& call) const {
    const auto found = std::ranges::find(call.report.legs, owner_.User(), &LegReport::user);
    return found == call.report.legs.end() ? nullptr : &*found;
}

std::size_t DeviceCalls::CountOfSessions() const {
    std::size_t count = 0;
    for (const auto& [id, call] : calls_)
        count += call.sessions.size();
    return count;
}

// The lowest; NO_SESSION when all are taken.
unsigned char DeviceCalls::FreeNumber() const {
    std::set<unsigned char> taken;
    for (const auto& [id, call] : calls_)
        for (const Session& session : call.sessions)
            taken.insert(session.number);
    unsigned char number = 0;
    while (number != NO_SESSION && taken.contains(number))
        ++number;
    return number;
}
