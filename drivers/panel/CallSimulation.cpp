#include "drivers/panel/CallSimulation.h"

#include <algorithm>

#include "drivers/panel/Panel.h"
#include "host/glue/Log.h"
#include "host/glue/Numbers.h"

using std::chrono::steady_clock;
using std::chrono::system_clock;

namespace {

// The user part may hold an "@" itself, the address behind it never does.
std::string NameIn(const std::string& address) {
    return address.substr(0, address.rfind('@'));
}

}  // namespace

void CallSimulation::Start(CallKind kind, const std::vector<std::string>& addresses) {
    const unsigned long call = ++calls_;
    for (const std::string& address : addresses) {
        std::vector<CallSimulation*> takers = FindTakers(address);
        const auto byItself = std::find_if(takers.begin(), takers.end(), [](const CallSimulation* taker) {
            return taker->panel_.Config().autoAnswer;
        });
        if (kind == CallKind::Regular && byItself != takers.end()) takers = {*byItself};
        for (CallSimulation* const taker : takers)
            Connect(*taker, call, kind != CallKind::Regular || taker->panel_.Config().autoAnswer);
    }
}

std::vector<CallSimulation*> CallSimulation::FindTakers(const std::string& address) const {
    std::vector<CallSimulation*> takers;
    if (address.find('@') != std::string::npos) {
        for (Panel* const panel : panel_.FindPanels(NameIn(address))) {
            const std::string refusal = WhyRefused(panel->Calls());
            if (refusal.empty())
                takers.push_back(&panel->Calls());
            else
                panel_.LogXMessage(dv::LOG_LEVEL_INFO, "call to %s: %s %s", address.c_str(),
                                   panel->Config().key.c_str(), refusal.c_str());
        }
    }
    if (takers.empty())
        panel_.LogXMessage(dv::LOG_LEVEL_INFO, "call to %s: no panel of this host takes it", address.c_str());
    return takers;
}

std::string CallSimulation::WhyRefused(const CallSimulation& peer) const {
    const PanelConfig& config = peer.panel_.Config();
    if (!config.simulateCalls) return "does not simulate calls";
    if (config.dnd) return "is not to be disturbed";
    const bool inCall =
        std::any_of(legs_.begin(), legs_.end(), [&](const Leg& leg) { return leg.peer == &peer; });
    return inCall ? "is in a call with this panel already" : "";
}

void CallSimulation::Connect(CallSimulation& peer, unsigned long call, bool accepted) {
    const unsigned char here = FindFreeSession();
    const unsigned char there = peer.FindFreeSession();
    if (here == dvIntercom::NO_SESSION || there == dvIntercom::NO_SESSION)
        return panel_.LogXMessage(dv::LOG_LEVEL_ERROR, "no call to %s: all session numbers are taken",
                                  peer.panel_.Config().key.c_str());
    const PanelConfig& mine = panel_.Config();
    const PanelConfig& theirs = peer.panel_.Config();
    const auto now = system_clock::now();
    AddLeg({&peer, here, there, call, false, accepted, now, steady_clock::now(), theirs.name, theirs.key});
    peer.AddLeg({this, there, here, call, true, accepted, now, steady_clock::now(), mine.name, mine.key});
    ShowState();
    peer.ShowState();
}

void CallSimulation::AddLeg(const Leg& leg) {
    legs_.push_back(leg);
    panel_.Sessions().Add(leg.peerKey, leg.session);
}

// A command may have closed a call's session or replaced it; the call goes on and keeps its number.
unsigned char CallSimulation::FindFreeSession() {
    unsigned char number = 1;
    while (number != dvIntercom::NO_SESSION && (FindLeg(number) || panel_.Sessions().IsTaken(number)))
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

// A call that rang at several panels has been answered at one of them.
void CallSimulation::EndOthers(unsigned long call, unsigned char keptSession) {
    for (const Leg& leg : std::vector<Leg>(legs_)) {
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
    panel_.Sessions().CloseNumber(session);
    return leg;
}

// Both sides are as after the call before the agent hears of it: it may call back.
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
    if (!stateBeforeCall_) stateBeforeCall_ = panel_.Config().currentState;
    const int state = legs_.empty() ? *stateBeforeCall_ : StateNow();
    if (legs_.empty()) stateBeforeCall_.reset();
    panel_.ShowState(state);
}

int CallSimulation::StateNow() const {
    const auto has = [this](auto test) { return std::any_of(legs_.begin(), legs_.end(), test); };
    if (has([](const Leg& leg) { return leg.accepted; })) return STATE_CONNECTED;
    return has([](const Leg& leg) { return leg.received; }) ? STATE_RINGING : STATE_CALLING;
}

void CallSimulation::Report(const Leg& leg, const std::string& length) const {
    IIntercomAgent* const agent = panel_.Link().Find();
    if (!agent)
        return panel_.LogXMessage(dv::LOG_LEVEL_INFO, "call with %s not reported: no intercom agent runs",
                                  leg.peerKey.c_str());
    agent->AddRecentContact(leg.peerName, leg.peerKey, dv::UtcText(system_clock::to_time_t(leg.begin)),
                            length, leg.received, leg.accepted);
}
