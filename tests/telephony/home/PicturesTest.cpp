// Pictures of phones with cameras, in calls that the agent sets up and in those of the door.
#include "tests/telephony/home/House.h"

namespace test {
namespace {

constexpr Baresip::Settings kCamera{.video = true};

class Pictures : public House {
protected:
    std::string Drivers() const override {
        const std::string camera =
            "<camera>true</camera><display>true</display><answerWithVideo>true</answerWithVideo>";
        return PhoneDriver(101, "hall", "Hall", camera + "<ringDoorbell>true</ringDoorbell>") +
               PhoneDriver(104, "door", "Front door",
                           camera + "<doorStation>true</doorStation><mayBeMonitored>true</mayBeMonitored>");
    }

    static testing::AssertionResult Sees(const Baresip& phone) {
        if (WaitUntil([&] { return phone.Pictures() > 10; })) return testing::AssertionSuccess();
        return testing::AssertionFailure() << phone.Pictures() << " packets of pictures";
    }
};

TEST_F(Pictures, PassBothWaysInACallWithVideo) {
    Baresip hall(*home_, "hall", 6100, 440, kCamera);
    Baresip door(*home_, "door", 6110, 660, kCamera);
    EXPECT_TRUE(StateBecomes(101, 0));
    EXPECT_TRUE(StateBecomes(104, 0));
    Command("SIP_REGULAR_CALL", {{"source", "101"}, {"destination", "104"}, {"video", "0"}, {"ring", "1"}});
    EXPECT_TRUE(Sees(hall));
    EXPECT_TRUE(Sees(door));
}

TEST_F(Pictures, OfTheDoorAreSeenByWhoAnswersIt) {
    Baresip hall(*home_, "hall", 6100, 440, kCamera);
    Baresip door(*home_, "door", 6110, 660, kCamera);
    EXPECT_TRUE(StateBecomes(101, 0));
    EXPECT_TRUE(StateBecomes(104, 0));
    door.Do("dial", "sip:doorbell@127.0.0.1");
    EXPECT_TRUE(StateBecomes(101, 3));
    EXPECT_TRUE(Sees(hall));
    EXPECT_TRUE(Hears(hall, 660));
}

TEST_F(Pictures, OfAWatchedPhoneGoToTheWatcherAndNoneGoBack) {
    Baresip hall(*home_, "hall", 6100, 440, kCamera);
    Baresip door(*home_, "door", 6110, 660, kCamera);
    EXPECT_TRUE(StateBecomes(101, 0));
    EXPECT_TRUE(StateBecomes(104, 0));
    Command("SIP_MONITOR_CALL", {{"source", "101"}, {"destination", "104"}, {"video", "0"}});
    EXPECT_TRUE(Sees(hall));
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_EQ(door.Pictures(), 0);
    EXPECT_TRUE(HearsNothing(door));
}

// The button's digit reaches the station as if somebody at the other end had pressed it.
class DoorOpener : public House {
protected:
    std::string Drivers() const override {
        return PhoneDriver(101, "hall", "Hall", "<ringDoorbell>true</ringDoorbell>") +
               PhoneDriver(104, "door", "Front door",
                           "<doorStation>true</doorStation><buttons><button><name>Open</name><dtmf>42#</"
                           "dtmf></button>"
                           "</buttons>");
    }
};

TEST_F(DoorOpener, IsPressedWithTheAgentsCommandInTheCallOfTheDoor) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip door(*home_, "door", 6110, 660);
    EXPECT_TRUE(StateBecomes(101, 0));
    EXPECT_TRUE(StateBecomes(104, 0));
    door.Do("dial", "sip:doorbell@127.0.0.1");
    EXPECT_TRUE(StateBecomes(101, 3));
    Talk(hall, door);
    Command("CUSTOM_BUTTON", {{"idDevice", "104"}, {"button", "Open"}});
    EXPECT_TRUE(WaitUntil([&] { return door.Digits() == "42#"; })) << door.Digits() << Logs();
}

}  // namespace
}  // namespace test
