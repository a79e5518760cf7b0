// One who calls, and twenty phones of their own.
#include <memory>
#include <stdexcept>
#include <thread>

#include "bench/calls/Figures.h"
#include "tests/telephony/support/Phones.h"
#include "tests/telephony/support/Rooms.h"
#include "tests/telephony/support/WholeHome.h"

namespace bench {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::system_clock;
using test::Baresip;
using test::MakeRooms;
using test::Registrations;
using test::Room;
using test::RoomDrivers;
using test::RoomId;
using test::RoomPhone;
using test::WholeHome;

constexpr unsigned kRooms = 20;
constexpr int kFirstPort = 6200;
constexpr int kLastPort = kFirstPort + 2 * static_cast<int>(kRooms);
constexpr int kFirstSoundPort = 40000;
constexpr unsigned kDoor = 104;
constexpr int kRounds = 3;   // each with call control and without it
constexpr int kPresses = 4;  // in a round, the first not counted
constexpr int kBroadcasts = 8;
constexpr milliseconds kListening(3000);
constexpr milliseconds kPause(200);
constexpr std::chrono::seconds kLongest(20);

/// Twenty phones, each a process, and one at the door, which speaks to all as well.
class Building {
public:
    explicit Building(RoomPhone::Kind kind) {
        home_.Open(RoomDrivers(kRooms, "<ringDoorbell>true</ringDoorbell>") +
                   WholeHome::PhoneDriver(kDoor, "door", "Front door"));
        const std::vector<Room> rooms = MakeRooms(kRooms, kFirstPort, false);
        for (const Room& room : rooms)
            phones_.push_back(std::make_unique<RoomPhone>(*home_.home_, kind, room.port,
                                                          kFirstSoundPort + 4 * (room.port - kFirstPort)));
        registrations_ = std::make_unique<Registrations>(*home_.home_, rooms);
        door_ = std::make_unique<Baresip>(*home_.home_, "door", 6130, 1000);
        WaitForAll();
    }

    ~Building() { door_.reset(); }

    /// For all phones to be known and free, to call control and to the agent.
    void WaitForAll() {
        const auto end = std::chrono::steady_clock::now() + kLongest;
        for (std::string why = WhoIsNotFree(); !why.empty(); why = WhoIsNotFree()) {
            if (std::chrono::steady_clock::now() > end) throw std::runtime_error(why + "\n" + home_.Logs());
            std::this_thread::sleep_for(milliseconds(20));
        }
    }

    WholeHome& Home() { return home_; }
    test::CallHome& Calls() { return *home_.home_; }
    Baresip& Door() { return *door_; }
    Ears& Heard() { return ears_; }

private:
    std::string WhoIsNotFree() const {
        const telephony::Event now = home_.Snapshot();
        if (now.proxy != "up") return "the proxy is away";
        if (now.phones.size() <= kRooms) return std::to_string(now.phones.size()) + " phones are known";
        if (!now.calls.empty()) return "call " + now.calls.front().id + " goes on";
        for (unsigned number = 1; number <= kRooms; ++number)
            if (!home_.HasState(RoomId(number), 0)) return "room" + std::to_string(number) + " is not free";
        return home_.HasState(kDoor, 0) ? "" : "the door is not free";
    }

    WholeHome home_;
    std::vector<std::unique_ptr<RoomPhone>> phones_;
    std::unique_ptr<Registrations> registrations_;
    std::unique_ptr<Baresip> door_;
    Ears ears_;
};

void Press(Building& building, json& seconds) {
    for (int number = 0; number < kPresses; ++number) {
        std::this_thread::sleep_for(kPause);
        building.Heard().Forget();
        const auto began = system_clock::now();
        building.Door().Do("dial", "sip:doorbell@127.0.0.1");
        const Time last = building.Heard().WaitFor(kRooms, MessageFrom(kFirstPort, kLastPort, "SIP/2.0 180"));
        if (number > 0) seconds.push_back(SecondsBetween(began, last));
        building.Door().Do("hangup");
        building.Heard().WaitForSilence();
    }
}

}  // namespace

json Doorbell() {
    Building building(RoomPhone::Kind::Rings);
    json ours = json::array();
    json alone = json::array();
    for (int round = 0; round < kRounds; ++round) {
        Press(building, ours);
        building.WaitForAll();
        building.Calls().StopCallControl();
        Press(building, alone);
        building.Calls().StartCallControl();
        building.WaitForAll();
    }
    return {{"seconds", ours}, {"reference", alone}};
}

json Broadcast() {
    Building building(RoomPhone::Kind::Answers);
    std::string ids;
    for (unsigned number = 1; number <= kRooms; ++number)
        ids += "<id>" + std::to_string(RoomId(number)) + "</id>";
    json seconds = json::array();
    json cores = json::array();
    for (int number = 0; number <= kBroadcasts; ++number) {
        std::this_thread::sleep_for(kPause);
        building.Heard().Forget();
        const auto began = system_clock::now();
        building.Home().Command(
            "SIP_BROADCAST_CALL",
            {{"source", std::to_string(kDoor)}, {"destinations", "<ids>" + ids + "</ids>"}, {"video", "3"}});
        const Time last = building.Heard().WaitFor(kRooms, MessageTo(kFirstPort, kLastPort, "ACK"));
        if (number > 0) seconds.push_back(SecondsBetween(began, last));
        if (number % 3 == 0)
            cores.push_back(
                CoresTaken({building.Calls().CallControlId(), building.Calls().MediaId()}, kListening));
        const std::size_t listeners = building.Heard().Count(milliseconds(200), NameOfSound);
        if (listeners != kRooms)
            throw std::runtime_error(std::to_string(listeners) + " of the broadcast's listeners hear it\n" +
                                     building.Home().Logs());
        building.Home().HangUp(kDoor);
        building.WaitForAll();
    }
    return {{"seconds", seconds}, {"cores", cores}};
}

}  // namespace bench
