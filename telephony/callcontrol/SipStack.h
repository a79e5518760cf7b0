// SIP on libre: transport, transactions, digest and parsing are libre's; dialogs and sessions are written
// here. libre's own session layer wants a re-INVITE answered within its callback, which cannot wait for the
// other end, does not report a refused re-INVITE, and keeps to itself what the journal must hold.
#ifndef TELEPHONY_CALLCONTROL_SIPSTACK_H
#define TELEPHONY_CALLCONTROL_SIPSTACK_H

#include <functional>
#include <memory>
#include <set>
#include <string>

#include "telephony/callcontrol/Dialog.h"
#include "telephony/callcontrol/Libre.h"
#include "telephony/callcontrol/Loop.h"
#include "telephony/callcontrol/Sip.h"

namespace telephony {

/// How the proxy is reached and how both know each other; made anew at each start of the proxy.
struct ProxyAccount {
    std::string proxy;  // address and port
    std::string domain;
    std::string realm;
    std::string user;
    std::string password;
    std::string header;
    std::string secret;
    std::string events;  // address and port
    std::string listen;  // our own address and port
};

class LibreLeg;

class SipStack : public Signalling {
public:
    /// Listens on the account's address. Throws std::runtime_error when that cannot be done.
    SipStack(Loop& loop, const ProxyAccount& account);
    ~SipStack() override;
    SipStack(const SipStack&) = delete;
    SipStack& operator=(const SipStack&) = delete;

    void SetIncomingCalls(IncomingCalls* calls) { incoming_ = calls; }
    /// Another secret, password or proxy; the address where it listens stays.
    void SetAccount(const ProxyAccount& account);
    const ProxyAccount& Account() const { return account_; }
    /// Without the port.
    std::string Address() const;

    SipLegPtr NewLeg(LegEvents& events) override;

    /// Those within calls and those repeated with credentials, too.
    std::uint64_t InvitesSent() const { return invites_; }
    void CountInvite() { ++invites_; }

    /// Ends a dialog that nobody here serves any more: BYE, or CANCEL while it is not established. Calls back
    /// with whether the other end has confirmed it.
    void End(const Dialog& dialog, int code, const std::string& reason, std::function<void(bool)> done);

    // For legs.
    struct sip* Libre() {
        return sip_.get();
    }
    Loop& Timers() { return loop_; }
    std::string Contact() const;
    LibrePtr<struct sip_auth> NewAuth();
    /// A request within the dialog, or one that begins it. `rest` is what stands behind the dialog's headers,
    /// the body with it. Returns libre's error.
    int Send(struct sip_request** request, bool stateful, const std::string& method, const Dialog& dialog,
             std::uint32_t number, struct sip_auth* auth, const std::string& rest, sip_send_h* onSend,
             sip_resp_h* onResponse, void* argument);
    void SendAck(const Dialog& dialog, std::uint32_t number);
    /// Says why, which libre's own CANCEL cannot: a phone shows a missed call unless it hears otherwise.
    void SendCancel(const Dialog& dialog, int code, const std::string& reason);
    /// A phone has answered an INVITE that is over: it is confirmed, and hung up.
    void RefuseAnswer(const struct sip_msg& answer);
    void Forget(LibreLeg& leg);

private:
    struct Goodbye;

    static bool OnRequest(const struct sip_msg* message, void* stack);
    static bool OnResponse(const struct sip_msg* message, void* stack);
    bool TakeRequest(const struct sip_msg& message);
    void TakeInvite(const struct sip_msg& message);
    bool ComesFromProxy(const struct sip_msg& message) const;
    std::shared_ptr<LibreLeg> FindLeg(const struct sip_msg& message) const;

    Loop& loop_;
    ProxyAccount account_;
    IncomingCalls* incoming_ = nullptr;
    LibrePtr<struct sip> sip_;
    LibrePtr<struct sip_lsnr> requests_;
    LibrePtr<struct sip_lsnr> responses_;
    std::set<std::shared_ptr<LibreLeg>> legs_;
    std::set<std::shared_ptr<Goodbye>> goodbyes_;
    std::uint64_t invites_ = 0;
};

inline constexpr char kAllow[] = "Allow: INVITE, ACK, BYE, CANCEL, INFO, OPTIONS\r\n";

/// The header that tells a phone why (RFC 3326).
std::string ReasonHeader(int code, const std::string& reason);

/// libre takes 8192 bytes of a datagram and says nothing of the rest.
bool IsCut(const struct sip_msg& message);

/// Content-Type, Content-Length and the body of a message that carries one.
std::string BodyWith(const std::string& type, const std::string& body);

}  // namespace telephony

#endif
