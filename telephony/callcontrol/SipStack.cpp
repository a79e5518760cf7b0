#include "telephony/callcontrol/SipStack.h"

#include <stdexcept>

#include "telephony/callcontrol/LibreLeg.h"
#include "telephony/callcontrol/Log.h"
#include "telephony/callcontrol/Sdp.h"

namespace telephony {
namespace {

constexpr std::uint32_t kTableSize = 64;  // of transactions, by hash
constexpr char kCalleesHeader[] = "X-Intercom-To";
constexpr int kMostChallenges = 2;  // the second one comes when a nonce has become stale

LibrePtr<struct mbuf> ToBuffer(const std::string& text) {
    LibrePtr<struct mbuf> buffer(mbuf_alloc(text.size()));
    if (!buffer ||
        mbuf_write_mem(buffer.get(), reinterpret_cast<const std::uint8_t*>(text.data()), text.size()))
        throw std::bad_alloc();
    buffer->pos = 0;
    return buffer;
}

std::string HeaderOf(const struct sip_msg& message, const std::string& name) {
    const struct sip_hdr* header = sip_msg_xhdr(&message, name.c_str());
    return header ? Text(header->val) : std::string();
}

// The proxy knows who is behind a name or a group; the address itself is what the phone has dialled.
std::vector<std::string> CalleesOf(const struct sip_msg& message) {
    const std::string header = HeaderOf(message, kCalleesHeader);
    std::vector<std::string> callees;
    for (std::size_t at = 0; at < header.size();) {
        const std::size_t end = std::min(header.find(',', at), header.size());
        if (end > at) callees.push_back(UserOf(std::string_view(header).substr(at, end - at)));
        at = end + 1;
    }
    if (callees.empty() && pl_isset(&message.uri.user)) callees.push_back(UserOf(View(message.uri.user)));
    return callees;
}

bool IsMethod(const struct sip_msg& message, std::string_view method) {
    return View(message.met) == method;
}

}  // namespace

// A BYE on its way.
struct SipStack::Goodbye {
    Goodbye(SipStack& owner, const Dialog& ended, std::string headers, std::function<void(bool)> whom)
        : stack(owner),
          dialog(ended),
          rest(std::move(headers)),
          done(std::move(whom)),
          auth(owner.NewAuth()) {}
    ~Goodbye() { mem_deref(request); }

    bool Send() {
        ++dialog.cseq;
        return stack.Send(&request, true, "BYE", dialog, dialog.cseq, auth.get(), rest, nullptr, &OnResponse,
                          this) == 0;
    }

    void Finish(bool confirmed) {
        for (const auto& goodbye : stack.goodbyes_)
            if (goodbye.get() == this) {
                const auto self = goodbye;
                stack.goodbyes_.erase(self);
                if (done) done(confirmed);
                return;
            }
    }

    static void OnResponse(int error, const struct sip_msg* message, void* argument) {
        auto* goodbye = static_cast<Goodbye*>(argument);
        if (error == 0 && message && message->scode < 200) return;
        if (error != 0 || !message) return goodbye->Finish(false);
        const bool challenged = message->scode == 401 || message->scode == 407;
        if (challenged && goodbye->challenges++ < kMostChallenges &&
            sip_auth_authenticate(goodbye->auth.get(), message) == 0 && goodbye->Send())
            return;
        // 481 too: then the phone knows nothing of the call any more.
        goodbye->Finish(!challenged && message->scode != 408 && message->scode != 503);
    }

