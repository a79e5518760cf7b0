// One speaks, all others hear: the caller's sound is sent once to rtpengine, which gives each listener a
// copy.
#ifndef TELEPHONY_CALLCONTROL_BROADCASTCALL_H
#define TELEPHONY_CALLCONTROL_BROADCASTCALL_H

#include "telephony/callcontrol/Call.h"

namespace telephony {

class BroadcastCall : public Call {
public:
    BroadcastCall(CallServices& services, const Command& command);

    void Start() override;
    void Hold() override;
    void Resume() override;
    std::string PlayDigits(const std::string& user, const std::string& digits) override;

private:
    void TellListeners();
    void TakeListenersAnswer(CallLeg& listener);

    void OnLegRings(CallLeg&, const std::string&) override {}
    void OnLegAnswers(CallLeg& leg) override;
    void OnLegReoffers(CallLeg& leg, const std::string& sdp) override;
    void OnLegRefusesReinvite(CallLeg& leg, int code) override;
    void OnLegNeedsKeyframe(CallLeg& leg) override;
    void OnLegGone(CallLeg& leg, int code, const std::string& reason) override;
    void Rebuild() override;
    bool ShouldBeHeard(const CallLeg& leg) const override { return &leg == &Caller(); }

    Timer ringing_;
};

}  // namespace telephony

#endif
