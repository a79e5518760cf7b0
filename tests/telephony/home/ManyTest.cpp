// A door station and a group of twenty: phones of sipp, which take little, and one that answers.
#include "tests/telephony/home/House.h"
#include "tests/telephony/support/Rooms.h"

namespace test {
namespace {

constexpr unsigned kRooms = 19;  // and the kitchen
constexpr int kRoomPort = 6200;
constexpr int kRoomSoundPort = 40000;

std::string Name(unsigned number) {
    return "room" + std::to_string(number);
}

class Many : public House {
protected:
    std::string Drivers() const override {
        return House::Drivers() + RoomDrivers(kRooms, "<ringDoorbell>true</ringDoorbell>");
    }
    void ExpectRoomsBecome(int state) const {
        for (unsigned number = 1; number <= kRooms; ++number)
            EXPECT_TRUE(StateBecomes(RoomId(number), state)) << Name(number);
    }
};

// Twenty programs that speak are more than a busy machine of two cores carries in time.
class ManyWhoHear : public Many {
protected:
    void SetUp() override {
        if (!std::getenv("CALL_TESTS_LONG")) GTEST_SKIP() << "twenty phones are spoken to: ./test --long";
        Many::SetUp();
    }
};

TEST_F(Many, AllTwentyRingAndStopWhenOneAnswers) {
    const RoomPhone rooms(*home_, RoomPhone::Kind::Rings, kRoomPort, kRoomSoundPort);
    const Registrations registrations(*home_, MakeRooms(kRooms, kRoomPort, true));
    Baresip kitchen(*home_, "kitchen", 6110, 660, {.answers = false});
    Baresip door(*home_, "door", 6130, 1000);
    ExpectRoomsBecome(0);
    EXPECT_TRUE(StateBecomes(102, 0));
    EXPECT_TRUE(StateBecomes(104, 0));
    door.Do("dial", "sip:doorbell@127.0.0.1");
    ExpectRoomsBecome(2);
    EXPECT_TRUE(StateBecomes(102, 2));
    kitchen.Do("accept");
    EXPECT_TRUE(StateBecomes(102, 3));
    ExpectRoomsBecome(0);
    Talk(kitchen, door);
    EXPECT_TRUE(Hears(kitchen, 1000));
    EXPECT_TRUE(Hears(door, 660));
}

TEST_F(ManyWhoHear, AllTwentyAreSpokenTo) {
    std::vector<std::unique_ptr<Sipp>> rooms;
    std::string ids = "<id>102</id>";
    for (unsigned number = 1; number <= kRooms; ++number) {
        rooms.push_back(
            std::make_unique<Sipp>(*home_, Name(number), 6200 + static_cast<int>(number) * 10, "rigid.xml"));
        ids += "<id>" + std::to_string(RoomId(number)) + "</id>";
    }
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    Baresip hall(*home_, "hall", 6100, 440);
    EXPECT_TRUE(StateBecomes(102, 0));
    EXPECT_TRUE(StateBecomes(101, 0));
    Command("SIP_BROADCAST_CALL",
            {{"source", "101"}, {"destinations", "<ids>" + ids + "</ids>"}, {"video", "3"}});
    ExpectRoomsBecome(3);
    Talk(kitchen);
    EXPECT_TRUE(Hears(kitchen, 440));
    for (const auto& room : rooms)
        EXPECT_TRUE(Hears(*room, 440));
    EXPECT_TRUE(HearsNothing(hall));
    HangUp(101);
    ExpectRoomsBecome(0);
    EXPECT_TRUE(WaitUntil([&] { return home_->Rooms() == 0; }));
}

}  // namespace
}  // namespace test
