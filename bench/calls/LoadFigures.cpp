// Many calls, and none.
#include <fstream>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <thread>

#include "bench/calls/Figures.h"
#include "tests/telephony/support/Rooms.h"
#include "tests/telephony/support/WholeHome.h"

namespace bench {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using telephony::EventKind;
using test::CallClient;
using test::MakeRooms;
using test::Registrations;
using test::Room;
using test::RoomDrivers;
using test::RoomPhone;
using test::WholeHome;

constexpr unsigned kCalls = 50;
constexpr unsigned kRooms = 2 * kCalls;
constexpr int kFirstPort = 6200;
constexpr int kSecondPort = 6300;
constexpr int kFirstSound = 40000;
constexpr int kSecondSound = 50000;
constexpr milliseconds kTalking(10000);
constexpr milliseconds kSettling(1500);
constexpr unsigned kAtOnce = 10;  // calls under way where the rate is measured
// Kamailio keeps a transaction for five seconds; what a home gives it for them is full after a thousand
// calls.
constexpr milliseconds kWarm(500);
constexpr milliseconds kRated(1500);
constexpr int kRateRounds = 3;

/// A hundred rooms at two phones, ordered by a tool on call control's socket.
class Hotel {
public:
    Hotel(RoomPhone::Kind callers, RoomPhone::Kind callees) {
        home_.Open(RoomDrivers(kRooms));
        std::vector<Room> rooms = MakeRooms(kRooms, kFirstPort, true);
        for (unsigned number = kCalls; number < kRooms; ++number)
            rooms[number].port = kSecondPort;
        callers_ = std::make_unique<RoomPhone>(*home_.home_, callers, kFirstPort, kFirstSound);
        callees_ = std::make_unique<RoomPhone>(*home_.home_, callees, kSecondPort, kSecondSound);
        registrations_ = std::make_unique<Registrations>(*home_.home_, rooms);
        if (!test::WaitUntil([this] { return home_.Snapshot().phones.size() >= kRooms; }))
            throw std::runtime_error("not all phones are known:\n" + home_.Logs());
        tool_ = home_.home_->Connect();
        tool_->Greet();
    }

    /// A call of this pair; the id carries the pair.
    void Order(unsigned pair) {
        const std::string number = std::to_string(pair);
        tool_->Send(R"({"cmd":"call","id":"pair)" + number + "-" + std::to_string(++ordered_) +
                    R"(","from":"room)" + number + R"(","to":["room)" + std::to_string(pair + kCalls) +
                    R"("],"ring":false})");
    }
    static unsigned PairOf(const std::string& id) { return static_cast<unsigned>(std::stoul(id.substr(4))); }

    void HangUp(const std::string& id) { tool_->Send(R"({"cmd":"hangup","id":")" + id + R"("})"); }

    /// The next event of these kinds. Throws std::runtime_error for a call that has failed.
    telephony::Event Next() {
        for (;;) {
            telephony::Event event = tool_->WaitForAny();
            const bool hasFailed =
                event.kind == EventKind::Refused || (event.kind == EventKind::Ended && event.by != "command");
            if (hasFailed)
                throw std::runtime_error("call " + event.id + " failed: " + std::to_string(event.code) + " " +
                                         event.reason + "\n" + home_.Logs());
            if (event.kind == EventKind::Established || event.kind == EventKind::Ended) return event;
        }
    }

    test::CallHome& Calls() { return *home_.home_; }

private:
    WholeHome home_;
    std::unique_ptr<RoomPhone> callers_;
    std::unique_ptr<RoomPhone> callees_;
    std::unique_ptr<Registrations> registrations_;
    std::unique_ptr<CallClient> tool_;
    unsigned long ordered_ = 0;
};

// Orders, hangs up what is established, and orders again; how many have ended meanwhile.
double CallsEnded(Hotel& hotel, milliseconds during) {
    const auto began = steady_clock::now();
    double ended = 0;
    while (steady_clock::now() < began + during) {
        const telephony::Event event = hotel.Next();
        if (event.kind == EventKind::Established) {
            hotel.HangUp(event.id);
            continue;
        }
        ++ended;
        hotel.Order(Hotel::PairOf(event.id));
    }
    return ended / std::chrono::duration<double>(steady_clock::now() - began).count();
}

