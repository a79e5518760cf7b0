// Calls between the panels of one host, without any network: what a household sees of a call is
// all there (sessions, states, recent calls), only sound and picture are not.
//
// A call is a leg on either side. The caller's panel makes both legs, and whichever side ends
// first takes both away, so a leg never outlives the panel at its other end.
#ifndef DRIVERS_PANEL_CALLSIMULATION_H
#define DRIVERS_PANEL_CALLSIMULATION_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

class Panel;

enum class CallKind {
    Regular,   // rings until it is answered; at once where the called panel answers by itself
    Monitor,   // taken at once: nobody has to answer
    Broadcast  // the same
};

/// What a panel's state is during a call. Without one it is what it was before.
enum CallState : int { STATE_CALLING = 1, STATE_RINGING = 2, STATE_CONNECTED = 3 };

/// One panel's calls.  All operations: [driver thread]
class CallSimulation {
public:
    explicit CallSimulation(Panel& panel) : panel_(panel) {}

    /// Calls the panels of this host that bear the name before the last "@" of an address. One that
    /// does not take the call (do-not-disturb, no simulation, in a call with this panel already) is
    /// left out with a log line. Of several that a regular call finds, the first that answers by
    /// itself gets it alone.
    void Start(CallKind kind, const std::vector<std::string>& addresses);

    /// Answers the call that rings longest; false when none rings.
    bool Answer();
    /// Ends the call of that session; false when there is none.
    bool HangUp(unsigned char session);
    /// Ends every call; false when there was none.
    bool HangUpAll();

private:
    struct Leg {
        CallSimulation* peer;
        unsigned char session;      // this side's number
        unsigned char peerSession;  // the other side's
        unsigned long call;         // the legs of one Start share it
        bool received;
        bool accepted;
        std::chrono::system_clock::time_point begin;
        std::chrono::steady_clock::time_point answered;
        std::string peerName;
        std::string peerKey;
    };

    std::vector<CallSimulation*> FindTakers(const std::string& address) const;
    /// Why a call from here is not taken there; empty when it is.
    std::string WhyRefused(const CallSimulation& peer) const;
    void Connect(CallSimulation& peer, unsigned long call, bool accepted);
    void AddLeg(const Leg& leg);
    /// The lowest number from 1 that neither a leg nor a session of this panel has; NO_SESSION when
    /// there is none.
    unsigned char FindFreeSession();
    Leg* FindLeg(unsigned char session);
    Leg TakeLeg(unsigned char session);
    void Accept(Leg& leg);
    void EndOthers(unsigned long call, unsigned char keptSession);
    void End(unsigned char session);
    void ShowState();
    int StateNow() const;
    void Report(const Leg& leg, const std::string& length) const;

    Panel& panel_;
    std::vector<Leg> legs_;
    unsigned long calls_ = 0;             // started from here, for Leg::call
    std::optional<int> stateBeforeCall_;  // while there is a leg
};

#endif
