#include "drivers/panel/CallSimulation.h"

#include <algorithm>

#include "host/glue/Log.h"
#include "host/glue/Numbers.h"
#include "host/interfaces/IIntercomAgent.h"

using dvIntercom::NO_SESSION;
using std::chrono::steady_clock;
using std::chrono::system_clock;

namespace {

// Only the last "@" separates: a name may contain one, an address never does.
std::string NameIn(const std::string& address) {
    return address.substr(0, address.rfind('@'));
}

}  // namespace

void SessionTable::Add(const std::string& remote, unsigned char number) {
    sessions_.push_back({remote, number, false});
}

void SessionTable::Replace(const std::string& remote, unsigned char number) {
    CloseRemote(remote);
    Add(remote, number);
}

bool SessionTable::CloseRemote(const std::string& remote) {
    return std::erase_if(sessions_, [&](const Session& session) { return session.remote == remote; }) != 0;
}

bool SessionTable::CloseNumber(unsigned char number) {
    return std::erase_if(sessions_, [=](const Session& session) { return session.number == number; }) != 0;
}

unsigned char SessionTable::Find(const std::string& remote) const {
    for (const Session& session : sessions_) {
        if (session.remote == remote) return session.number;
    }
    return NO_SESSION;
}

void SessionTable::SetHeld(unsigned char number, bool held) {
    for (Session& session : sessions_) {
        if (session.number == number) session.held = held;
    }
}

bool SessionTable::IsActive(unsigned char number) const {
    return std::any_of(sessions_.begin(), sessions_.end(),
                       [=](const Session& session) { return session.number == number && !session.held; });
}

bool SessionTable::IsTaken(unsigned char number) const {
    return std::any_of(sessions_.begin(), sessions_.end(),
                       [=](const Session& session) { return session.number == number; });
}

void CallSimulation::Start(CallKind kind, const std::vector<std::string>& addresses) {
    const unsigned long call = ++calls_;
    for (const std::string& address : addresses) {
        std::vector<CallSimulation*> callees = FindCallees(address);
        const auto automatic = std::find_if(callees.begin(), callees.end(), [](const CallSimulation* callee) {
            return callee->party_.Config().autoAnswer;
        });
        if (kind == CallKind::Regular && automatic != callees.end()) callees = {*automatic};
        for (CallSimulation* const callee : callees)
            Connect(*callee, call, kind != CallKind::Regular || callee->party_.Config().autoAnswer);
    }
}

std::vector<CallSimulation*> CallSimulation::FindCallees(const std::string& address) const {
    std::vector<CallSimulation*> callees;
    if (address.find('@') != std::string::npos) {
        for (CallSimulation* const peer : party_.FindPeers(NameIn(address))) {
            const std::string refusal = RefusalReason(*peer);
            if (refusal.empty())
                callees.push_back(peer);
            else
                party_.Log(dv::LOG_LEVEL_INFO,
                           "call to " + address + ": " + peer->party_.Config().key + " " + refusal);
        }
    }
    if (callees.empty())
        party_.Log(dv::LOG_LEVEL_INFO, "call to " + address + ": no panel of this host takes it");
    return callees;
}

std::string CallSimulation::RefusalReason(const CallSimulation& peer) const {
    const PanelConfig& config = peer.party_.Config();
    if (!config.simulateCalls) return "does not simulate calls";
    if (config.dnd) return "is not to be disturbed";
    const bool inCall =
        std::any_of(legs_.begin(), legs_.end(), [&](const Leg& leg) { return leg.peer == &peer; });
    return inCall ? "is in a call with this panel already" : "";
}

void CallSimulation::Connect(CallSimulation& peer, unsigned long call, bool accepted) {
    const unsigned char here = FindFreeSession();
    const unsigned char there = peer.FindFreeSession();
    if (here == NO_SESSION || there == NO_SESSION)
        return party_.Log(dv::LOG_LEVEL_ERROR,
                          "no call to " + peer.party_.Config().key + ": all session numbers are taken");
    const PanelConfig& mine = party_.Config();
    const PanelConfig& theirs = peer.party_.Config();
    const auto now = system_clock::now();
    AddLeg({&peer, here, there, call, false, accepted, now, steady_clock::now(), theirs.name, theirs.key});
    peer.AddLeg({this, there, here, call, true, accepted, now, steady_clock::now(), mine.name, mine.key});
    ShowState();
    peer.ShowState();
}

