// The calls of one device: its sessions, its state during a call, and what the agent is told of it. Sessions
// follow what call control says; nothing is assumed.
#ifndef DRIVERS_CALLS_DEVICECALLS_H
#define DRIVERS_CALLS_DEVICECALLS_H

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "drivers/calls/Directory.h"
#include "telephony/protocol/Command.h"
#include "telephony/protocol/Event.h"

class IIntercomAgent;

/// The device that the calls belong to.  All operations: [driver thread]
class CallsOwner {
public:
    virtual const std::string& User() const = 0;
    virtual std::string Key() = 0;
    /// Whether a registration tells if it is there. Otherwise whoever owns the calls says so, by SetPresent.
    virtual bool IsRegistered() const = 0;
    /// The agent, or null when none is running.
    virtual IIntercomAgent* FindAgent() const = 0;
    /// False when call control is away; then nothing was sent.
    virtual bool SendToCallControl(const telephony::Command& command) = 0;
    /// The calls or the registration have changed what State tells.
    virtual void OnStateChanged() = 0;
    virtual void Log(unsigned int level, const std::string& text) const = 0;

protected:
    ~CallsOwner() = default;
};

/// A session is the device's side of a call with one other device. In a call with several, as a broadcast,
/// who has started it holds one with each of them.  All operations: [driver thread]
class DeviceCalls {
public:
    explicit DeviceCalls(CallsOwner& owner) : owner_(owner) {}

    struct Order {
        telephony::CallKind kind = telephony::CallKind::Regular;
        telephony::Direction audio = telephony::Direction::Both;
        telephony::Direction video = telephony::Direction::None;
        bool ring = true;
        std::vector<Peer> peers;
        std::string called;  // the group's name; empty: they are called by their own
    };
    /// Has call control call the device and its peers. What cannot be done is logged.
    void Start(const Order& order);

    /// The number of the session with the device of that key; dvIntercom::NO_SESSION when there is none.
    unsigned char Find(const std::string& key) const;
    bool IsActive(unsigned char session) const;

    // Each is false when there is no such session, or none at all.
    bool HangUp(unsigned char session);
    bool HangUpAll();
    bool SetHeld(unsigned char session, bool held);
    bool SetAllHeld(bool held);
    /// To the device itself, in its call that has run longest.
    bool SendDigits(const std::string& digits, telephony::DigitStyle by);

    // The same with call control's id of the call. The first is false when there is no such call; the others
    // return why not, and nothing when it is done.
    bool HangUpCall(const std::string& id);
    std::string HoldCall(const std::string& id, bool held);
    /// To the other end, or to all that have answered.
    std::string SendDigitsTo(const std::string& id, const std::string& digits, telephony::DigitStyle by);

    /// Whether the device is there: its phone is registered, or whatever it has instead.
    bool IsPresent() const { return present_; }
    void SetPresent(bool present);
    /// None while there is no call.
    std::optional<int> State() const;

    void OnEvent(const telephony::Event& event);
    /// Calls that call control knows go on; those that it had not confirmed are over.
    void OnLost(const std::string& reason);

private:
    struct Session {
        unsigned char number;
        Peer peer;
        bool received;
        bool answered = false;
        bool hangupDue = false;  // call control was away when it was to be told
        std::chrono::steady_clock::time_point answeredAt = {};
    };
    struct Call {
        telephony::CallReport report;
        std::chrono::system_clock::time_point begin;
        bool confirmed = false;      // call control has told of it
        std::set<std::string> lost;  // users that were lost in it
        bool endsByLoss = false;     // and its other legs with it
        std::vector<Session> sessions;
    };
    /// A session that is over, as the agent is told.
    struct Finished {
        Session session;
        std::chrono::system_clock::time_point begin;
    };

    void TakeSnapshot(const telephony::Event& event);
    void TakeCall(const telephony::CallReport& report);
    void TakeLeg(const telephony::Event& event);
    void TakeEnd(const telephony::Event& event);
    void TakeRefusal(const telephony::Event& event);
    /// Whoever rings for the door chimes: the driver of who has rung sees to it.
    void RingChimes(const telephony::CallReport& report);
    void TellOfLoss(const std::string& id, const std::string& user);

    void EndUnconfirmed();
    void AddSessions(Call& call);
    /// Sees which sessions are up and which are over, and reports these.
    void Update(Call& call);
    void End(const std::string& id);
    void LogFailure(const Session& session, int code, const std::string& reason) const;
    void Report(const std::vector<Finished>& finished);
    bool HangUp(const Call& call, Session& session);
    void NoteHangup(Session& session);
    std::string Hold(const Call& call, const Session& session, bool held);

    Call* FindCall(const std::string& id);
    Call* FindCallOf(unsigned char session);
    telephony::LegReport* FindLeg(Call& call, const std::string& user) const;
    const telephony::LegReport* OwnLeg(const Call& call) const;
    unsigned char FreeNumber() const;
    std::size_t CountOfSessions() const;

    CallsOwner& owner_;
    std::map<std::string, Call> calls_;  // by call control's id
    bool present_ = false;
    unsigned long started_ = 0;
};

#endif
