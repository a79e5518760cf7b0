// Programs that die, and phones that fall silent, while phones are in calls.
#include "tests/telephony/callcontrol/RealCalls.h"

namespace test {
namespace {

bool HungUp(const Baresip& phone) {
    return WaitUntil([&] { return phone.Log().find("session closed") != std::string::npos; });
}

TEST_F(RealCalls, CallControlKilledInACallFreesBothPhonesAtItsNextStart) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    home_->KillCallControl();
    Talk(hall, kitchen);  // sound goes on
    EXPECT_EQ(home_->Rooms(), 1u);
    home_->StartCallControl();
    EXPECT_TRUE(HungUp(hall));
    EXPECT_TRUE(HungUp(kitchen));
    EXPECT_TRUE(WaitUntil([&] { return home_->Rooms() == 0; }));
    EXPECT_TRUE(WaitUntil([&] { return std::filesystem::is_empty(home_->Folder() / "journal"); }));
}

TEST_F(RealCalls, CallControlKilledWhileAPhoneRingsStopsTheRingingAtItsNextStart) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660, {.answers = false});
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Ringing, "kitchen");
    home_->KillCallControl();
    home_->StartCallControl();
    EXPECT_TRUE(HungUp(hall));
    EXPECT_TRUE(HungUp(kitchen));
    client_ = home_->Connect();
    EXPECT_TRUE(client_->Greet().calls.empty());
}

TEST_F(RealCalls, CallControlThatIsStoppedEndsItsCalls) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    EXPECT_EQ(home_->StopCallControl(), 0);
    EXPECT_TRUE(HungUp(hall));
    EXPECT_TRUE(HungUp(kitchen));
    EXPECT_EQ(home_->Rooms(), 0u);
    EXPECT_TRUE(std::filesystem::is_empty(home_->Folder() / "journal"));
    EXPECT_FALSE(std::filesystem::exists(home_->Socket()));
}

TEST_F(RealCalls, ACallSurvivesAProxyThatIsStartedAnew) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    home_->KillProxy();
    EXPECT_EQ(client_->Wait(EventKind::Proxy).state, "lost");
    home_->StartProxy();
    EXPECT_EQ(client_->Wait(EventKind::Proxy).state, "up");
    Talk(hall, kitchen);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    EXPECT_GT(client_->Wait(EventKind::Ended).seconds, 1);
    EXPECT_TRUE(HungUp(hall));
    EXPECT_TRUE(Hears(kitchen, 440));
}

TEST_F(RealCalls, ACallIsHeardAgainAfterRtpengineWasKilled) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    home_->KillMedia();
    home_->StartMedia();
    const Event modified = client_->Wait(EventKind::Modified);
    EXPECT_EQ(modified.state, "active");
    EXPECT_EQ(modified.by, "callcontrol");
    Talk(hall, kitchen);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    EXPECT_EQ(client_->Wait(EventKind::Ended).code, 200);
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_TRUE(Hears(kitchen, 440));
}

TEST_F(RealCalls, WithoutRtpengineACallEndsAtOnceAndSaysWhy) {
    Baresip hall(*home_, "hall", 6100, 440);
    home_->KillMedia();
    EXPECT_EQ(client_->Wait(EventKind::Media).state, "lost");
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.code, 503);
    EXPECT_EQ(ended.reason, "No media: rtpengine does not answer");
    EXPECT_EQ(ended.by, "callcontrol");
}

TEST_F(RealCalls, APhoneThatIsPulledOutEndsTheCallInSeconds) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    kitchen.Program().Signal(SIGSTOP);
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.by, "kitchen");
    EXPECT_EQ(ended.reason, "Nothing is heard of it any more");
    EXPECT_TRUE(HungUp(hall));
    kitchen.Program().Signal(SIGCONT);
}

TEST_F(RealCalls, APhoneThatSendsNoSoundIsNotTakenForLostWhileItAnswers) {
    Baresip hall(*home_, "hall", 6100, 440);
    Sipp mute(*home_, "mute", 6120, "rigid.xml", {.echoes = false});
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["mute"]})");
    client_->Wait(EventKind::Established);
    std::this_thread::sleep_for(std::chrono::seconds(5));
    Talk(mute);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    const Event ended = client_->Wait(EventKind::Ended);
    EXPECT_EQ(ended.by, "command");
    EXPECT_EQ(ended.call.legs.at(1).packetsReceived, 0);
    EXPECT_EQ(mute.Wait(), 0);
}

TEST_F(RealCalls, AHeldCallIsNotTakenForLost) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    client_->Send(R"({"cmd":"hold","id":"1"})");
    client_->Wait(EventKind::Modified);
    std::this_thread::sleep_for(std::chrono::seconds(5));
    client_->Send(R"({"cmd":"status"})");
    const Event snapshot = client_->Wait(EventKind::Snapshot);
    ASSERT_EQ(snapshot.calls.size(), 1u);
    EXPECT_EQ(snapshot.calls[0].state, "held");
}

}  // namespace
}  // namespace test
