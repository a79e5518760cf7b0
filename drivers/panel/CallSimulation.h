// A panel's sessions, and simulated calls between the panels of one host, without any network:
// everything that a household sees of a call (sessions, states, recent calls), but no sound and no
// picture.
//
// A call has one leg on each side. The caller's side creates both legs, and whichever side ends the
// call removes both, so a leg never outlives the panel at its other end.
#ifndef DRIVERS_PANEL_CALLSIMULATION_H
#define DRIVERS_PANEL_CALLSIMULATION_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "drivers/calls/CallState.h"
#include "drivers/panel/PanelConfig.h"

class CallSimulation;
class IIntercomAgent;

enum class CallKind {
    Regular,   // rings until it is answered; a panel with autoAnswer answers at once
    Monitor,   // answered at once: nobody has to do anything
    Broadcast  // the same
};

/// The sessions that a panel holds, as findSessionId reports them. Their numbers are 0 to 254;
/// dvIntercom::NO_SESSION stands for none.
class SessionTable {
public:
    /// Adds a session with `remote` (a device key) to those that are there.
    void Add(const std::string& remote, unsigned char number);
    /// The same, but replaces every session with `remote`.
    void Replace(const std::string& remote, unsigned char number);

    /// False when there was no such session.
    bool CloseRemote(const std::string& remote);
    bool CloseNumber(unsigned char number);

    /// The number of the first session with `remote`, or NO_SESSION.
    unsigned char Find(const std::string& remote) const;
    /// True when a session has that number, on hold or not.
    bool IsTaken(unsigned char number) const;

    /// A session on hold stays open but is not active. Unknown numbers are ignored.
    void SetHeld(unsigned char number, bool held);
    /// True when the session is open and not on hold.
    bool IsActive(unsigned char number) const;

private:
    struct Session {
        std::string remote;
        unsigned char number;
        bool held;
    };

    std::vector<Session> sessions_;
};

/// What a simulation needs from the panel that it belongs to.  All operations: [driver thread]
class CallParty {
public:
    virtual const PanelConfig& Config() const = 0;
    /// The simulations of the other panels in this host with that intercom name, in the order of the
    /// home file.
    virtual std::vector<CallSimulation*> FindPeers(const std::string& intercomName) const = 0;
    /// The agent, or null when none is running.
    virtual IIntercomAgent* FindAgent() const = 0;
    /// Sets the current state and reports it to the agent if it changed.
    virtual void ShowState(int state) = 0;
    virtual void Log(unsigned int level, const std::string& text) const = 0;

protected:
    ~CallParty() = default;
};

/// One panel's calls.  All operations: [driver thread]
class CallSimulation {
public:
    explicit CallSimulation(CallParty& party) : party_(party) {}

    /// Those of the simulated calls, and those that the panel's commands opened.
    SessionTable& Sessions() { return sessions_; }
    const SessionTable& Sessions() const { return sessions_; }

    /// Calls the panels of this host whose name stands before the last "@" of an address. One that does
    /// not take the call (do-not-disturb, no simulation, already in a call with this panel) is left
    /// out with a log line. If a regular call finds several panels, the first one that answers
    /// automatically gets the call alone.
    void Start(CallKind kind, const std::vector<std::string>& addresses);

    /// Answers the call that has rung longest; false when none is ringing.
    bool Answer();
    /// Ends the call with that session; false when there is none.
    bool HangUp(unsigned char session);
    /// Ends every call; false when there was none.
    bool HangUpAll();

private:
    struct Leg {
        CallSimulation* peer;
        unsigned char session;      // this side's number
        unsigned char peerSession;  // the other side's
        unsigned long call;         // the same for all legs of one Start
        bool received;
        bool accepted;
        std::chrono::system_clock::time_point begin;
        std::chrono::steady_clock::time_point answered;
        std::string peerName;
        std::string peerKey;
    };

    std::vector<CallSimulation*> FindCallees(const std::string& address) const;
    /// Why `peer` does not take a call from this panel; empty when it does.
    std::string RefusalReason(const CallSimulation& peer) const;
    void Connect(CallSimulation& peer, unsigned long call, bool accepted);
    void AddLeg(const Leg& leg);
    /// The lowest number from 1 upwards that no leg and no session of this panel has; NO_SESSION when
    /// all are taken.
    unsigned char FindFreeSession();
    Leg* FindLeg(unsigned char session);
    Leg TakeLeg(unsigned char session);
    void Accept(Leg& leg);
    void EndOthers(unsigned long call, unsigned char keptSession);
    void End(unsigned char session);
    void ShowState();
    int StateNow() const;
    void Report(const Leg& leg, const std::string& length) const;

    CallParty& party_;
    SessionTable sessions_;
    std::vector<Leg> legs_;
    unsigned long calls_ = 0;             // number of calls started here, for Leg::call
    std::optional<int> stateBeforeCall_;  // set while there is a leg
};

#endif
