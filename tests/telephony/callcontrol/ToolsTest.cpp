// What people see of a running callcontrol: by intercomctl, and by what it leaves for the host.
#include <gmock/gmock.h>

#include "tests/support/process/RunProgram.h"
#include "tests/telephony/callcontrol/RealCalls.h"

using testing::ContainsRegex;
using testing::HasSubstr;

namespace test {
namespace {

class Tools : public RealCalls {
protected:
    ProgramResult Ctl(std::vector<std::string> words) const {
        words.insert(words.begin(), {INTERCOMCTL_PROGRAM, "--call-control", home_->Socket()});
        return RunProgram(words);
    }
    std::string Report(const char* name) const { return ReadFile(home_->Reports() / name); }
    testing::AssertionResult IsMeasured(const std::string& line) const {
        if (WaitUntil([&] {
                return Report("callcontrol.prom").find("intercom_callcontrol_" + line + "\n") !=
                       std::string::npos;
            }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << Report("callcontrol.prom");
    }
};

TEST_F(Tools, PhonesAreListedThereAndAway) {
    const auto driver = home_->Connect();
    driver->Greet(R"([{"user":"kitchen","name":"Big kitchen"}])");
    EXPECT_THAT(Ctl({"phones"}).output, ContainsRegex("\nkitchen  Big kitchen  away   +-  +-  +-\n"));
    {
        Baresip hall(*home_, "hall", 6100, 440);
        const std::string there = Ctl({"phones"}).output;
        EXPECT_THAT(there, ContainsRegex("\nhall  .*  registered  20.*Z  127.0.0.1:6100  +baresip "));
    }
    client_->Wait(EventKind::Lost);
    EXPECT_THAT(Ctl({"phones"}).output,
                ContainsRegex("\nhall  .*  away, unregistered  20.*Z  127.0.0.1:6100  +baresip "));
}

TEST_F(Tools, ACallIsListedAndHungUpByItsId) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(
        WaitUntil([this] { return Ctl({"calls"}).output.find("  0         -     -\n") == std::string::npos; }));
    const std::string calls = Ctl({"calls"}).output;
    EXPECT_THAT(calls, ContainsRegex("\n1 +regular  established  0:00:[0-9][0-9] +hall +caller  up  "
                                     "+PCM[AU]/8000.* +[1-9][0-9]* +[0-9-]+ +-?[0-9]*( ms)?\n"));
    EXPECT_THAT(calls, ContainsRegex("\n1 +regular  established .* kitchen  callee  up "));
    const ProgramResult ended = Ctl({"hangup", "1"});
    EXPECT_EQ(0, ended.status) << ended.errors;
    EXPECT_EQ("Call 1 has ended.\n", ended.output);
    EXPECT_EQ(client_->Wait(EventKind::Ended).by, "command");
    EXPECT_EQ("No call is running.\n", Ctl({"calls"}).output);
}

// Phones report every five seconds (RFC 3550, section 6.2).
TEST_F(Tools, LossAndJitterAreListedWhenThePhonesHaveReportedThem) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    const testing::Matcher<std::string> reported = ContainsRegex("hall +caller .* +[0-9]+ +[0-9]+ ms\n");
    EXPECT_TRUE(WaitUntil([&] { return testing::Matches(reported)(Ctl({"calls"}).output); }))
        << Ctl({"calls"}).output;
}

TEST_F(Tools, ACallThatAPhoneStartedIsHungUpByTheIdThatIsListed) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    hall.Do("dial", "sip:kitchen@intercom");
    const std::string id = client_->Wait(EventKind::PhoneCall).id;
    client_->Wait(EventKind::Established);
    EXPECT_THAT(Ctl({"calls"}).output, HasSubstr("\n" + id + "  "));
    EXPECT_EQ(0, Ctl({"hangup", id}).status);
    EXPECT_EQ(client_->Wait(EventKind::Ended).id, id);
}

TEST_F(Tools, ACallThatIsNotThereIsStatus3) {
    const ProgramResult result = Ctl({"hangup", "no such"});
    EXPECT_EQ(3, result.status);
    EXPECT_EQ("intercomctl: hangup: there is no call \"no such\"; intercomctl calls lists them\n",
              result.errors);
}

TEST_F(Tools, CallsAndStrangersAreCountedForTheHost) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(IsMeasured("running_legs 2"));
    EXPECT_TRUE(IsMeasured("registered_phones 2"));
    EXPECT_TRUE(IsMeasured("rtpengine_up 1"));
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    client_->Wait(EventKind::Ended);
    home_->Connect()->SendRaw("{\"cmd\":\"hel");
    EXPECT_TRUE(IsMeasured("calls_total{kind=\"regular\",outcome=\"completed\"} 1"));
    EXPECT_TRUE(IsMeasured("running_calls 0"));
    EXPECT_TRUE(IsMeasured("clients_closed_total 1"));
    EXPECT_THAT(Report("callcontrol.prom"), ContainsRegex("invites_sent_total [2-9]"));
    EXPECT_EQ("", Report("callcontrol.warnings"));
}

TEST_F(Tools, WhatIsAwayIsAWarningUntilItIsBack) {
    home_->KillMedia();
    EXPECT_TRUE(WaitUntil([this] {
        return Report("callcontrol.warnings") == "rtpengine does not answer: no call can be made\n";
    })) << Report("callcontrol.warnings");
    home_->KillProxy();
    EXPECT_TRUE(WaitUntil([this] {
        return Report("callcontrol.warnings").find("the SIP proxy is away") != std::string::npos;
    })) << Report("callcontrol.warnings");
    home_->StartMedia();
    home_->StartProxy();
    EXPECT_TRUE(WaitUntil([this] { return Report("callcontrol.warnings").empty(); }))
        << Report("callcontrol.warnings");
}

TEST_F(Tools, ReportsAreGoneAfterAnOrderlyEndAndStayAfterAKill) {
    ASSERT_TRUE(IsMeasured("running_calls 0"));
    EXPECT_EQ(0, home_->StopCallControl());
    EXPECT_FALSE(std::filesystem::exists(home_->Reports() / "callcontrol.prom"));
    home_->StartCallControl();
    ASSERT_TRUE(IsMeasured("running_calls 0"));
    home_->KillCallControl();
    EXPECT_TRUE(std::filesystem::exists(home_->Reports() / "callcontrol.prom"));
}

}  // namespace
}  // namespace test
