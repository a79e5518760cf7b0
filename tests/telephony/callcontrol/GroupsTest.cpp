// Several are called and the first that answers has the call; and calls that phones start.
#include "tests/telephony/callcontrol/RealCalls.h"

namespace test {
namespace {

TEST_F(RealCalls, TheFirstThatAnswersHasTheCallAndTheOthersStopRinging) {
    Baresip door(*home_, "door", 6100, 440);
    Baresip hall(*home_, "hall", 6110, 660, {.answers = false});
    Baresip kitchen(*home_, "kitchen", 6120, 880, {.answers = false});
    client_->Send(R"({"cmd":"call","id":"1","from":"door","to":["away","hall","kitchen"]})");
    client_->WaitForEach(
        {{EventKind::LegDown, "away"}, {EventKind::Ringing, "hall"}, {EventKind::Ringing, "kitchen"}});
    kitchen.Do("accept");
    const Event down = client_->Wait(EventKind::LegDown);
    EXPECT_EQ(down.leg, "hall");
    EXPECT_EQ(down.reason, "Call completed elsewhere");
    client_->Wait(EventKind::Established);
    Talk(door, kitchen);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    client_->Wait(EventKind::Ended);
    EXPECT_TRUE(Hears(door, 880));
    EXPECT_TRUE(Hears(kitchen, 440));
    EXPECT_NE(hall.Log().find("session closed"), std::string::npos);
}

TEST_F(RealCalls, AGroupThatNobodyAnswersEndsWhenTheLastHasRefused) {
    Baresip door(*home_, "door", 6100, 440);
    Baresip hall(*home_, "hall", 6110, 660, {.answers = false});
    Baresip kitchen(*home_, "kitchen", 6120, 880, {.answers = false});
    client_->Send(R"({"cmd":"call","id":"1","from":"door","to":["hall","kitchen"]})");
    client_->WaitForEach({{EventKind::Ringing, "hall"}, {EventKind::Ringing, "kitchen"}});
    hall.Do("hangup");
    EXPECT_EQ(client_->Wait(EventKind::LegDown).leg, "hall");
    kitchen.Do("hangup");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.by, "kitchen");
    EXPECT_GE(ended.code, 400);
}

TEST_F(RealCalls, WhoIsTooLateIsToldThatSomebodyElseHasAnswered) {
    Baresip door(*home_, "door", 6100, 440);
    Sipp hall(*home_, "hall", 6110, "elsewhere.xml");
    Baresip kitchen(*home_, "kitchen", 6120, 880, {.answers = false});
    door.Do("dial", "sip:doorbell@intercom");
    EXPECT_EQ(client_->Wait(EventKind::PhoneCall).call.called, "doorbell");
    client_->WaitForEach({{EventKind::Ringing, "hall"}, {EventKind::Ringing, "kitchen"}});
    kitchen.Do("accept");
    client_->Wait(EventKind::Established);
    EXPECT_EQ(hall.Wait(), 0);
}

TEST_F(RealCalls, OneThatDeclinesLeavesTheOthersRinging) {
    Baresip door(*home_, "door", 6100, 440);
    Sipp hall(*home_, "hall", 6110, "decline.xml");
    Baresip kitchen(*home_, "kitchen", 6120, 880, {.answers = false});
    client_->Send(R"({"cmd":"call","id":"1","from":"door","to":["hall","kitchen"]})");
    EXPECT_EQ(client_->Wait(EventKind::LegDown, "hall").code, 603);
    kitchen.Do("accept");
    client_->Wait(EventKind::Established);
    EXPECT_TRUE(Hears(door, 880));
}

TEST_F(RealCalls, AllThatDeclineEndTheCallAndThePhoneThatCallsHearsIt) {
    Baresip door(*home_, "door", 6100, 440);
    Sipp hall(*home_, "hall", 6110, "decline.xml");
    Sipp kitchen(*home_, "kitchen", 6120, "decline.xml");
    door.Do("dial", "sip:doorbell@intercom");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.code, 603);
    EXPECT_EQ(ended.reason, "Decline");
    EXPECT_TRUE(WaitUntil([&] { return door.Log().find("603 Decline") != std::string::npos; }));
}

TEST_F(RealCalls, ACallThatAPhoneStartsIsKnownAndHeard) {
    Baresip hall(*home_, "hall", 6100, 440);
    Linphone kitchen(*home_, "kitchen", 6110, 600);
    hall.Do("dial", "sip:kitchen@intercom");
    const Event started = client_->Wait(EventKind::PhoneCall);
    EXPECT_TRUE(started.call.byPhone);
    EXPECT_EQ(started.call.legs.at(0).user, "hall");
    EXPECT_EQ(started.call.legs.at(1).user, "kitchen");
    client_->Wait(EventKind::Established);
    Talk(hall, kitchen);
    hall.Do("hangup");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.id, started.id);
    EXPECT_EQ(ended.by, "hall");
    EXPECT_TRUE(Hears(hall, 600));
    EXPECT_TRUE(Hears(kitchen, 440));
}

TEST_F(RealCalls, APhoneThatRingsTheDoorbellReachesWhoAnswersFirst) {
    Baresip door(*home_, "door", 6100, 440);
    Baresip hall(*home_, "hall", 6110, 660, {.answers = false});
    Baresip kitchen(*home_, "kitchen", 6120, 880, {.answers = false});
    door.Do("dial", "sip:doorbell@intercom");
    EXPECT_EQ(client_->Wait(EventKind::PhoneCall).call.legs.size(), 4u);
    client_->WaitForEach({{EventKind::Ringing, "hall"}, {EventKind::Ringing, "kitchen"}});
    hall.Do("accept");
    client_->Wait(EventKind::Established);
    Talk(door, hall);
    client_->Send(R"({"cmd":"hangup","id":"phone-1"})");
    EXPECT_EQ(client_->Wait(EventKind::Ended).by, "command");
    EXPECT_TRUE(Hears(door, 660));
}

TEST_F(RealCalls, APhoneThatGivesUpStopsTheRinging) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660, {.answers = false});
    hall.Do("dial", "sip:kitchen@intercom");
    client_->Wait(EventKind::Ringing, "kitchen");
    hall.Do("hangup");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.code, 487);
    EXPECT_EQ(ended.by, "hall");
    EXPECT_TRUE(WaitUntil([&] { return kitchen.Log().find("session closed") != std::string::npos; }));
}

TEST_F(RealCalls, APhoneHearsWhyItCannotReachAnother) {
    Baresip hall(*home_, "hall", 6100, 440);
    hall.Do("dial", "sip:nobody@intercom");
    EXPECT_EQ(client_->Wait(EventKind::Ended).code, 480);
    EXPECT_TRUE(WaitUntil([&] { return hall.Log().find("480") != std::string::npos; }));
}

}  // namespace
}  // namespace test
