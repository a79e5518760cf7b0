// Somebody rings at the door, and somebody gets to the phone.
#include "tests/telephony/home/House.h"

namespace test {
namespace {

constexpr Baresip::Settings kRings{.answers = false};

class Doorbell : public House {
protected:
    void SetUp() override {
        House::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        hall_ = std::make_unique<Baresip>(*home_, "hall", 6100, 440, kRings);
        kitchen_ = std::make_unique<Baresip>(*home_, "kitchen", 6110, 660, kRings);
        attic_ = std::make_unique<Baresip>(*home_, "attic", 6120, 880, kRings);
        door_ = std::make_unique<Baresip>(*home_, "door", 6130, 1000);
        for (const unsigned id : {101u, 102u, 103u, 104u})
            ASSERT_TRUE(StateBecomes(id, 0));
    }

    void TearDown() override {
        for (auto* const phone : {&hall_, &kitchen_, &attic_, &door_})
            phone->reset();
        House::TearDown();
    }

    void Press() const { door_->Do("dial", "sip:doorbell@127.0.0.1"); }

    static bool Rings(const Baresip& phone) {
        return WaitUntil([&] { return phone.Log().find("Incoming call") != std::string::npos; });
    }
    static bool HasEnded(const Baresip& phone) {
        return WaitUntil([&] { return phone.Log().find("session closed") != std::string::npos; });
    }
    bool TheAtticHasRung() const { return attic_->Log().find("Incoming call") != std::string::npos; }

    std::unique_ptr<Baresip> hall_, kitchen_, attic_, door_;
};

TEST_F(Doorbell, RingsAtWhoChimesAndTheFirstThatAnswersTalksToTheDoor) {
    Press();
    EXPECT_TRUE(StateBecomes(101, 2));
    EXPECT_TRUE(StateBecomes(102, 2));
    EXPECT_TRUE(StateBecomes(104, 1));
    kitchen_->Do("accept");
    EXPECT_TRUE(StateBecomes(102, 3));
    EXPECT_TRUE(StateBecomes(101, 0));
    Talk(*door_, *kitchen_);
    EXPECT_TRUE(Hears(*door_, 660));
    EXPECT_TRUE(Hears(*kitchen_, 1000));
    EXPECT_FALSE(TheAtticHasRung());
    door_->Do("hangup");
    EXPECT_TRUE(StateBecomes(102, 0));
    EXPECT_TRUE(WaitUntil([&] { return home_->Rooms() == 0; }));
}

TEST_F(Doorbell, AGroupOfThatNameIsWhoRings) {
    EXPECT_NE(Command("addGroup", {{"name", "doorbell"}}).find("<groupId>1</groupId>"), std::string::npos);
    EXPECT_TRUE(WaitUntil([this] { return ProxyLog().find("taken over") != std::string::npos; })) << Logs();
    const std::size_t before = ProxyLog().size();
    Command("setGroupState", {{"groupId", "1"}, {"name", "doorbell"}, {"xml", "<ids><id>103</id></ids>"}});
    EXPECT_TRUE(WaitUntil([&] { return ProxyLog().find("taken over", before) != std::string::npos; }))
        << Logs();
    Press();
    EXPECT_TRUE(StateBecomes(103, 2));
    EXPECT_TRUE(StateBecomes(101, 0));
    HangUp(103);
    EXPECT_TRUE(StateBecomes(104, 0));
}

TEST_F(Doorbell, WhoIsNotToBeDisturbedDoesNotRing) {
    Set(101, "dnd", "true");
    EXPECT_TRUE(WaitUntil([this] { return ProxyLog().find("taken over") != std::string::npos; })) << Logs();
    Press();
    EXPECT_TRUE(StateBecomes(102, 2));
    EXPECT_TRUE(StateBecomes(101, 0));
    EXPECT_EQ(hall_->Log().find("Incoming call"), std::string::npos);
}

TEST_F(Doorbell, RingsWithoutCallControlToo) {
    home_->KillCallControl();
    Press();
    EXPECT_TRUE(Rings(*hall_));
    EXPECT_TRUE(Rings(*kitchen_));
    hall_->Do("accept");
    EXPECT_TRUE(HasEnded(*kitchen_));
    Talk(*door_, *hall_);
    EXPECT_TRUE(Hears(*door_, 440));
    EXPECT_TRUE(Hears(*hall_, 1000));
}

TEST_F(Doorbell, RingsWhenCallControlHangsAndIsNotDisturbedByWhatItDoesLater) {
    kill(home_->CallControlId(), SIGSTOP);
    Press();
    EXPECT_TRUE(Rings(*hall_));
    EXPECT_TRUE(Rings(*kitchen_));
    hall_->Do("accept");
    kill(home_->CallControlId(), SIGCONT);
    Talk(*door_, *hall_);
    EXPECT_TRUE(Hears(*door_, 440));
    EXPECT_TRUE(Hears(*hall_, 1000));
    EXPECT_TRUE(StateBecomes(104, 0));  // as far as call control knows
    EXPECT_TRUE(WaitUntil([&] { return home_->Rooms() == 0; }));
}

TEST_F(Doorbell, IsAlsoRungByAnApplicationAsAGroupIs) {
    Command("SIP_EXTERNAL_CALL", {{"source", "104"}, {"destination", "doorbell@127.0.0.1"}, {"video", "3"}});
    EXPECT_TRUE(StateBecomes(101, 2));
    EXPECT_TRUE(StateBecomes(102, 2));
    hall_->Do("hangup");
    EXPECT_TRUE(StateBecomes(101, 0));
    kitchen_->Do("accept");
    EXPECT_TRUE(StateBecomes(104, 3));
}

}  // namespace
}  // namespace test
