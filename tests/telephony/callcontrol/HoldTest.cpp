// Changes of calls that are up.
#include "tests/telephony/callcontrol/RealCalls.h"

namespace test {
namespace {

// No packet for a second: one under way would be recorded.
bool FallsSilent(const Baresip& phone) {
    return WaitUntil([&] {
        const double before = phone.Sent().Seconds();
        ASecondPasses();
        return phone.Sent().Seconds() == before;
    });
}

TEST_F(RealCalls, AHeldCallIsSilentAndGoesOnWhenResumed) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    client_->Send(R"({"cmd":"hold","id":"1"})");
    const Event held = client_->Wait(EventKind::Modified);
    EXPECT_EQ(held.state, "held");
    EXPECT_EQ(held.by, "command");
    EXPECT_TRUE(FallsSilent(hall));
    EXPECT_TRUE(FallsSilent(kitchen));
    client_->Send(R"({"cmd":"resume","id":"1"})");
    EXPECT_EQ(client_->Wait(EventKind::Modified).state, "active");
    Talk(hall, kitchen);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    EXPECT_EQ(client_->Wait(EventKind::Ended).code, 200);
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_TRUE(Hears(kitchen, 440));
}

TEST_F(RealCalls, APhoneThatHoldsAndResumesDoesNotLiftAHoldThatWasOrdered) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    client_->Send(R"({"cmd":"hold","id":"1"})");
    client_->Wait(EventKind::Modified);
    kitchen.Do("hold");
    kitchen.Do("resume");
    ASecondPasses();
    client_->Send(R"({"cmd":"status"})");
    EXPECT_EQ(client_->Wait(EventKind::Snapshot).calls.at(0).state, "held");
    client_->Send(R"({"cmd":"resume","id":"1"})");
    EXPECT_EQ(client_->Wait(EventKind::Modified).state, "active");
    Talk(hall, kitchen);
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_TRUE(Hears(kitchen, 440));
}

TEST_F(RealCalls, APhoneThatTakesNoReinviteIsHeldOnTheWay) {
    Sipp rigid(*home_, "rigid", 6120, "rigid.xml");
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    const auto driver = home_->Connect();
    driver->Greet(R"([{"user":"rigid","hold":"gate"}])");
    client_->Send(R"({"cmd":"call","id":"1","from":"kitchen","to":["rigid"]})");
    client_->Wait(EventKind::Established);
    client_->Send(R"({"cmd":"hold","id":"1"})");
    EXPECT_EQ(client_->Wait(EventKind::Modified).state, "held");
    EXPECT_TRUE(FallsSilent(kitchen));
    client_->Send(R"({"cmd":"resume","id":"1"})");
    EXPECT_EQ(client_->Wait(EventKind::Modified).state, "active");
    Talk(kitchen);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    client_->Wait(EventKind::Ended);
    EXPECT_EQ(rigid.Wait(), 0);
    EXPECT_TRUE(Hears(kitchen, 660));
}

TEST_F(RealCalls, HoldAtThePhoneReachesTheOtherEnd) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    client_->Send(R"({"cmd":"call","id":"1","from":"hall","to":["kitchen"]})");
    client_->Wait(EventKind::Established);
    kitchen.Do("hold");
    const Event held = client_->Wait(EventKind::Modified);
    EXPECT_EQ(held.state, "held");
    EXPECT_EQ(held.by, "kitchen");
    EXPECT_TRUE(FallsSilent(kitchen));
    kitchen.Do("resume");
    EXPECT_EQ(client_->Wait(EventKind::Modified).state, "active");
    Talk(hall, kitchen);
    client_->Send(R"({"cmd":"hangup","id":"1"})");
    client_->Wait(EventKind::Ended);
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_TRUE(Hears(kitchen, 440));
}

}  // namespace
}  // namespace test
