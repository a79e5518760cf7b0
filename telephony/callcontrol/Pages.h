// Browser pages as ends of calls. A page speaks no SIP: its descriptions go as text through the connection of
// the client that speaks for it, and calls outlive that connection.
#ifndef TELEPHONY_CALLCONTROL_PAGES_H
#define TELEPHONY_CALLCONTROL_PAGES_H

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "telephony/callcontrol/Loop.h"
#include "telephony/callcontrol/Sip.h"
#include "telephony/protocol/Command.h"
#include "telephony/protocol/Event.h"

namespace telephony {

/// Who sends commands and hears events: the connection of a driver, or of a tool.
class Client {
public:
    virtual ~Client() = default;
    /// An event as it goes over the socket. The client does not leave the table meanwhile.
    virtual void Tell(const std::string& line) = 0;
};

class PageLeg;

/// Outlives its legs.
class Pages {
public:
    explicit Pages(Loop& loop) : loop_(loop) {}

    /// From now on the client speaks for the pages among these devices, and for no others. Returns the users
    /// whose pages were there and of whom that is no longer known.
    std::vector<std::string> Speak(Client& client, const std::vector<Device>& devices);
    /// To a client that speaks for a user since Speak: what waits for an answer of its pages.
    void Repeat(Client& client);
    /// Returns the same as Speak.
    std::vector<std::string> Leave(Client& client);

    /// What was last said of it, also while nobody speaks for it. Null: this user is no page.
    const Device* Find(const std::string& user) const;
    bool IsPresent(const std::string& user) const;
    bool SpeaksFor(const Client& client, const std::string& user) const;
    /// False when that was known.
    bool SetPresent(const std::string& user, bool present);

    /// A leg of a user who is no page fails when it is invited, like one whose pages are away.
    SipLegPtr NewLeg(const std::string& user, LegEvents& events);
    /// What a page says of a call. Why it is refused; empty when it was taken.
    std::string Execute(const Command& command);

private:
    friend class PageLeg;

    struct Page {
        Device device;
        Client* speaker = nullptr;
        bool present = false;
        bool toRepeat = false;  // another client has spoken for it before
    };

    std::vector<std::shared_ptr<PageLeg>> LegsOf(const std::string& user) const;
    bool Silence(const std::string& user, Page& page);
    void Tell(const std::string& user, const Event& event) const;

    Loop& loop_;
    std::map<std::string, Page> pages_;
    std::set<PageLeg*> legs_;
};

}  // namespace telephony

#endif
