// Tablets with the pages that people see, in Chromium, beside phones. What somebody does at the tablets
// stands in tests/web/house.mjs; here is what the phones do and hear.
#include "tests/telephony/home/House.h"

namespace test {
namespace {

constexpr unsigned kHall = 101;
constexpr unsigned kDoor = 104;
constexpr unsigned kKitchenTablet = 301;
constexpr unsigned kStudyTablet = 302;

class Tablets : public House {
protected:
    void SetUp() override {
        FindBrowserOrSkip();
        if (!IsSkipped() && !HasFatalFailure()) House::SetUp();
    }

    void TearDown() override {
        people_.reset();
        if (HasFailure()) std::cerr << "---- at the tablets\n" << PeopleLog();
        if (home_) House::TearDown();
    }

    CallHome::Silence Silence() const override { return kPatience; }

    std::string Drivers() const override {
        return PhoneDriver(kHall, "hall", "Hall") +
               PhoneDriver(kDoor, "door", "Front door",
                           "<doorStation>true</doorStation><camera>true</camera>"
                           "<buttons><button><name>Open the door</name><dtmf>9</dtmf></button></buttons>") +
               TabletDriver(kKitchenTablet, "tablet-kitchen", "Kitchen tablet") +
               TabletDriver(kStudyTablet, "tablet-study", "Study tablet");
    }

    static std::string TabletDriver(unsigned id, const std::string& key, const std::string& name) {
        return "<driver><id>" + std::to_string(id) + "</id><name>" + key +
               "</name><library>tablet</library><config><key>" + key + "</key><name>" + name +
               "</name><camera>true</camera><display>true</display><answerWithVideo>true</answerWithVideo>"
               "<ringDoorbell>true</ringDoorbell><mayBeMonitored>true</mayBeMonitored>"
               // However late a busy machine lets a page say that it is alive.
               "<silence>3600000</silence></config></driver>";
    }

    /// Somebody opens the pages of tablets and does what house.mjs says under that name.
    void LetPeople(const std::string& deed) {
        const std::string url = "http://127.0.0.1:" + std::to_string(host_->Port());
        people_ = std::make_unique<Process>(
            Process::Command{{"/usr/bin/env", "node", WEB_TESTS "/house.mjs", url, deed},
                             {{"WAIT_MS", std::to_string(Milliseconds())}},
                             folder_ / "people.log"});
    }
    std::string PeopleLog() const { return ReadFile(folder_ / "people.log"); }
    bool PeopleSay(const std::string& text) const {
        return WaitUntil([&] { return PeopleLog().find(text) != std::string::npos; });
    }
    /// They are content, and all pages are closed.
    testing::AssertionResult PeopleAreDone() {
        if (people_->Wait(kPatience) == 0) return testing::AssertionSuccess();
        return testing::AssertionFailure() << PeopleLog();
    }

    std::unique_ptr<Process> people_;

private:
    static long Milliseconds() {
        return std::chrono::duration_cast<std::chrono::milliseconds>(kPatience).count();
    }
};

TEST_F(Tablets, CallEachOtherWithPicture) {
    EXPECT_TRUE(StateBecomes(kKitchenTablet, 4));
    LetPeople("callEachOther");
    EXPECT_TRUE(StateBecomes(kStudyTablet, 3));
    EXPECT_TRUE(PeopleAreDone());
    EXPECT_TRUE(StateBecomes(kStudyTablet, 4));
    const std::string recent = Command("getRecentContactList");
    EXPECT_NE(recent.find("<aor>tablet-study</aor>"), std::string::npos) << recent;
    EXPECT_TRUE(WaitUntil([&] { return home_->Rooms() == 0; }));
}

TEST_F(Tablets, CallPhones) {
    Baresip hall(*home_, "hall", 6100, 660);
    EXPECT_TRUE(StateBecomes(kHall, 0));
    LetPeople("callThePhone");
    EXPECT_TRUE(StateBecomes(kHall, 3));
    Talk(hall);
    EXPECT_TRUE(Hears(hall, 440));
    EXPECT_TRUE(PeopleSay("hears the phone"));
    hall.Do("hangup");
    EXPECT_TRUE(PeopleAreDone());
}

TEST_F(Tablets, ShowTheDoorAndOpenIt) {
    Baresip door(*home_, "door", 6130, 1000, {.video = true});
    LetPeople("openTheDoor");
    for (const unsigned id : {kDoor, kKitchenTablet, kStudyTablet})
        EXPECT_TRUE(StateBecomes(id, 0));
    door.Do("dial", "sip:doorbell@127.0.0.1");
    EXPECT_TRUE(StateBecomes(kKitchenTablet, 3));
    EXPECT_TRUE(Hears(door, 440));
    EXPECT_TRUE(PeopleSay("opened the door"));
    EXPECT_TRUE(WaitUntil([&] { return door.Digits() == "9"; })) << door.Digits();
    door.Do("hangup");
    EXPECT_TRUE(PeopleAreDone());
}

TEST_F(Tablets, AnnounceToPhonesAndTablets) {
    Baresip hall(*home_, "hall", 6100, 660);
    EXPECT_TRUE(StateBecomes(kHall, 0));
    LetPeople("announce");
    EXPECT_TRUE(Hears(hall, 440));
    EXPECT_TRUE(PeopleSay("all hear it"));
    HangUp(kKitchenTablet);
    EXPECT_TRUE(PeopleAreDone());
}

TEST_F(Tablets, ShowWhoListensToThem) {
    Baresip hall(*home_, "hall", 6100, 660);
    EXPECT_TRUE(StateBecomes(kHall, 0));
    LetPeople("beListenedTo");
    EXPECT_TRUE(StateBecomes(kStudyTablet, 0));
    Command("SIP_MONITOR_CALL", {{"source", "101"}, {"destination", "302"}, {"video", "3"}});
    EXPECT_TRUE(PeopleSay("the sign is there"));
    EXPECT_TRUE(Hears(hall, 880));
    hall.Do("hangup");
    EXPECT_TRUE(PeopleAreDone());
}

TEST_F(Tablets, FreeThePhoneWhenTheirPageIsClosedInACall) {
    Baresip hall(*home_, "hall", 6100, 660);
    EXPECT_TRUE(StateBecomes(kHall, 0));
    LetPeople("disappear");
    EXPECT_TRUE(PeopleAreDone());
    EXPECT_TRUE(WaitUntil([&] { return hall.Log().find("session closed") != std::string::npos; }));
    EXPECT_TRUE(StateBecomes(kHall, 0));
    EXPECT_TRUE(StateBecomes(kKitchenTablet, 4));
}

TEST_F(Tablets, TalkOnWhenTheHostIsKilled) {
    Baresip hall(*home_, "hall", 6100, 660);
    EXPECT_TRUE(StateBecomes(kHall, 0));
    LetPeople("surviveTheHost");
    EXPECT_TRUE(PeopleSay("talking"));
    KillHost();
    EXPECT_TRUE(PeopleSay("alone"));
    Talk(hall);
    EXPECT_TRUE(Hears(hall, 440));
    StartHost();
    EXPECT_TRUE(PeopleAreDone());
    EXPECT_TRUE(StateBecomes(kHall, 0));
}

}  // namespace
}  // namespace test