    SipStack& stack;
    Dialog dialog;
    const std::string rest;
    const std::function<void(bool)> done;
    LibrePtr<struct sip_auth> auth;
    struct sip_request* request = nullptr;
    int challenges = 0;
};

SipStack::SipStack(Loop& loop, const ProxyAccount& account) : loop_(loop), account_(account) {
    struct sa address;
    if (sa_decode(&address, account.listen.c_str(), account.listen.size()) != 0 || sa_port(&address) == 0)
        throw std::runtime_error("\"" + account.listen + "\" is no numeric address with a port");
    struct sip* sip = nullptr;
    if (sip_alloc(&sip, nullptr, kTableSize, kTableSize, kTableSize, "callcontrol", nullptr, nullptr) != 0)
        throw std::runtime_error("SIP cannot be set up: out of memory");
    sip_.reset(sip);
    if (sip_transp_add(sip, SIP_TRANSP_UDP, &address) != 0)
        throw std::runtime_error("cannot listen for SIP on " + account.listen +
                                 ": is the address this machine's, and free?");
    struct sip_lsnr* listener = nullptr;
    if (sip_listen(&listener, sip, true, &SipStack::OnRequest, this) != 0) throw std::bad_alloc();
    requests_.reset(listener);
    listener = nullptr;
    if (sip_listen(&listener, sip, false, &SipStack::OnResponse, this) != 0) throw std::bad_alloc();
    responses_.reset(listener);
}

SipStack::~SipStack() {
    goodbyes_.clear();
    legs_.clear();
    requests_.reset();
    responses_.reset();
    sip_close(sip_.get(), true);
}

void SipStack::SetAccount(const ProxyAccount& account) {
    const std::string listen = account_.listen;
    account_ = account;
    account_.listen = listen;
}

std::string SipStack::Address() const {
    return account_.listen.substr(0, account_.listen.rfind(':'));
}
std::string SipStack::Contact() const {
    return "sip:" + UserPart(account_.user) + "@" + account_.listen;
}

SipLegPtr SipStack::NewLeg(LegEvents& events) {
    const auto leg = std::make_shared<LibreLeg>(*this, &events);
    legs_.insert(leg);
    return leg;
}

void SipStack::Forget(LibreLeg& leg) {
    legs_.erase(leg.shared_from_this());
}

LibrePtr<struct sip_auth> SipStack::NewAuth() {
    struct sip_auth* auth = nullptr;
    const auto login = [](char** user, char** password, const char* realm, void* argument) {
        const ProxyAccount& account = static_cast<SipStack*>(argument)->account_;
        // A phone that challenges us in the proxy's stead learns nothing that it could try guesses on.
        if (account.realm != realm) return EACCES;
        return str_dup(user, account.user.c_str()) | str_dup(password, account.password.c_str());
    };
    if (sip_auth_alloc(&auth, login, this, false) != 0) throw std::bad_alloc();
    return LibrePtr<struct sip_auth>(auth);
}

int SipStack::Send(struct sip_request** request, bool stateful, const std::string& method,
                   const Dialog& dialog, std::uint32_t number, struct sip_auth* auth, const std::string& rest,
                   sip_send_h* onSend, sip_resp_h* onResponse, void* argument) {
    const std::string hop = dialog.established ? dialog.NextHop() : "sip:" + account_.proxy;
    struct pl text;
    pl_set_str(&text, hop.c_str());
    struct uri route;
    if (const int error = uri_decode(&route, &text)) return error;
    const std::string message = dialog.Headers(method, number) + "Contact: <" + Contact() + ">\r\n" + rest;
    return sip_requestf(request, sip_.get(), stateful, method.c_str(), dialog.target.c_str(), &route, auth,
                        onSend, onResponse, argument, "%b", message.data(), message.size());
}

void SipStack::SendAck(const Dialog& dialog, std::uint32_t number) {
    if (Send(nullptr, false, "ACK", dialog, number, nullptr, "Content-Length: 0\r\n\r\n", nullptr, nullptr,
             nullptr))
        LogLine("an ACK cannot be sent to " + dialog.NextHop());
}

void SipStack::SendCancel(const Dialog& dialog, int code, const std::string& reason) {
    struct sa proxy;
    if (dialog.via.empty() || sa_decode(&proxy, account_.proxy.c_str(), account_.proxy.size()) != 0) return;
    const std::string text = "CANCEL " + dialog.target + " SIP/2.0\r\nVia: " + dialog.via +
                             "\r\nMax-Forwards: 70\r\n" + dialog.Headers("CANCEL", dialog.cseq) +
                             ReasonHeader(code, reason) + "Content-Length: 0\r\n\r\n";
    const auto buffer = ToBuffer(text);
    sip_send(sip_.get(), nullptr, SIP_TRANSP_UDP, &proxy, buffer.get());
}

void SipStack::End(const Dialog& dialog, int code, const std::string& reason,
                   std::function<void(bool)> done) {
    if (!dialog.established) {
        SendCancel(dialog, code, reason);
        if (done) done(true);
        return;
    }
    const auto goodbye = std::make_shared<Goodbye>(
        *this, dialog, ReasonHeader(code, reason) + "Content-Length: 0\r\n\r\n", std::move(done));
    goodbyes_.insert(goodbye);
    if (!goodbye->Send()) goodbye->Finish(false);
}

void SipStack::RefuseAnswer(const struct sip_msg& answer) {
    Dialog dialog;
    dialog.callId = Text(answer.callid);
    dialog.local = Text(answer.from.val);
    dialog.Establish(answer);
    dialog.cseq = answer.cseq.num;
    if (dialog.target.empty()) return;
    SendAck(dialog, dialog.cseq);
    End(dialog, 487, "The call is over", nullptr);
}

bool SipStack::OnResponse(const struct sip_msg* message, void* argument) {
    auto* stack = static_cast<SipStack*>(argument);
    if (View(message->cseq.met) != "INVITE" || message->scode < 200 || message->scode > 299) return false;
    for (const auto& leg : stack->legs_)
        if (leg->GetDialog().callId == View(message->callid)) {
            const auto answered = leg;
            answered->OnStrayAnswer(*message);
            return true;
        }
    stack->RefuseAnswer(*message);
    return true;
}

bool SipStack::OnRequest(const struct sip_msg* message, void* argument) {
    return static_cast<SipStack*>(argument)->TakeRequest(*message);
}

// By the port alone: a proxy that listens on several addresses may send from any of them. Who else reaches
// this address is a program of this machine, which still needs the secret, or both tags of a dialog.
bool SipStack::ComesFromProxy(const struct sip_msg& message) const {
    struct sa proxy;
    return sa_decode(&proxy, account_.proxy.c_str(), account_.proxy.size()) == 0 &&
           sa_port(&proxy) == sa_port(&message.src);
}

std::shared_ptr<LibreLeg> SipStack::FindLeg(const struct sip_msg& message) const {
    for (const auto& leg : legs_)
        if (leg->GetDialog().IsOf(message)) return leg;
    return nullptr;
}

bool SipStack::TakeRequest(const struct sip_msg& message) {
    const bool isAck = IsMethod(message, "ACK");
    if (!ComesFromProxy(message)) {
        if (!isAck) sip_treply(nullptr, sip_.get(), &message, 403, "Not from here");
        return true;
    }
    if (IsMethod(message, "OPTIONS")) {
        sip_treplyf(nullptr, nullptr, sip_.get(), &message, false, 200, "OK", "%sContent-Length: 0\r\n\r\n",
                    kAllow);
        return true;
    }
    if (const auto leg = FindLeg(message)) {
        leg->OnRequest(message);
        return true;
    }
    if (isAck) return true;
    if (pl_isset(&message.to.tag))
        sip_treply(nullptr, sip_.get(), &message, 481, "Call/Transaction Does Not Exist");
    else if (IsMethod(message, "INVITE"))
        TakeInvite(message);
    else
        sip_treplyf(nullptr, nullptr, sip_.get(), &message, false, 405, "Method Not Allowed",
                    "%sContent-Length: 0\r\n\r\n", kAllow);
    return true;
}

void SipStack::TakeInvite(const struct sip_msg& message) {
    if (account_.secret.empty() || HeaderOf(message, account_.header) != account_.secret) {
        LogLine("an INVITE without the proxy's secret is refused");
        sip_treply(nullptr, sip_.get(), &message, 403, "Not from the proxy");
        return;
    }
    if (!incoming_ || IsCut(message) || mbuf_get_left(message.mb) > kLongestSdp) {
        sip_treply(nullptr, sip_.get(), &message, incoming_ ? 413 : 503, "Not possible");
        return;
    }
    const auto leg = std::make_shared<LibreLeg>(*this, nullptr);
    legs_.insert(leg);
    leg->TakeIncoming(message);
    const std::string sdp(reinterpret_cast<const char*>(mbuf_buf(message.mb)), mbuf_get_left(message.mb));
    const std::string dialled = pl_isset(&message.uri.user) ? UserOf(View(message.uri.user)) : std::string();
    leg->SetEvents(
        incoming_->OnIncoming(leg, {UserOf(View(message.from.uri.user)), dialled, CalleesOf(message), sdp}));
}

std::string ReasonHeader(int code, const std::string& reason) {
    return "Reason: SIP;cause=" + std::to_string(code) + ";text=" + Quoted(reason) + "\r\n";
}

bool IsCut(const struct sip_msg& message) {
    return pl_isset(&message.clen) && pl_u32(&message.clen) > mbuf_get_left(message.mb);
}

std::string BodyWith(const std::string& type, const std::string& body) {
    return "Content-Type: " + type + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace telephony