void CallSimulation::AddLeg(const Leg& leg) {
    legs_.push_back(leg);
    sessions_.Add(leg.peerKey, leg.session);
}

// The legs count too: a command may have closed or replaced a call's session, but the call goes on and
// keeps its number.
unsigned char CallSimulation::FindFreeSession() {
    unsigned char number = 1;
    while (number != NO_SESSION && (FindLeg(number) || sessions_.IsTaken(number)))
        ++number;
    return number;
}

CallSimulation::Leg* CallSimulation::FindLeg(unsigned char session) {
    const auto found =
        std::find_if(legs_.begin(), legs_.end(), [=](const Leg& leg) { return leg.session == session; });
    return found == legs_.end() ? nullptr : &*found;
}

bool CallSimulation::Answer() {
    const auto ringing = std::find_if(legs_.begin(), legs_.end(),
                                      [](const Leg& leg) { return leg.received && !leg.accepted; });
    if (ringing == legs_.end()) return false;
    // Copied, because the agent may call back and change the legs.
    CallSimulation& caller = *ringing->peer;
    const unsigned long call = ringing->call;
    const unsigned char callerSession = ringing->peerSession;
    Accept(*ringing);
    if (Leg* const other = caller.FindLeg(callerSession)) caller.Accept(*other);
    ShowState();
    caller.ShowState();
    caller.EndOthers(call, callerSession);
    return true;
}

void CallSimulation::Accept(Leg& leg) {
    leg.accepted = true;
    leg.answered = steady_clock::now();
}

// Stops a call from ringing at the other panels once one of them has answered it.
void CallSimulation::EndOthers(unsigned long call, unsigned char keptSession) {
    for (const Leg& leg : std::vector<Leg>(legs_)) {  // a copy, because End removes legs
        if (!leg.received && leg.call == call && leg.session != keptSession && !leg.accepted)
            End(leg.session);
    }
}

bool CallSimulation::HangUp(unsigned char session) {
    if (!FindLeg(session)) return false;
    End(session);
    return true;
}

bool CallSimulation::HangUpAll() {
    const bool any = !legs_.empty();
    while (!legs_.empty())
        End(legs_.front().session);
    return any;
}

CallSimulation::Leg CallSimulation::TakeLeg(unsigned char session) {
    Leg* const found = FindLeg(session);
    const Leg leg = *found;
    legs_.erase(legs_.begin() + (found - legs_.data()));
    sessions_.CloseNumber(session);
    return leg;
}

// Both sides are up to date before the agent is told, because it may call back.
void CallSimulation::End(unsigned char session) {
    const Leg mine = TakeLeg(session);
    CallSimulation& peer = *mine.peer;
    const Leg theirs = peer.TakeLeg(mine.peerSession);
    const auto length = mine.accepted ? steady_clock::now() - mine.answered : steady_clock::duration::zero();
    const std::string seconds =
        std::to_string(std::chrono::duration_cast<std::chrono::seconds>(length).count());
    ShowState();
    peer.ShowState();
    Report(mine, seconds);
    peer.Report(theirs, seconds);
}

void CallSimulation::ShowState() {
    if (!stateBeforeCall_ && legs_.empty()) return;
    if (!stateBeforeCall_) stateBeforeCall_ = party_.Config().currentState;
    const int state = legs_.empty() ? *stateBeforeCall_ : StateNow();
    if (legs_.empty()) stateBeforeCall_.reset();
    party_.ShowState(state);
}

int CallSimulation::StateNow() const {
    const auto has = [this](auto test) { return std::any_of(legs_.begin(), legs_.end(), test); };
    if (has([](const Leg& leg) { return leg.accepted; })) return STATE_CONNECTED;
    return has([](const Leg& leg) { return leg.received; }) ? STATE_RINGING : STATE_CALLING;
}

void CallSimulation::Report(const Leg& leg, const std::string& length) const {
    IIntercomAgent* const agent = party_.FindAgent();
    if (!agent)
        return party_.Log(dv::LOG_LEVEL_INFO,
                          "call with " + leg.peerKey + " not reported: no intercom agent runs");
    agent->AddRecentContact(leg.peerName, leg.peerKey, dv::UtcText(system_clock::to_time_t(leg.begin)),
                            length, leg.received, leg.accepted);
}
