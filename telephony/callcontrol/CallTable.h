// All calls, the phones and pages that are there, and what clients want of them.
#ifndef TELEPHONY_CALLCONTROL_CALLTABLE_H
#define TELEPHONY_CALLCONTROL_CALLTABLE_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "telephony/callcontrol/Call.h"
#include "telephony/callcontrol/Counts.h"
#include "telephony/callcontrol/Pages.h"

namespace telephony {

class CallTable : public IncomingCalls {
public:
    struct Settings {
        std::string address;  // of the placeholder
        std::chrono::milliseconds silence{3000};
        std::chrono::milliseconds ringing{120000};
    };

    CallTable(Loop& loop, NgClient& ng, Journal& journal, Settings settings);
    ~CallTable() override;

    /// Null while there is no proxy: then pages can be called, and no phones. Calls that run keep what they
    /// have. Where SIP was stays valid until Clear.
    void SetSignalling(Signalling* signalling);
    void SetProxyUp(bool up);
    /// Events of accounts, from the proxy.
    void SetRegistered(const RegisteredPhone& registered);
    void SetLost(const std::string& user, const std::string& reason);
    /// From rtpengine.
    void TakeDigit(const RoomDigit& digit);

    /// What the client says of itself holds until Leave.
    void Execute(Client& client, const Command& command);
    void Leave(Client& client);

    LegEvents* OnIncoming(SipLegPtr leg, const IncomingCall& incoming) override;

    /// Ends every call.
    void Clear(const std::string& reason);
    bool IsEmpty() const { return calls_.empty(); }
    /// All that is: what a client is told first.
    Event Snapshot() const;
    const CallCounts& Counts() const { return counts_; }
    const std::string& RoomPrefix() const { return roomPrefix_; }

private:
    struct Interest {
        bool all = false;
        std::map<std::string, Device> devices;
    };

    void Greet(Client& client, const Command& command);
    void SendDigits(Client& client, const Command& command, Call& call);
    void TakeFromPage(Client& client, const Command& command);
    void SetPagePresent(const std::string& user, bool present);
    void StartCall(Client& client, const Command& command);
    SipLegPtr NewLeg(const std::string& user, LegEvents& events);
    CallPtr Find(Client& client, const Command& command);
    void Refuse(Client& client, const Command& command, int code, const std::string& reason);
    std::vector<RegisteredPhone> AwayPhones() const;
    Device FindDevice(const std::string& user) const;
    void TellAll(const Event& event);
    void TellOf(const std::string& user, const Event& event);
    void TellOf(const Call& call, Event event);
    void Watch();
    void SetMediaUp(bool up);

    const Settings settings_;
    const std::string roomPrefix_;  // of this process: other rooms in rtpengine are left over
    NgClient& ng_;
    CallServices services_;
    Signalling* signalling_ = nullptr;
    Pages pages_;
    std::map<Client*, Interest> clients_;
    std::map<std::string, CallPtr> calls_;
    std::map<std::string, RegisteredPhone> phones_;
    std::map<std::string, RegisteredPhone> lost_;  // that were registered, and are not any more
    CallCounts counts_;
    bool proxyUp_ = false;
    bool mediaUp_ = false;
    std::uint64_t nextRoom_ = 1;
    std::uint64_t nextPhoneCall_ = 1;
    Timer watch_;
};

}  // namespace telephony

#endif
