// One leg on libre's transactions: INVITE and re-INVITE in both directions, ACK, CANCEL, BYE, INFO, OPTIONS.
#ifndef TELEPHONY_CALLCONTROL_LIBRELEG_H
#define TELEPHONY_CALLCONTROL_LIBRELEG_H

#include <memory>
#include <string>

#include "telephony/callcontrol/Dialog.h"
#include "telephony/callcontrol/SipStack.h"

namespace telephony {

class LibreLeg : public SipLeg, public std::enable_shared_from_this<LibreLeg> {
public:
    LibreLeg(SipStack& stack, LegEvents* events);
    ~LibreLeg() override;

    void Invite(const Invitation& invitation) override;
    void Ring() override;
    void Progress(const std::string& sdp) override;
    void Answer(const std::string& sdp) override;
    void Reinvite(const std::string& sdp) override;
    void Reanswer(const std::string& sdp) override;
    void RefuseReoffer(int code, const std::string& reason) override;
    void SendDigits(const std::string& digits) override;
    void RequestKeyframe() override;
    void Probe() override;
    void Hangup(int code, const std::string& reason) override;
    nlohmann::json Journal() const override;

    // For the stack.
    void SetEvents(LegEvents* events) { events_ = events; }
    void TakeIncoming(const struct sip_msg& invite);
    const Dialog& GetDialog() const { return dialog_; }
    void OnRequest(const struct sip_msg& request);
    /// A 2xx that no transaction waits for: ours again, or that of another phone of a fork.
    void OnStrayAnswer(const struct sip_msg& answer);

private:
    enum class State { Fresh, Inviting, Cancelling, Incoming, Up, Over };
    /// An INVITE that we have received and not answered, or whose 200 is not confirmed.
    struct Received;

    static int OnSend(enum sip_transp transport, const struct sa* from, const struct sa* to,
                      struct mbuf* message, void* leg);
    static void OnResponse(int error, const struct sip_msg* message, void* leg);
    void TakeResponse(int error, const struct sip_msg* message);
    void TakeFinal(const struct sip_msg& message);
    void Fail(int code, const std::string& reason);
    void SendInvite();
    void SendProgress(std::uint16_t code, std::string reason, std::string body);
    void Accept(const std::string& sdp);
    void RepeatAnswer();
    void TakeReinvite(const struct sip_msg& request);
    void TakeAck(const struct sip_msg& request);
    void TakeInfo(const struct sip_msg& request);
    void SendNextDigit();
    void End();

    SipStack& stack_;
    LegEvents* events_;  // not owned; null when nobody listens any more
    State state_ = State::Fresh;
    Dialog dialog_;
    LibrePtr<struct sip_auth> auth_;
    struct sip_request* request_ = nullptr;  // INVITE under way; libre clears it
    std::string inviteRest_;                 // what stands behind the dialog's headers in our last INVITE
    std::uint32_t inviteCseq_ = 0;
    int challenges_ = 0;
    std::unique_ptr<Received> received_;
    std::string digits_;  // not sent yet
    struct sip_request* info_ = nullptr;
    struct sip_request* keyframe_ = nullptr;
    struct sip_request* probe_ = nullptr;
    Timer timeout_;
};

}  // namespace telephony

#endif
