// Calls in which only one end is heard.
#include "tests/telephony/callcontrol/RealCalls.h"

namespace test {
namespace {

TEST_F(RealCalls, NobodyIsMonitoredWhoseDriverDoesNotAllowIt) {
    Baresip watcher(*home_, "watcher", 6100, 440);
    Baresip watched(*home_, "watched", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","kind":"monitor","from":"watcher","to":["watched"]})");
    EXPECT_EQ(client_->Wait(EventKind::Refused).reason, "call: \"watched\" may not be monitored");
    client_->Send(R"({"cmd":"status"})");
    EXPECT_TRUE(client_->Wait(EventKind::Snapshot).calls.empty());
}

TEST_F(RealCalls, TheWatcherHearsAndIsNotHeard) {
    Baresip watcher(*home_, "watcher", 6100, 440);
    Baresip watched(*home_, "watched", 6110, 660);
    const auto driver = home_->Connect();
    driver->Greet(R"([{"user":"watched","mayBeMonitored":true}])");
    client_->Send(R"({"cmd":"call","id":"1","kind":"monitor","from":"watcher","to":["watched"]})");
    client_->Wait(EventKind::Established);
    Talk(watcher);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_GT(ended.call.legs.at(1).packetsReceived, 40);
    EXPECT_LT(ended.call.legs.at(0).packetsReceived, 5);
    EXPECT_TRUE(Hears(watcher, 660));
}

// It sends all the same, as its script knows no direction; the gate keeps that from being heard.
TEST_F(RealCalls, AWatcherThatSendsAllTheSameIsNotHeard) {
    Sipp watcher(*home_, "watcher", 6120, "rigid.xml");
    Baresip watched(*home_, "watched", 6110, 660);
    const auto driver = home_->Connect();
    driver->Greet(R"([{"user":"watched","mayBeMonitored":true}])");
    client_->Send(R"({"cmd":"call","id":"1","kind":"monitor","from":"watcher","to":["watched"]})");
    client_->Wait(EventKind::Established);
    Talk(watcher);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_GT(ended.call.legs.at(0).packetsReceived, 40);
    EXPECT_TRUE(HearsNothing(watched));
}

TEST_F(RealCalls, AllHearTheSpeakerAndTheSpeakerHearsNobody) {
    Baresip speaker(*home_, "speaker", 6100, 440);
    Baresip hall(*home_, "hall", 6110, 660);
    Baresip kitchen(*home_, "kitchen", 6120, 880);
    Linphone office(*home_, "office", 6130, 600);
    client_->Send(
        R"({"cmd":"call","id":"1","kind":"broadcast","from":"speaker","to":["hall","kitchen","office","away"]})");
    client_->WaitForEach({{EventKind::LegDown, "away"},
                          {EventKind::LegUp, "hall"},
                          {EventKind::LegUp, "kitchen"},
                          {EventKind::LegUp, "office"}});
    Talk(hall, kitchen, office);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.code, 200);
    EXPECT_EQ(ended.call.legs.at(4).code, 480);
    EXPECT_TRUE(Hears(hall, 440));
    EXPECT_TRUE(Hears(kitchen, 440));
    EXPECT_TRUE(Hears(office, 440));
    EXPECT_TRUE(HearsNothing(speaker));
}

TEST_F(RealCalls, AListenerLeavesABroadcastAndTheOthersGoOn) {
    Baresip speaker(*home_, "speaker", 6100, 440);
    Baresip hall(*home_, "hall", 6110, 660);
    Baresip kitchen(*home_, "kitchen", 6120, 880);
    client_->Send(R"({"cmd":"call","id":"1","kind":"broadcast","from":"speaker","to":["hall","kitchen"]})");
    client_->WaitForEach({{EventKind::LegUp, "hall"}, {EventKind::LegUp, "kitchen"}});
    hall.Do("hangup");
    EXPECT_EQ(client_->Wait(EventKind::LegDown).leg, "hall");
    Talk(kitchen);
    speaker.Do("hangup");
    EXPECT_EQ(client_->Wait(EventKind::Ended).by, "speaker");
    EXPECT_TRUE(Hears(kitchen, 440));
}

}  // namespace
}  // namespace test
