// What call control knows of phones and calls, as it tells clients and the host.
#include "telephony/callcontrol/Reporter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/process/TempFolder.h"
#include "tests/telephony/callcontrol/Fakes.h"

namespace test {
namespace {

using namespace std::chrono_literals;
using telephony::EventKind;
using telephony::RegisteredPhone;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Reporting : public testing::Test {
protected:
    Reporting() {
        table_.SetSignalling(&sip_);
        Do(R"({"cmd":"hello","version":1,"all":true,"devices":[{"user":"hall","name":"Hall"}]})");
        Settle();
    }

    void Do(const std::string& line) { table_.Execute(client_, telephony::ParseCommand(line)); }
    void Settle() { loop_.Advance(10ms); }
    void Call() {
        Do(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
        Settle();
    }
    void Answers(const std::string& user) {
        sip_.Leg(user).events->OnAnswer(PhoneSdp());
        Settle();
    }
    // The value of the family's sample with these labels; -1 when there is none.
    long Value(const std::string& name, const std::string& labels = "") const {
        for (const telephony::Metric& metric : MetricsOf(table_, {1, 2, 3, 4, 5}))
            for (const auto& sample : metric.samples)
                if (metric.name == name && sample.labels == labels) return static_cast<long>(sample.value);
        return -1;
    }
    static std::string Outcome(const std::string& outcome) {
        return R"(kind="regular",outcome=")" + outcome + "\"";
    }

    FakeLoop loop_;
    FakeMedia media_{loop_};
    TempFolder folder_;
    telephony::Journal journal_{folder_ / "journal"};
    FakeSip sip_;
    FakeClient client_;
    telephony::CallTable table_{loop_, media_.Client(), journal_, {"192.0.2.7"}};
};

TEST_F(Reporting, APhoneThatADriverSpeaksForIsAwayUntilItRegisters) {
    const telephony::Event before = table_.Snapshot();
    EXPECT_THAT(before.phones, IsEmpty());
    ASSERT_EQ(before.away.size(), 1u);
    EXPECT_EQ(before.away[0].user, "hall");
    EXPECT_EQ(before.away[0].name, "Hall");
    EXPECT_EQ(before.away[0].since, 0);
    table_.SetRegistered({"hall", "sip:hall@192.0.2.1", "X", 1000});
    const telephony::Event after = table_.Snapshot();
    EXPECT_THAT(after.away, IsEmpty());
    ASSERT_EQ(after.phones.size(), 1u);
    EXPECT_EQ(after.phones[0].name, "Hall");
}

TEST_F(Reporting, APhoneThatIsLostStaysKnownWithTheReason) {
    table_.SetRegistered({"attic", "sip:attic@192.0.2.1", "X", 1000});
    table_.SetLost("attic", "expired");
    const auto away = table_.Snapshot().away;
    ASSERT_EQ(away.size(), 2u);
    EXPECT_EQ(away[0].user, "attic");
    EXPECT_EQ(away[0].reason, "expired");
    EXPECT_EQ(away[0].contact, "sip:attic@192.0.2.1");
    EXPECT_GT(away[0].since, 1000);
    table_.SetRegistered({"attic", "sip:attic@192.0.2.1", "X", 2000});
    EXPECT_EQ(table_.Snapshot().away.size(), 1u);
    EXPECT_EQ(table_.Snapshot().phones.at(0).since, 2000);
}

TEST_F(Reporting, AProxyThatTellsAgainWhoIsThereDoesNotRegisterAnybodyAnew) {
    table_.SetRegistered({"hall", "sip:hall@192.0.2.1", "X", 1000});
    table_.SetRegistered({"hall", "sip:hall@192.0.2.1", "X", 2000});
    EXPECT_EQ(table_.Snapshot().phones.at(0).since, 1000);
    table_.SetRegistered({"hall", "sip:hall@192.0.2.99", "X", 3000});
    EXPECT_EQ(table_.Snapshot().phones.at(0).since, 3000);
}

TEST_F(Reporting, RunningCallsAndTheirLegsAreCounted) {
    Call();
    EXPECT_EQ(Value("running_calls"), 1);
    EXPECT_EQ(Value("running_legs"), 2);
    table_.SetRegistered({"kitchen", "sip:k@192.0.2.1", "X", 1});
    EXPECT_EQ(Value("registered_phones"), 1);
    EXPECT_EQ(Value("away_phones"), 1);
    Do(R"({"cmd":"hangup","id":"1"})");
    Settle();
    EXPECT_EQ(Value("running_calls"), 0);
    EXPECT_EQ(Value("running_legs"), 0);
}

TEST_F(Reporting, AnEndedCallIsCountedByWhatBecameOfIt) {
    Call();
    Answers("hall");
    Answers("kitchen");
    Do(R"({"cmd":"hangup","id":"1"})");
    Settle();
    EXPECT_EQ(Value("calls_total", Outcome("completed")), 1);
    for (const auto& [code, outcome] :
         {std::pair(486, "busy"), std::pair(603, "declined"), std::pair(408, "unanswered"),
          std::pair(480, "unavailable"), std::pair(503, "no_media"), std::pair(488, "failed")}) {
        Call();
        Answers("hall");
        sip_.Leg("kitchen").events->OnFailed(code, "So it is");
        Settle();
        EXPECT_EQ(Value("calls_total", Outcome(outcome)), 1) << outcome;
    }
    Call();
    Do(R"({"cmd":"hangup","id":"1"})");
    Settle();
    EXPECT_EQ(Value("calls_total", Outcome("cancelled")), 1);
    Call();
    Answers("hall");
    Answers("kitchen");
    table_.Clear("Call control ends");
    Settle();
    EXPECT_EQ(Value("calls_total", Outcome("broken")), 1);
    EXPECT_EQ(Value("calls_total", Outcome("completed")), 1);
}

TEST(CallCounts, PacketsOfEndedCallsAddUpAndNoReportIsNoLoss) {
    telephony::CallCounts counts;
    telephony::Event ended;
    ended.call.legs.resize(2);
    ended.call.legs[0].packetsReceived = 100;
    ended.call.legs[0].packetsLost = 3;
    ended.call.legs[1].packetsReceived = 90;
    counts.Add(ended);
    counts.Add(ended);
    EXPECT_EQ(counts.packetsReceived, 380u);
    EXPECT_EQ(counts.packetsLost, 6u);
}

TEST_F(Reporting, WhatOthersHaveCountedIsTold) {
    EXPECT_EQ(Value("invites_sent_total"), 1);
    EXPECT_EQ(Value("rtpengine_errors_total", R"(reason="refused")"), 2);
    EXPECT_EQ(Value("rtpengine_errors_total", R"(reason="no_answer")"), 3);
    EXPECT_EQ(Value("clients_refused_total"), 4);
    EXPECT_EQ(Value("clients_closed_total"), 5);
}

TEST_F(Reporting, RefusalsAndSilencesOfRtpengineAreCountedApart) {
    media_.refusals["offer"] = "not today";
    Call();
    EXPECT_EQ(media_.Client().Refusals(), 1u);
    EXPECT_EQ(media_.Client().Silences(), 0u);
    media_.away = true;
    loop_.Advance(3500ms);
    EXPECT_EQ(media_.Client().Refusals(), 1u);
    EXPECT_GE(media_.Client().Silences(), 1u);
}

TEST_F(Reporting, WhatIsAwayIsAWarning) {
    EXPECT_EQ(Value("rtpengine_up"), 1);
    EXPECT_EQ(Value("proxy_up"), 0);
    EXPECT_THAT(WarningsOf(table_, ""), ElementsAre(HasSubstr("the SIP proxy is away")));
    table_.SetProxyUp(true);
    EXPECT_THAT(WarningsOf(table_, ""), IsEmpty());
    media_.away = true;
    loop_.Advance(4s);
    EXPECT_THAT(WarningsOf(table_, "no space left"),
                ElementsAre(HasSubstr("rtpengine does not answer"), HasSubstr("(no space left)")));
}

TEST_F(Reporting, TheHostIsToldWithinASecond) {
    const telephony::Reporter reporter(loop_, folder_ / "reports", table_, journal_,
                                       [] { return telephony::OtherCounts{}; });
    loop_.Advance(1s);
    EXPECT_THAT(ReadFile(folder_ / "reports" / "callcontrol.warnings"), HasSubstr("the SIP proxy is away"));
    EXPECT_THAT(ReadFile(folder_ / "reports" / "callcontrol.prom"),
                HasSubstr("\nintercom_callcontrol_running_calls 0\n"));
    table_.SetProxyUp(true);
    loop_.Advance(1s);
    EXPECT_EQ(ReadFile(folder_ / "reports" / "callcontrol.warnings"), "");
}

}  // namespace
}  // namespace test
