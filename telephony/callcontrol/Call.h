// A call as a whole: its legs, how it ends, what is told and written of it. What becomes of sound and
// pictures is the business of TalkCall and BroadcastCall.
#ifndef TELEPHONY_CALLCONTROL_CALL_H
#define TELEPHONY_CALLCONTROL_CALL_H

#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "telephony/callcontrol/Journal.h"
#include "telephony/callcontrol/Loop.h"
#include "telephony/callcontrol/Room.h"
#include "telephony/callcontrol/Sip.h"
#include "telephony/protocol/Event.h"

namespace telephony {

/// SIP statuses that calls end with, beside those that phones give.
enum EndCode : int {
    END_NORMAL = 200,
    END_FORBIDDEN = 403,
    END_NO_ANSWER = 408,
    END_UNAVAILABLE = 480,
    END_CANCELLED = 487,
    END_NOT_ACCEPTABLE = 488,
    END_NO_MEDIA = 503
};

/// Who ended a call, where it was no phone.
inline constexpr char kByCommand[] = "command";
inline constexpr char kByCallControl[] = "callcontrol";
inline constexpr char kHungUp[] = "Hung up from outside";
/// Why digits cannot be sent.
inline constexpr char kNobodyForDigits[] = "nobody that they are for has answered";

/// For sound; every phone and browser has them.
const std::vector<std::string>& UsualCodecs();

class Call;
using CallPtr = std::shared_ptr<Call>;

/// What every call stands on. All of it outlives the calls.
struct CallServices {
    Loop& loop;
    NgClient& ng;
    Journal& journal;
    std::string address;  // where we are, for the placeholder
    std::function<std::string()> newRoom;
    std::function<Device(const std::string& user)> device;
    std::function<SipLegPtr(const std::string& user, LegEvents&)> newLeg;
    std::function<void(const Call&, Event)> tell;
    std::function<void(const Call&)> over;  // the call may be dropped
    std::function<bool()> proxyIsUp;
    std::chrono::milliseconds silence;      // an end that gives no sign of life for so long is lost; 0: never
    std::chrono::milliseconds ringing;      // nobody is called for longer
};

class CallLeg : public LegEvents {
public:
    CallLeg(Call& call, std::string user, LegRole role, std::string tag, bool isPage);

    const std::string& User() const { return report.user; }
    bool IsUp() const { return report.state == LegState::Up; }
    bool IsOver() const { return report.state == LegState::Down; }

    /// Browsers speak WebRTC, and take no digits.
    bool IsPage() const { return isPage_; }

    /// INVITE, or a re-INVITE when the leg is up.
    void Tell(const std::string& sdp, const CallLeg& shown, bool answersByItself);
    /// As a description of ours, whose version rises.
    std::string Own(const std::string& sdp);
    /// That its phone may be offered, the best first.
    std::vector<std::string> Codecs() const;

    void OnProgress(int code, const std::string& sdp) override;
    void OnAnswer(const std::string& sdp) override;
    void OnFailed(int code, const std::string& reason) override;
    void OnReoffer(const std::string& sdp) override;
    void OnReanswer(int code, const std::string& sdp) override;
    void OnDigits(const std::string& digits) override;
    void OnKeyframe() override;
    void OnAlive() override;
    void OnBye() override;

    LegReport report;
    const std::string tag;  // in the room
    SipLegPtr sip;
    std::string sdp;        // what its phone told last
    std::string told;       // what its phone was told last
    std::string noted;      // its dialog in the journal
    long counted = 0;       // packets at the last look
    Loop::TimePoint heard;  // the last sign of life: packets, or an answer to a probe

private:
    Call& call_;
    const bool isPage_;
    const std::uint64_t session_;
    std::uint64_t version_ = 0;
};

class Call : public std::enable_shared_from_this<Call> {
public:
    /// Directions are those that the caller is to have.
    Call(CallServices& services, std::string id, CallKind kind, std::string called, Direction audio,
         Direction video);
    virtual ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    const std::string& Id() const { return id_; }
    /// Whether news of this end, or of the whole call when it is empty, matters to this user. News of a
    /// callee are for itself and the caller: else, when twenty ring, each would be told of all.
    bool Concerns(const std::string& user, const std::string& end = "") const;
    CallReport Report() const;