double SecondsOnProcessor(pid_t process) {
    double nanoseconds = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task"))
        nanoseconds += std::stod(test::ReadFile(task.path() / "schedstat"));
    return nanoseconds / 1e9;
}

double SecondsOnProcessor(const std::vector<pid_t>& processes) {
    return std::accumulate(processes.begin(), processes.end(), 0.0,
                           [](double sum, pid_t process) { return sum + SecondsOnProcessor(process); });
}

// What it shares with others is counted by the share.
double BytesOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
    for (std::string word; file >> word;) {
        if (word != "Pss:") continue;
        double kilobytes = 0;
        file >> kilobytes;
        return kilobytes * 1024;
    }
    throw std::runtime_error("the memory of process " + std::to_string(process) + " cannot be read");
}

pid_t ParentOf(pid_t process) {
    const std::string stat = test::ReadFile("/proc/" + std::to_string(process) + "/stat");
    return std::stoi(stat.substr(stat.rfind(')') + 4));
}

// sipproxy starts one of its own name, which starts Kamailio.
std::vector<pid_t> ProxiesAbove(pid_t kamailio) {
    std::vector<pid_t> found;
    for (pid_t process = ParentOf(kamailio);
         test::ReadFile("/proc/" + std::to_string(process) + "/comm") == "sipproxy\n";
         process = ParentOf(process))
        found.push_back(process);
    if (found.empty()) throw std::runtime_error("sipproxy is not found above Kamailio");
    return found;
}

}  // namespace

double CoresTaken(const std::vector<pid_t>& processes, milliseconds during) {
    const auto began = steady_clock::now();
    const double before = SecondsOnProcessor(processes);
    std::this_thread::sleep_for(during);
    const double taken = SecondsOnProcessor(processes) - before;
    return taken / std::chrono::duration<double>(steady_clock::now() - began).count();
}

json FiftyCalls() {
    Hotel hotel(RoomPhone::Kind::Talks, RoomPhone::Kind::Echoes);
    for (unsigned pair = 1; pair <= kCalls; ++pair)
        hotel.Order(pair);
    for (unsigned count = 0; count < kCalls; ++count)
        hotel.Next();
    std::this_thread::sleep_for(kSettling);
    Ears ears;
    ears.Forget();
    const double cores = CoresTaken({hotel.Calls().CallControlId(), hotel.Calls().MediaId()}, kTalking);
    const Loss loss = LossIn(ears.Take());
    ears.CheckAllWasHeard();
    if (loss.streams != kRooms)
        throw std::runtime_error(std::to_string(loss.streams) + " phones are sent sound, not " +
                                 std::to_string(kRooms));
    return {{"cores", {cores}}, {"lost", loss.lost}, {"packets", loss.packets}};
}

json CallRate() {
    json rate = json::array();
    for (int round = 0; round < kRateRounds; ++round) {
        Hotel hotel(RoomPhone::Kind::Answers, RoomPhone::Kind::Answers);
        for (unsigned pair = 1; pair <= kAtOnce; ++pair)
            hotel.Order(pair);
        CallsEnded(hotel, kWarm);
        rate.push_back(CallsEnded(hotel, kRated));
    }
    return {{"rate", rate}};
}

json IdleMemory() {
    WholeHome home;
    home.Open(RoomDrivers(20));
    const std::vector<Room> rooms = MakeRooms(20, kFirstPort, true);
    Registrations registrations(*home.home_, rooms);
    std::this_thread::sleep_for(kSettling);
    const std::vector<pid_t> kamailios = home.Kamailios();
    double reference = BytesOf(home.home_->MediaId());
    for (const pid_t process : kamailios)
        reference += BytesOf(process);
    double bytes = reference + BytesOf(home.home_->CallControlId());
    for (const pid_t process : ProxiesAbove(kamailios.front()))
        bytes += BytesOf(process);
    return {{"bytes", {bytes}}, {"reference", {reference}}};
}

}  // namespace bench
