// A door station and a group of twenty: phones of sipp, which take little, and one that answers.
#include "tests/telephony/home/House.h"

namespace test {
namespace {

constexpr unsigned kMembers = 20;

std::string Name(unsigned number) {
    return "room" + std::to_string(number);
}

// Twenty phones of sipp with their registrations are more than a busy machine of two cores carries in time.
class Many : public House {
protected:
    void SetUp() override {
        if (!std::getenv("CALL_TESTS_LONG")) GTEST_SKIP() << "twenty phones take part: ./test --long";
        House::SetUp();
    }
    std::string Drivers() const override {
        std::string drivers = House::Drivers();
        for (unsigned number = 1; number < kMembers; ++number)
            drivers +=
                PhoneDriver(200 + number, Name(number), Name(number), "<ringDoorbell>true</ringDoorbell>");
        return drivers;
    }
};

TEST_F(Many, AllTwentyRingAndStopWhenOneAnswers) {
    std::vector<std::unique_ptr<Sipp>> rooms;
    for (unsigned number = 1; number < kMembers; ++number)
        rooms.push_back(
            std::make_unique<Sipp>(*home_, Name(number), 6200 + static_cast<int>(number) * 10, "rings.xml"));
    Baresip kitchen(*home_, "kitchen", 6110, 660, {.answers = false});
    Baresip door(*home_, "door", 6130, 1000);
    EXPECT_TRUE(StateBecomes(102, 0));
    EXPECT_TRUE(StateBecomes(104, 0));
    door.Do("dial", "sip:doorbell@127.0.0.1");
    for (unsigned number = 1; number < kMembers; ++number)
        EXPECT_TRUE(StateBecomes(200 + number, 2)) << Name(number);
    EXPECT_TRUE(StateBecomes(102, 2));
    kitchen.Do("accept");
    EXPECT_TRUE(StateBecomes(102, 3));
    for (unsigned number = 1; number < kMembers; ++number)
        EXPECT_TRUE(StateBecomes(200 + number, 0)) << Name(number);
    Talk(kitchen, door);
    EXPECT_TRUE(Hears(kitchen, 1000));
    EXPECT_TRUE(Hears(door, 660));
}

TEST_F(Many, AllTwentyAreSpokenTo) {
    std::vector<std::unique_ptr<Sipp>> rooms;
    std::string ids = "<id>102</id>";
    for (unsigned number = 1; number < kMembers; ++number) {
        rooms.push_back(
            std::make_unique<Sipp>(*home_, Name(number), 6200 + static_cast<int>(number) * 10, "rigid.xml"));
        ids += "<id>" + std::to_string(200 + number) + "</id>";
    }
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    Baresip hall(*home_, "hall", 6100, 440);
    EXPECT_TRUE(StateBecomes(102, 0));
    EXPECT_TRUE(StateBecomes(101, 0));
    Command("SIP_BROADCAST_CALL",
            {{"source", "101"}, {"destinations", "<ids>" + ids + "</ids>"}, {"video", "3"}});
    for (unsigned number = 1; number < kMembers; ++number)
        EXPECT_TRUE(StateBecomes(200 + number, 3)) << Name(number);
    Talk(kitchen);
    EXPECT_TRUE(Hears(kitchen, 440));
    for (const auto& room : rooms)
        EXPECT_TRUE(Hears(*room, 440));
    EXPECT_TRUE(HearsNothing(hall));
    HangUp(101);
    for (unsigned number = 1; number < kMembers; ++number)
        EXPECT_TRUE(StateBecomes(200 + number, 0)) << Name(number);
    EXPECT_TRUE(WaitUntil([&] { return home_->Rooms() == 0; }));
}

}  // namespace
}  // namespace test