    virtual void Start() = 0;
    virtual void Hold() = 0;
    virtual void Resume() = 0;
    /// To the user's phone, or to all but the caller's when it is empty; by SIP INFO. Why it cannot be done;
    /// empty when it is.
    std::string SendDigits(const std::string& user, const std::string& digits);
    /// The same, as telephone-events in the sound.
    virtual std::string PlayDigits(const std::string& user, const std::string& digits) = 0;
    /// rtpengine has seen a digit in the sound from this end of the room.
    void OnRoomDigit(const std::string& tag, char digit);
    const std::string& RoomName() const { return room_.Name(); }
    /// One leg leaves, and whatever that means for the others follows. False when it is not in the call.
    bool HangUp(const std::string& user);
    /// In any state, once; later ones do nothing.
    void End(int code, const std::string& reason, const std::string& by);

    /// Looks once a second after phones that have fallen silent, and after rtpengine.
    void Watch();

protected:
    friend class CallLeg;

    // What legs tell. The leg is not over in the first four.
    virtual void OnLegRings(CallLeg& leg, const std::string& sdp) = 0;
    virtual void OnLegAnswers(CallLeg& leg) = 0;
    virtual void OnLegReoffers(CallLeg& leg, const std::string& sdp) = 0;
    virtual void OnLegRefusesReinvite(CallLeg& leg, int code) = 0;
    /// It cannot show the pictures of who sends to it.
    virtual void OnLegNeedsKeyframe(CallLeg& leg) = 0;
    virtual void OnLegGone(CallLeg& leg, int code, const std::string& reason) = 0;
    /// rtpengine has started anew and knows nothing of the room.
    virtual void Rebuild() = 0;
    /// Has that done, in another room.
    void SetUpMediaAnew();
    /// Whether the leg's phone should be sending.
    virtual bool ShouldBeHeard(const CallLeg& leg) const = 0;

    CallLeg& AddLeg(const std::string& user, LegRole role, const std::string& tag);
    CallLeg& Caller() { return *legs_.front(); }
    const CallLeg& Caller() const { return *legs_.front(); }
    void Tell(Event event) const;
    Event About(EventKind kind, const CallLeg& leg) const;
    /// The leg is over: said once.
    void Down(CallLeg& leg, int code, const std::string& reason);
    void HangUpLeg(CallLeg& leg, int code, const std::string& reason);
    /// The legs that digits for the user go to; see SendDigits.
    std::vector<CallLeg*> LegsForDigits(const std::string& user) const;
    void TellDigits(const CallLeg& leg, const std::string& digits, DigitStyle by);
    void SetEstablished();
    void SetHeld(bool held, const std::string& by);
    void WriteJournal() const;
    /// The same, when the leg's dialog is no longer what was written.
    void WriteJournal(CallLeg& changed) const;
    void NewRoom() { room_.StartAnew(services_.newRoom()); }
    /// The handler of a request to rtpengine: nothing happens when the call is over, and it ends the call
    /// when the request has failed.
    Room::Handler WithReply(std::function<void(const NgReply&)> handler);

    CallServices& services_;
    const Direction audio_;
    const Direction video_;
    Room room_;
    std::vector<std::unique_ptr<CallLeg>> legs_;  // the caller first
    bool byPhone_ = false;
    bool established_ = false;
    bool held_ = false;
    bool ended_ = false;
    std::multiset<std::pair<std::string, char>>
        played_;  // digits by us, which rtpengine tells, too: tag, digit

private:
    void TakeTraffic(const NgReply& reply, bool last);
    void TellEnded(int code, const std::string& reason, const std::string& by);
    double Seconds() const;

    const std::string id_;
    const CallKind kind_;
    const std::string called_;
    Loop::TimePoint establishedAt_;
    Loop::TimePoint mediaSeen_;
};

}  // namespace telephony

#endif
