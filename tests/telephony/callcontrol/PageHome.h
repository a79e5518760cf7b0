// Calls with browser pages between fakes: a client that speaks for the pages "tablet" and "attic", one that
// hears of everything, and phones of any other name.
#ifndef TESTS_TELEPHONY_CALLCONTROL_PAGEHOME_H
#define TESTS_TELEPHONY_CALLCONTROL_PAGEHOME_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/process/TempFolder.h"
#include "tests/telephony/callcontrol/Fakes.h"

namespace test {

inline constexpr char kPagesHello[] =
    R"({"cmd":"hello","version":1,"devices":[{"user":"tablet","name":"Kitchen tablet","page":true,"mayBeMonitored":true},{"user":"attic","page":true}]})";

class PageHome : public testing::Test {
protected:
    PageHome() {
        table_.SetSignalling(&sip_);
        Do(R"({"cmd":"hello","version":1,"all":true,"devices":[{"user":"hall","name":"Hall","mayBeMonitored":true}]})",
           others_);
        Do(kPagesHello);
        Present("tablet");
        Present("attic");
        TakeAll();
    }

    void Do(const std::string& line, FakeClient& client) {
        table_.Execute(client, telephony::ParseCommand(line));
        loop_.Advance(std::chrono::milliseconds(1));
    }
    void Do(const std::string& line) { Do(line, pages_); }
    void Present(const std::string& user, bool present = true) {
        Do(R"({"cmd":"page-present","leg":")" + user + R"(","present":)" + (present ? "true}" : "false}"));
    }
    void Call(const std::string& from, const std::string& to, const std::string& more = "") {
        Do(R"({"cmd":"call","id":"1","from":")" + from + R"(","to":[")" + to + "\"]" + more + "}", others_);
    }
    void PageRings(const std::string& user) {
        Do(R"({"cmd":"page-ringing","id":"1","leg":")" + user + "\"}");
    }
    void PageAnswers(const std::string& user, const std::string& direction = "sendrecv") {
        telephony::Command answer;
        answer.kind = telephony::CommandKind::PageAnswer;
        answer.id = "1";
        answer.leg = user;
        answer.sdp = PhoneSdp(direction);
        Do(ToLine(answer));
    }
    void PhoneAnswers(const std::string& user, const std::string& direction = "sendrecv") {
        sip_.Leg(user).events->OnAnswer(PhoneSdp(direction));
        loop_.Advance(std::chrono::milliseconds(1));
    }
    // Up, with nothing left to be taken.
    void EstablishHallAndTablet() {
        Call("hall", "tablet");
        PhoneAnswers("hall");
        PageAnswers("tablet");
        TakeAll();
    }
    void TakeAll() {
        pages_.Take();
        others_.Take();
        sip_.Take();
        media_.Take();
    }
    /// The last of this kind that the client of the pages was told.
    telephony::Event Told(telephony::EventKind kind) const {
        for (auto event = pages_.events.rbegin(); event != pages_.events.rend(); ++event)
            if (event->kind == kind) return *event;
        ADD_FAILURE() << "not told: " << TextOf(kind);
        return {};
    }
    std::string Refusal() const { return Told(telephony::EventKind::Refused).reason; }

    FakeLoop loop_;
    FakeMedia media_{loop_};
    TempFolder folder_;
    telephony::Journal journal_{folder_ / "journal"};
    FakeSip sip_;
    FakeClient pages_;
    FakeClient others_;
    telephony::CallTable table_{loop_, media_.Client(), journal_, {"192.0.2.7"}};
};

}  // namespace test

#endif
