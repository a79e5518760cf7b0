// The calls of a tablet as its pages have them: all pages ring, the first that answers has the call, and a
// page that is gone leaves it. The words between driver and page are those of docs/tablets.md.
#ifndef DRIVERS_TABLET_PAGECALLS_H
#define DRIVERS_TABLET_PAGECALLS_H

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

#include "drivers/calls/DeviceCalls.h"
#include "drivers/tablet/Pages.h"

/// Why a page's wish is not carried out.
struct PageRefusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Session descriptions are kept while an answer to them is due, in memory, and never logged.
/// All operations: [driver thread]
class PageCalls {
public:
    using Time = Pages::Time;

    struct Times {
        // Of a page in a call: three pings, a second apart, and what the last one may take.
        std::chrono::milliseconds silence{3500};
        // For pages after the host was started anew, and for call control.
        std::chrono::milliseconds comingBack{10000};
    };

    /// All three outlive it.
    PageCalls(CallsOwner& owner, DeviceCalls& calls, Pages& pages, Times times)
        : owner_(owner), deviceCalls_(calls), pages_(pages), times_(times) {}

    void SetSilence(std::chrono::milliseconds silence) { times_.silence = silence; }

    // What the page of that reader wants, who is there. Each throws PageRefusal when it cannot be done.
    void Ring(unsigned long reader, const std::string& id);
    void Answer(unsigned long reader, const std::string& id, const std::string& sdp);
    void Decline(unsigned long reader, const std::string& id);
    void HangUp(unsigned long reader, const std::string& id);
    void SetHeld(unsigned long reader, const std::string& id, bool held);
    void AskForKeyframe(unsigned long reader, const std::string& id);
    void SendDigits(unsigned long reader, const std::string& id, const std::string& digits);
    void Ping(unsigned long reader, const std::string& id);

    /// One <call> for each, and <callControl> when it is away.
    void AddTo(DvXML::INode& welcome) const;
    /// Tells a page that has just come what rings.
    void Invite(unsigned long reader);
    /// To be called when it is no longer among the pages.
    void OnPageGone(unsigned long reader);

    /// Whether call control refuses what a page wanted, and so nothing that DeviceCalls knows of.
    static bool IsOfPage(const telephony::Event& refusal) { return refusal.reason.starts_with("page-"); }
    /// Refuses what a page is invited to. False when call control is away.
    bool Reject(const std::string& id, int code, const std::string& reason);
    /// At least one page is there from now on, or none.
    void TellPresence(bool present);

    /// A call that the agent has ordered here goes to call control, or cannot. Pages learn what becomes of
    /// it: by an <invite>, or by <refused>.
    void OnOrder(const telephony::Command& order, bool isSent);
    /// What call control tells, after DeviceCalls has heard it.
    void OnEvent(const telephony::Event& event);
    void OnCallControlLost(const std::string& reason);

    void OnTime(Time now);
    /// When OnTime has something to do next.
    std::optional<Time> NextTime() const;

private:
    using Element = dv::auto_com<DvXML::INode>;
    struct Outcome {
        int code;
        std::string reason;
        std::string by;
    };
    struct Call {
        telephony::PageInvitation about;
        std::string offer;               // of the invite, until call control has the answer
        std::string answer;              // the same
        bool rings = false;              // a page has said so
        bool answered = false;           // by a page
        bool up = false;                 // and call control has taken the answer
        bool offered = false;            // other media, and no answer yet
        unsigned long page = 0;          // the reader of the page that has it; 0: it is looked for
        std::set<unsigned long> others;  // the readers of those that rang and do not have it
        std::deque<Element> waiting;     // for the page while it is away
        std::optional<Time> due;         // the page is taken for gone then
        std::string state;               // as call control words it
        std::optional<Time> established;
        std::string lastDown;            // the other end that was over last
        std::optional<Outcome> outcome;  // why we end it
    };
    using Calls = std::map<std::string, Call>;  // by call control's id
    struct Order {
        telephony::CallKind kind;
        std::string name;  // of who is called; empty: several
    };

    /// The call that a page speaks of. One that is answered is at this page from now on.
    Call& Take(unsigned long reader, const std::string& id);
    telephony::Command OfPage(telephony::CommandKind kind, const std::string& id) const;
    void Send(const telephony::Command& command);
    void Leave(const std::string& id, Call& call);

    void TakeInvite(const telephony::Event& event);
    void TakeNews(const telephony::Event& event, Call& call);
    void SetUp(Call& call);
    void TakeOwnLegDown(const telephony::Event& event, Call& call);
    void TakeSnapshot(const telephony::Event& event);
    void TakeRunning(const telephony::CallReport& report, const telephony::LegReport& own);
    void TakeRefusal(const telephony::Event& event);

    /// False when there is no such order.
    bool Refuse(const std::string& id, int code, const std::string& reason);
    void End(const std::string& id, const Outcome& outcome);
    void Tell(Call& call, const Element& element);
    Element EndedElement(const std::string& id, const Outcome& outcome,
                         const std::optional<Time>& established) const;
    Element ElsewhereElement(const std::string& id, const std::string& where) const;
    Element InviteOf(const std::string& id, const Call& call) const;
    Element AboutLeg(const char* name, const telephony::Event& event) const;
    Element ControlElement() const;
    std::string NameOf(const std::string& user) const;

    CallsOwner& owner_;
    DeviceCalls& deviceCalls_;
    Pages& pages_;
    Times times_;
    Calls calls_;
    std::map<std::string, Order> orders_;  // by the same, until pages are invited to them
    bool controlIsThere_ = false;
    std::string controlTrouble_ = "it is not reached yet";
    std::optional<Time> controlDue_;  // it is not expected back after that
};

#endif
