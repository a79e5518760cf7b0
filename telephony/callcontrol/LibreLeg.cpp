#include "telephony/callcontrol/LibreLeg.h"

#include <algorithm>
#include <array>

#include "telephony/callcontrol/Log.h"

namespace telephony {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kMostChallenges = 2;
constexpr milliseconds kT1(SIP_T1);
constexpr milliseconds kT2(SIP_T2);
// So long a 200 is repeated, and a cancelled INVITE is waited for (RFC 3261: 64*T1).
constexpr milliseconds kLongestWait = 64 * kT1;
constexpr milliseconds kProgressInterval(3000);
// How long the other end may take for the answer to a phone's re-INVITE.
constexpr seconds kReofferWait(8);

constexpr char kPictureFastUpdate[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><media_control><vc_primitive><to_encoder>"
    "<picture_fast_update/></to_encoder></vc_primitive></media_control>";

const char* AnswerHeaders(AnswerStyle style) {
    switch (style) {
        case AnswerStyle::CallInfo:
            return "Call-Info: <sip:intercom>;answer-after=0\r\n";
        case AnswerStyle::AlertInfo:
            return "Alert-Info: <http://intercom>;info=alert-autoanswer;delay=0\r\n";
        case AnswerStyle::AnswerMode:
            return "Answer-Mode: Auto\r\n";
        case AnswerStyle::None:
            break;
    }
    return "";
}

std::string BodyOf(const struct sip_msg& message) {
    return std::string(reinterpret_cast<const char*>(mbuf_buf(message.mb)), mbuf_get_left(message.mb));
}

// Whatever a phone says to OPTIONS, it is there, but for its word that it knows no such call (481). The
// others are the proxy's words for one that cannot be reached.
bool IsSignOfLife(int code) {
    constexpr std::array kOfTheProxy{403, 404, 408, 430, 477, 478, 481, 500, 502, 503, 504};
    return std::ranges::find(kOfTheProxy, code) == kOfTheProxy.end();
}

}  // namespace

struct LibreLeg::Received {
    Received(Loop& loop, const struct sip_msg& invite)
        : message(static_cast<struct sip_msg*>(mem_ref(const_cast<struct sip_msg*>(&invite)))),
          again(loop),
          end(loop) {}
    ~Received() {
        // Nobody will answer: the phone must not wait for its own timeout.
        if (transaction) sip_treply(&transaction, stack, message.get(), 487, "Request Terminated");
    }

