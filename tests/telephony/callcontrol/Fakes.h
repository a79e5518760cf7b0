// Call control without a network: a clock that the test moves, an rtpengine and phones that write down what
// they are asked.
#ifndef TESTS_TELEPHONY_CALLCONTROL_FAKES_H
#define TESTS_TELEPHONY_CALLCONTROL_FAKES_H

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "telephony/callcontrol/CallTable.h"
#include "telephony/callcontrol/NgClient.h"
#include "telephony/callcontrol/Sip.h"

namespace test {

class FakeLoop : public telephony::Loop {
public:
    TimePoint Now() const override { return now_; }
    TimerId After(std::chrono::milliseconds delay, std::function<void()> callback) override;
    void Forget(TimerId id) override { timers_.erase(id); }

    /// Moves the clock, with everything that is due on the way.
    void Advance(std::chrono::milliseconds time);

private:
    struct Due {
        TimePoint at;
        std::function<void()> callback;
    };
    TimePoint now_{};
    std::map<TimerId, Due> timers_;
    TimerId next_ = 1;
};

/// Answers from the loop what it is asked, and keeps it as lines: "offer placeholder>", "answer
/// caller>callee".
class FakeMedia {
public:
    explicit FakeMedia(FakeLoop& loop);

    telephony::NgClient& Client() { return client_; }
    /// What it was asked since the last call, without pings and queries.
    std::vector<std::string> Take();
    /// All keys of the last request of a command.
    const nlohmann::json& Last(const std::string& command) { return last_[command]; }
    /// The same of a request as Take names it, without what differs in every call. Null when there was none.
    nlohmann::json Asked(const std::string& line) const;

    bool away = false;                               // no answer at all
    std::map<std::string, std::string> refusals;     // by command: the reason
    nlohmann::json tags = nlohmann::json::object();  // what a query tells

private:
    void Receive(std::string_view datagram);

    FakeLoop& loop_;
    telephony::NgClient client_;
    std::vector<std::string> asked_;
    std::map<std::string, nlohmann::json> last_;  // by command, and by line
    int offers_ = 0;
};

/// One leg. The test plays its phone by the events.
class FakeLeg : public telephony::SipLeg {
public:
    FakeLeg(telephony::LegEvents* legEvents, std::vector<std::string>& log) : events(legEvents), log_(log) {}

    void Invite(const telephony::Invitation& told) override;
    void Ring() override { Note("ring"); }
    void Progress(const std::string&) override { Note("progress"); }
    void Answer(const std::string&) override { Note("answer"); }
    void Reinvite(const std::string& told) override;
    void Reanswer(const std::string&) override { Note("reanswer"); }
    void RefuseReoffer(int code, const std::string&) override { Note("refuse " + std::to_string(code)); }
    void SendDigits(const std::string& digits) override { Note("digits " + digits); }
    void RequestKeyframe() override { Note("keyframe"); }
    void Probe() override { Note("probe"); }
    void Hangup(int code, const std::string& reason) override;
    nlohmann::json Journal() const override { return {{"leg", user}}; }

    telephony::LegEvents* events;
    std::string user;
    telephony::Invitation invitation;
    std::string sdp;  // told last

private:
    void Note(const std::string& text) { log_.push_back(user + ": " + text); }
    std::vector<std::string>& log_;
};

class FakeSip : public telephony::Signalling {
public:
    telephony::SipLegPtr NewLeg(telephony::LegEvents& events) override;
    /// The leg of this user that was made last.
    FakeLeg& Leg(const std::string& user);
    std::vector<std::string> Take() { return std::exchange(log, {}); }

    std::vector<std::string> log;  // "hall: invite", "hall: hangup 200 ..."

private:
    std::vector<std::shared_ptr<FakeLeg>> legs_;
};

class FakeClient : public telephony::Client {
public:
    void Tell(const std::string& line) override { events.push_back(telephony::ParseEvent(line)); }
    /// "ringing kitchen", in their order, since the last call.
    std::vector<std::string> Take();
    telephony::Event Last() const { return events.back(); }
    std::vector<telephony::Event> events;
};

/// What a phone says of its media.
std::string PhoneSdp(const std::string& direction = "sendrecv");

}  // namespace test

#endif
