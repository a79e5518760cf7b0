// A phone of each maker in every part that a phone can play in a call of the agent's: it is heard where it
// should be, hears what it should, and nobody else does.
#include "tests/telephony/home/House.h"

namespace test {
namespace {

constexpr int kOwn = 440;  // the voices, as tones
constexpr int kHall = 660;
constexpr int kAttic = 880;

/// A phone with its voice at kOwn, at port 6110.
class PhoneOfAMaker {
public:
    PhoneOfAMaker(const std::string& maker, CallHome& home, const std::string& user)
        : maker_(maker), home_(home), user_(user) {
        if (maker == "baresip") baresip_ = std::make_unique<Baresip>(home, user, 6110, kOwn);
        if (maker == "linphone") linphone_ = std::make_unique<Linphone>(home, user, 6110, kOwn);
    }

    void WaitForCall() {
        if (maker_ == "sipp") sipp_ = std::make_unique<Sipp>(home_, user_, 6110, kOwn);
    }
    void Dial(const std::string& name) {
        if (baresip_) baresip_->Do("dial", "sip:" + name + "@127.0.0.1");
        if (linphone_) linphone_->Do("call sip:" + name + "@127.0.0.1");
        if (maker_ == "sipp") sipp_ = std::make_unique<Sipp>(home_, user_, 6110, kOwn, name);
    }
    Sound Sent() const {
        if (baresip_) return baresip_->Sent();
        return linphone_ ? linphone_->Sent() : sipp_->Sent();
    }

private:
    const std::string maker_;
    CallHome& home_;
    const std::string user_;
    std::unique_ptr<Baresip> baresip_;
    std::unique_ptr<Linphone> linphone_;
    std::unique_ptr<Sipp> sipp_;
};

class Makers : public House, public testing::WithParamInterface<std::string> {
protected:
    void SetUp() override {
        House::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        hall_ = std::make_unique<Baresip>(*home_, "hall", 6100, kHall);
        attic_ = std::make_unique<Baresip>(*home_, "attic", 6120, kAttic);
        ASSERT_TRUE(StateBecomes(101, 0));
        ASSERT_TRUE(StateBecomes(103, 0));
    }

    void TearDown() override {
        phone_.reset();
        hall_.reset();
        attic_.reset();
        House::TearDown();
    }

    /// 102, which may be monitored.
    void StartThePhone() {
        phone_ = std::make_unique<PhoneOfAMaker>(GetParam(), *home_, "kitchen");
        phone_->WaitForCall();
        ASSERT_TRUE(StateBecomes(102, 0));
    }
    void Monitor(const std::string& watcher, const std::string& watched) const {
        Command("SIP_MONITOR_CALL", {{"source", watcher}, {"destination", watched}, {"video", "3"}});
    }
    void Broadcast(const std::string& speaker, const std::string& one, const std::string& other) const {
        Command("SIP_BROADCAST_CALL",
                {{"source", speaker},
                 {"destinations", "<ids><id>" + one + "</id><id>" + other + "</id></ids>"},
                 {"video", "3"}});
    }

    std::unique_ptr<Baresip> hall_, attic_;
    std::unique_ptr<PhoneOfAMaker> phone_;
};

TEST_P(Makers, Calls) {
    StartThePhone();
    Call(102, 101);
    EXPECT_TRUE(StateBecomes(102, 3));
    Talk(*phone_, *hall_);
    EXPECT_TRUE(Hears(*phone_, kHall));
    EXPECT_TRUE(Hears(*hall_, kOwn));
}

TEST_P(Makers, IsCalled) {
    StartThePhone();
    Call(101, 102);
    EXPECT_TRUE(StateBecomes(102, 3));
    Talk(*phone_, *hall_);
    EXPECT_TRUE(Hears(*phone_, kHall));
    EXPECT_TRUE(Hears(*hall_, kOwn));
    HangUp(101);
    EXPECT_TRUE(StateBecomes(102, 0));
}

TEST_P(Makers, RingsAtTheDoor) {
    phone_ = std::make_unique<PhoneOfAMaker>(GetParam(), *home_, "kitchen");
    phone_->Dial("doorbell");
    EXPECT_TRUE(StateBecomes(101, 3));
    EXPECT_TRUE(StateBecomes(102, 3));
    Talk(*phone_, *hall_);
    EXPECT_TRUE(Hears(*phone_, kHall));
    EXPECT_TRUE(Hears(*hall_, kOwn));
    hall_->Do("hangup");
    EXPECT_TRUE(StateBecomes(102, 0));
}

TEST_P(Makers, Watches) {
    EXPECT_TRUE(StateBecomes(103, 0));
    StartThePhone();
    Monitor("102", "103");
    EXPECT_TRUE(StateBecomes(102, 3));
    Talk(*phone_);
    EXPECT_TRUE(Hears(*phone_, kAttic));
    EXPECT_TRUE(HearsNothing(*attic_));
}

TEST_P(Makers, IsWatched) {
    StartThePhone();
    Monitor("101", "102");
    EXPECT_TRUE(StateBecomes(101, 3));
    Talk(*hall_);
    EXPECT_TRUE(Hears(*hall_, kOwn));
    EXPECT_TRUE(HearsNothing(*phone_));
}

TEST_P(Makers, SpeaksToMany) {
    StartThePhone();
    Broadcast("102", "101", "103");
    EXPECT_TRUE(StateBecomes(101, 3));
    EXPECT_TRUE(StateBecomes(103, 3));
    Talk(*hall_, *attic_);
    EXPECT_TRUE(Hears(*hall_, kOwn));
    EXPECT_TRUE(Hears(*attic_, kOwn));
    EXPECT_TRUE(HearsNothing(*phone_));
}

TEST_P(Makers, IsOneOfManyWhoAreSpokenTo) {
    StartThePhone();
    Broadcast("101", "102", "103");
    EXPECT_TRUE(StateBecomes(102, 3));
    EXPECT_TRUE(StateBecomes(103, 3));
    Talk(*phone_, *attic_);
    EXPECT_TRUE(Hears(*phone_, kHall));
    EXPECT_TRUE(Hears(*attic_, kHall));
    EXPECT_TRUE(HearsNothing(*hall_));
}

INSTANTIATE_TEST_SUITE_P(, Makers, testing::Values("baresip", "linphone", "sipp"),
                         [](const auto& maker) { return maker.param; });

}  // namespace
}  // namespace test