    const LibrePtr<struct sip_msg> message;
    struct sip* stack = nullptr;
    struct sip_strans* transaction = nullptr;  // libre clears it with the final answer
    LibrePtr<struct mbuf> answer;              // the 200, until its ACK comes
    milliseconds wait = kT1;
    Timer again;
    Timer end;
};

LibreLeg::LibreLeg(SipStack& stack, LegEvents* events)
    : stack_(stack), events_(events), auth_(stack.NewAuth()), timeout_(stack.Timers()) {}

LibreLeg::~LibreLeg() {
    mem_deref(request_);
    mem_deref(info_);
    mem_deref(keyframe_);
    mem_deref(probe_);
}

void LibreLeg::Invite(const Invitation& invitation) {
    const ProxyAccount& account = stack_.Account();
    const std::string target = AddressOf(invitation.to, account.domain);
    const std::string from = Quoted(invitation.fromName.empty() ? invitation.fromUser : invitation.fromName) +
                             " <sip:" + UserPart(invitation.fromUser) + "@" + account.domain + ">";
    dialog_ = Dialog::Outgoing(from, "<" + target + ">", target);
    // Without the secret the proxy would ask for credentials first: twice the messages for each of twenty
    // phones.
    inviteRest_ = account.header + ": " + account.secret + "\r\n" +
                  std::string(AnswerHeaders(invitation.answer)) + kAllow +
                  BodyWith("application/sdp", invitation.sdp);
    state_ = State::Inviting;
    SendInvite();
}

void LibreLeg::SendInvite() {
    inviteCseq_ = ++dialog_.cseq;
    const int error = stack_.Send(&request_, true, "INVITE", dialog_, inviteCseq_, auth_.get(), inviteRest_,
                                  &LibreLeg::OnSend, &LibreLeg::OnResponse, this);
    if (error == 0) return stack_.CountInvite();
    // Told from the loop: whoever asked for it is not ready to hear of it yet.
    timeout_.Start(milliseconds(0), [this] { OnResponse(EHOSTUNREACH, nullptr, this); });
}

int LibreLeg::OnSend(enum sip_transp, const struct sa*, const struct sa*, struct mbuf* message,
                     void* argument) {
    constexpr std::string_view kName = "Via: ";
    const std::string_view text(reinterpret_cast<const char*>(message->buf), message->end);
    const std::size_t via = text.find(kName);
    const std::size_t end = text.find("\r\n", via);
    if (via != std::string_view::npos && end != std::string_view::npos)
        static_cast<LibreLeg*>(argument)->dialog_.via =
            text.substr(via + kName.size(), end - via - kName.size());
    return 0;
}

void LibreLeg::OnResponse(int error, const struct sip_msg* message, void* argument) {
    const auto self = static_cast<LibreLeg*>(argument)->shared_from_this();
    self->TakeResponse(error, message);
}

void LibreLeg::TakeResponse(int error, const struct sip_msg* message) {
    if (error != 0 || !message) return Fail(408, "No answer from the proxy");
    if (message->scode <= 100) return;
    if (message->scode < 200) {
        if (events_ && state_ == State::Inviting) events_->OnProgress(message->scode, BodyOf(*message));
        return;
    }
    const bool challenged = message->scode == 401 || message->scode == 407;
    if (challenged && state_ != State::Cancelling && challenges_++ < kMostChallenges &&
        sip_auth_authenticate(auth_.get(), message) == 0)
        return SendInvite();
    TakeFinal(*message);
}

void LibreLeg::TakeFinal(const struct sip_msg& message) {
    if (message.scode >= 300) return Fail(message.scode, Text(message.reason));
    const bool first = state_ != State::Up;
    challenges_ = 0;
    dialog_.via.clear();
    dialog_.Establish(message);
    stack_.SendAck(dialog_, inviteCseq_);
    if (state_ == State::Cancelling) {  // CANCEL and 200 have crossed
        stack_.End(dialog_, 487, "Cancelled", nullptr);
        return End();
    }
    if (IsCut(message)) {
        LegEvents* const events = events_;
        LogLine("the answer of " + dialog_.remote + " is longer than can be received; it is hung up");
        stack_.End(dialog_, 488, "The description is too long", nullptr);
        End();
        if (events) events->OnFailed(488, "The description is too long");
        return;
    }
    state_ = State::Up;
    if (!events_) return;
    if (first)
        events_->OnAnswer(BodyOf(message));
    else
        events_->OnReanswer(message.scode, BodyOf(message));
}

// The INVITE is refused: with it the leg, unless it was a re-INVITE that the phone does not like.
void LibreLeg::Fail(int code, const std::string& reason) {
    LegEvents* const events = events_;
    if (state_ == State::Up && code != 408 && code != 481) {
        challenges_ = 0;
        if (events) events->OnReanswer(code, std::string());
        return;
    }
    if (state_ == State::Up) stack_.End(dialog_, code, reason, nullptr);
    End();
    if (events) events->OnFailed(code, reason);
}

void LibreLeg::TakeIncoming(const struct sip_msg& invite) {
    state_ = State::Incoming;
    dialog_ = Dialog::Incoming(invite);
    received_ = std::make_unique<Received>(stack_.Timers(), invite);
    received_->stack = stack_.Libre();
    const auto onCancel = [](void* argument) {
        const auto self = static_cast<LibreLeg*>(argument)->shared_from_this();
        LegEvents* const events = self->events_;
        self->End();  // answers 487
        if (events) events->OnFailed(487, "Cancelled");
    };
    sip_strans_alloc(&received_->transaction, stack_.Libre(), &invite, onCancel, this);
    sip_treply(&received_->transaction, stack_.Libre(), &invite, 100, "Trying");
    received_->again.Start(kProgressInterval, [this] { Progress(""); });
}

void LibreLeg::Ring() {
    SendProgress(180, "Ringing", "Content-Length: 0\r\n\r\n");
}

void LibreLeg::Progress(const std::string& sdp) {
    SendProgress(183, "Session Progress",
                 sdp.empty() ? "Content-Length: 0\r\n\r\n" : BodyWith("application/sdp", sdp));
}

// Said again and again: the proxy gives the call up when it hears nothing of us for ten seconds.
void LibreLeg::SendProgress(std::uint16_t code, std::string reason, std::string body) {
    if (state_ != State::Incoming) return;
    const std::string rest = "Contact: <" + stack_.Contact() + ">\r\n" + body;
    sip_treplyf(&received_->transaction, nullptr, stack_.Libre(), received_->message.get(), true, code,
                reason.c_str(), "%b", rest.data(), rest.size());
    received_->again.Start(kProgressInterval,
                           [this, code, reason, body] { SendProgress(code, reason, body); });
}

void LibreLeg::Answer(const std::string& sdp) {
    if (state_ != State::Incoming) return;
    state_ = State::Up;
    dialog_.established = true;
    Accept(sdp);
}

void LibreLeg::Reanswer(const std::string& sdp) {
    if (state_ == State::Up && received_ && received_->transaction) Accept(sdp);
}

void LibreLeg::RefuseReoffer(int code, const std::string& reason) {
    if (state_ != State::Up || !received_ || !received_->transaction) return;
    sip_treply(&received_->transaction, stack_.Libre(), received_->message.get(),
               static_cast<std::uint16_t>(code), reason.c_str());
    received_.reset();
}

void LibreLeg::Accept(const std::string& sdp) {
    const std::string rest =
        "Contact: <" + stack_.Contact() + ">\r\n" + kAllow + BodyWith("application/sdp", sdp);
    struct mbuf* answer = nullptr;
    sip_treplyf(&received_->transaction, &answer, stack_.Libre(), received_->message.get(), true, 200, "OK",
                "%b", rest.data(), rest.size());
    received_->answer.reset(answer);
    received_->transaction = nullptr;
    received_->again.Start(received_->wait, [this] { RepeatAnswer(); });
    received_->end.Start(kLongestWait, [this] {
        const auto self = shared_from_this();
        LogLine("the answer to " + self->dialog_.remote + " is not confirmed; it is hung up");
        LegEvents* const events = self->events_;
        self->Hangup(408, "No ACK");
        if (events) events->OnBye();
    });
}

void LibreLeg::RepeatAnswer() {
    const struct sip_msg* message = received_->message.get();
    if (received_->answer) {
        received_->answer->pos = 0;
        sip_send(stack_.Libre(), message->sock, message->tp, &message->src, received_->answer.get());
    }
    received_->wait = std::min(2 * received_->wait, kT2);
    received_->again.Start(received_->wait, [this] { RepeatAnswer(); });
}

void LibreLeg::Reinvite(const std::string& sdp) {
    if (state_ != State::Up) return;
    inviteRest_ = kAllow + BodyWith("application/sdp", sdp);
    challenges_ = 0;
    SendInvite();
}

void LibreLeg::OnRequest(const struct sip_msg& request) {
    const auto self = shared_from_this();
    const std::string_view method = View(request.met);
    if (method == "ACK") return TakeAck(request);
    if (request.cseq.num < dialog_.remoteCseq) {
        sip_treply(nullptr, stack_.Libre(), &request, 500, "CSeq out of order");
        return;
    }
    dialog_.remoteCseq = request.cseq.num;
    if (method == "INVITE") return TakeReinvite(request);
    if (method == "INFO") return TakeInfo(request);
    if (method != "BYE") {
        sip_treplyf(nullptr, nullptr, stack_.Libre(), &request, false, 405, "Method Not Allowed",
                    "%sContent-Length: 0\r\n\r\n", kAllow);
        return;
    }
    sip_treply(nullptr, stack_.Libre(), &request, 200, "OK");
    LegEvents* const events = events_;
    End();
    if (events) events->OnBye();
}

void LibreLeg::TakeReinvite(const struct sip_msg& request) {
    if (state_ != State::Up || request_ || received_ || !events_) {
        sip_treply(nullptr, stack_.Libre(), &request, 491, "Request Pending");
        return;
    }
    if (IsCut(request)) {
        sip_treply(nullptr, stack_.Libre(), &request, 413, "The description is too long");
        return;
    }
    if (const struct sip_hdr* contact = sip_msg_hdr(&request, SIP_HDR_CONTACT))
        dialog_.target = AddressIn(Text(contact->val));
    received_ = std::make_unique<Received>(stack_.Timers(), request);
    received_->stack = stack_.Libre();
    sip_strans_alloc(&received_->transaction, stack_.Libre(), &request, nullptr, nullptr);
    sip_treply(&received_->transaction, stack_.Libre(), &request, 100, "Trying");
    received_->end.Start(kReofferWait, [this] { RefuseReoffer(488, "No answer"); });
    events_->OnReoffer(BodyOf(request));
}

void LibreLeg::TakeAck(const struct sip_msg& request) {
    if (received_ && received_->answer && received_->message->cseq.num == request.cseq.num) received_.reset();
}

// DTMF in "application/dtmf-relay" (Signal=5) or "application/dtmf" (5); or the wish for a whole picture.
void LibreLeg::TakeInfo(const struct sip_msg& request) {
    sip_treply(nullptr, stack_.Libre(), &request, 200, "OK");
    const std::string body = BodyOf(request);
    const std::size_t signal = body.find("Signal=");
    const std::size_t key =
        body.find_first_of("0123456789*#ABCD", signal == std::string::npos ? 0 : signal + 7);
    const bool isDtmf =
        View(request.ctyp.type) == "application" && View(request.ctyp.subtype).starts_with("dtmf");
    if (isDtmf && key != std::string::npos && events_) events_->OnDigits(body.substr(key, 1));
    if (body.find("picture_fast_update") != std::string::npos && events_) events_->OnKeyframe();
}

// RFC 5168. One at a time: the next picture serves all who ask meanwhile.
void LibreLeg::RequestKeyframe() {
    if (state_ != State::Up || keyframe_) return;
    const auto onResponse = [](int error, const struct sip_msg* message, void* argument) {
        if (error == 0 && message && message->scode < 300) return;
        LogLine("a key frame was refused by " + static_cast<LibreLeg*>(argument)->dialog_.remote + ": " +
                (message ? Text(message->reason) : std::string("no answer")));
    };
    ++dialog_.cseq;
    stack_.Send(&keyframe_, true, "INFO", dialog_, dialog_.cseq, auth_.get(),
                BodyWith("application/media_control+xml", kPictureFastUpdate), nullptr, onResponse, this);
}

void LibreLeg::Probe() {
    if (state_ != State::Up || probe_) return;
    const auto onResponse = [](int error, const struct sip_msg* message, void* argument) {
        if (error != 0 || !message || message->scode < 200) return;
        const auto self = static_cast<LibreLeg*>(argument)->shared_from_this();
        if (self->events_ && IsSignOfLife(message->scode)) self->events_->OnAlive();
    };
    ++dialog_.cseq;
    stack_.Send(&probe_, true, "OPTIONS", dialog_, dialog_.cseq, auth_.get(), "Content-Length: 0\r\n\r\n",
                nullptr, onResponse, this);
}

void LibreLeg::SendDigits(const std::string& digits) {
    digits_ += digits;
    if (state_ == State::Up && !info_) SendNextDigit();
}

// One after the other: INFO requests that overtake each other would press the keys in another order.
void LibreLeg::SendNextDigit() {
    if (digits_.empty() || state_ != State::Up) return;
    const std::string body = std::string("Signal=") + digits_[0] + "\r\nDuration=160\r\n";
    digits_.erase(0, 1);
    const auto onResponse = [](int error, const struct sip_msg* message, void* argument) {
        if (error == 0 && message && message->scode < 200) return;
        const auto self = static_cast<LibreLeg*>(argument)->shared_from_this();
        if (error != 0 || !message || message->scode >= 300)
            LogLine("a digit was refused by " + self->dialog_.remote + ": " +
                    (message ? Text(message->reason) : std::string("no answer")));
        self->SendNextDigit();
    };
    ++dialog_.cseq;
    stack_.Send(&info_, true, "INFO", dialog_, dialog_.cseq, auth_.get(),
                BodyWith("application/dtmf-relay", body), nullptr, onResponse, this);
}

void LibreLeg::Hangup(int code, const std::string& reason) {
    const auto self = shared_from_this();
    events_ = nullptr;
    switch (state_) {
        case State::Inviting:
            state_ = State::Cancelling;
            stack_.SendCancel(dialog_, code, reason);
            // Repeats it until the proxy answers; what comes for the INVITE still comes here.
            sip_request_cancel(request_);
            timeout_.Start(kLongestWait, [this] { End(); });
            break;
        case State::Incoming:
            sip_treply(&received_->transaction, stack_.Libre(), received_->message.get(),
                       static_cast<std::uint16_t>(code >= 400 ? code : 480), reason.c_str());
            received_->transaction = nullptr;
            End();
            break;
        case State::Up:
            stack_.End(dialog_, code, reason, nullptr);
            End();
            break;
        case State::Fresh:
            End();
            break;
        case State::Cancelling:
        case State::Over:
            break;
    }
}

void LibreLeg::OnStrayAnswer(const struct sip_msg& answer) {
    if (state_ == State::Up && View(answer.to.tag) == dialog_.remoteTag)
        stack_.SendAck(dialog_, answer.cseq.num);
    else
        stack_.RefuseAnswer(answer);
}

void LibreLeg::End() {
    state_ = State::Over;
    events_ = nullptr;
    timeout_.Stop();
    received_.reset();
    stack_.Forget(*this);
}

nlohmann::json LibreLeg::Journal() const {
    const bool open = state_ == State::Up || state_ == State::Inviting;
    return open ? nlohmann::json(dialog_) : nlohmann::json();
}

}  // namespace telephony
