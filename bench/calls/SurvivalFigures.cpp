// Programs that are ended in calls, and what is lost by it.
#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "bench/calls/Figures.h"
#include "tests/telephony/proxy/support/SipPhone.h"
#include "tests/telephony/support/Rooms.h"
#include "tests/telephony/support/WholeHome.h"

namespace bench {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::system_clock;
using test::MakeRooms;
using test::Registrations;
using test::Room;
using test::RoomDrivers;
using test::RoomId;
using test::RoomPhone;
using test::WholeHome;

constexpr unsigned kCalls = 10;
constexpr unsigned kRooms = 2 * kCalls;
constexpr int kTalkersPort = 6200;
constexpr int kEchoesPort = 6300;
constexpr int kTalkersSound = 40000;
constexpr int kEchoesSound = 50000;
constexpr unsigned kAttic = 103;
constexpr int kRounds = 5;
constexpr milliseconds kListening(300);
// Call control ends calls in which nothing is heard for 3 s; what is lost shows by then.
constexpr milliseconds kUntilLossShows(4000);
constexpr milliseconds kBetweenRegisters(1);
constexpr milliseconds kAnswerTime(20);
// A host that does not know a session by then has lost it.
constexpr std::chrono::seconds kKnownAgain(10);

/// Ten rooms that talk, each connected with one that sends the sound back.
class Talking {
public:
    Talking() {
        home_.Open(RoomDrivers(kRooms) + WholeHome::PhoneDriver(kAttic, "attic", "Attic"));
        std::vector<Room> rooms = MakeRooms(kRooms, kTalkersPort, true);
        for (unsigned number = kCalls; number < kRooms; ++number)
            rooms[number].port = kEchoesPort;
        talkers_ =
            std::make_unique<RoomPhone>(*home_.home_, RoomPhone::Kind::Talks, kTalkersPort, kTalkersSound);
        echoes_ =
            std::make_unique<RoomPhone>(*home_.home_, RoomPhone::Kind::Echoes, kEchoesPort, kEchoesSound);
        registrations_ = std::make_unique<Registrations>(*home_.home_, rooms);
        if (!test::WaitUntil([this] { return InState(0) == kRooms; })) Fail("not all phones are free");
        if (StartCalls() != kCalls) Fail("not all calls are made");
    }

    /// How many rooms are free (0) or talk (3), as the agent knows.
    unsigned InState(int state) const {
        unsigned count = 0;
        for (unsigned number = 1; number <= kRooms; ++number)
            count += home_.HasState(RoomId(number), state);
        return count;
    }

    /// How many are established soon.
    std::size_t StartCalls() {
        for (unsigned number = 1; number <= kCalls; ++number)
            home_.Call(RoomId(number), RoomId(number + kCalls));
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
        while (Established() < kCalls && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(milliseconds(20));
        return Established();
    }

    void EndCalls() {
        for (unsigned number = 1; number <= kCalls; ++number)
            home_.HangUp(RoomId(number));
        if (!test::WaitUntil([this] { return home_.Snapshot().calls.empty(); })) Fail("calls do not end");
    }

    /// Calls that are up and heard at both ends.
    std::size_t Heard() { return std::min(Established(), ears_.Count(kListening, NameOfSound) / 2); }

    WholeHome& Home() { return home_; }
    Registrations& Registered() { return *registrations_; }

    [[noreturn]] void Fail(const std::string& what) const {
        throw std::runtime_error(what + ":\n" + home_.Logs());
    }

private:
    std::size_t Established() const {
        const auto calls = home_.Snapshot().calls;
        return static_cast<std::size_t>(
            std::ranges::count_if(calls, [](const auto& call) { return call.state == "established"; }));
    }

    WholeHome home_;
    std::unique_ptr<RoomPhone> talkers_;
    std::unique_ptr<RoomPhone> echoes_;
    std::unique_ptr<Registrations> registrations_;
    Ears ears_;
};

/// A phone that registers all the time, and notes when it was let in.
class Probe {
public:
    Probe()
        : thread_([this] {
              proxy::SipPhone phone("attic", "pw-attic", "127.0.0.1");
              while (!end_) {
                  if (phone.Register(kAnswerTime) == 200) Note();
                  std::this_thread::sleep_for(kBetweenRegisters);
              }
          }) {}
    ~Probe() {
        end_ = true;
        thread_.join();
    }
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    /// When it was let in after the longest time in which it was not.
    Time EndOfGap(Time since) const {
        const std::lock_guard lock(mutex_);
        Time before = since;
        Time found = since;
        auto longest = system_clock::duration::zero();
        for (const Time time : times_) {
            if (time < since) continue;
            if (time - before > longest) longest = time - before, found = time;
            before = time;
        }
        return found;
    }

private:
    void Note() {
        const std::lock_guard lock(mutex_);
        times_.push_back(system_clock::now());
    }

    mutable std::mutex mutex_;
    std::vector<Time> times_;
    std::atomic<bool> end_ = false;
    std::thread thread_;
};

// The new Kamailio lets the probe in for a while, and a gap that was none of the restart would show.
double MeasureGap(const std::function<void()>& restart) {
    Probe probe;
    std::this_thread::sleep_for(milliseconds(200));
    const auto began = system_clock::now();
    restart();
    std::this_thread::sleep_for(milliseconds(500));
    return SecondsBetween(began, probe.EndOfGap(began));
}

}  // namespace

json ProxyRestart() {
    Talking talking;
    WholeHome& home = talking.Home();
    json seconds = json::array();
    std::size_t callsLost = 0;
    std::size_t registrationsLost = 0;
    for (int round = 0; round < kRounds; ++round) {
        const auto pause = talking.Registered().Pause();
        const pid_t before = home.Kamailios().front();
        seconds.push_back(MeasureGap([&] {
            home.Command("applySIPProxyChanges");
            const bool isAnother = test::WaitUntil([&] {
                const std::vector<pid_t> now = home.Kamailios();
                return !now.empty() && now.front() != before && home.Snapshot().proxy == "up";
            });
            if (!isAnother) talking.Fail("Kamailio was not started anew");
        }));
        std::this_thread::sleep_for(kUntilLossShows);
        callsLost += kCalls - talking.Heard();
        talking.EndCalls();
        // Each phone is in one of the next calls, which reach none that is not registered.
        registrationsLost += kRooms - 2 * talking.StartCalls();
    }
    return {{"seconds", seconds}, {"calls_lost", callsLost}, {"registrations_lost", registrationsLost}};
}

json BareRestart() {
    test::CallHome home;
    home.StopCallControl();
    json seconds = json::array();
    for (int round = 0; round < kRounds; ++round)
        seconds.push_back(MeasureGap([&] {
            home.KillProxy();
            home.StartProxy();
        }));
    return {{"seconds", seconds}};
}

json HostKilled() {
    Talking talking;
    WholeHome& home = talking.Home();
    json seconds = json::array();
    std::size_t callsLost = 0;
    std::size_t sessionsLost = 0;
    for (int round = 0; round < kRounds; ++round) {
        home.KillHost();
        const auto began = system_clock::now();
        home.StartHost();
        unsigned known = 0;
        while ((known = talking.InState(3)) < kRooms && system_clock::now() < began + kKnownAgain)
            std::this_thread::sleep_for(milliseconds(2));
        seconds.push_back(SecondsBetween(began, system_clock::now()));
        sessionsLost += kRooms - known;
        callsLost += kCalls - talking.Heard();
        if (sessionsLost + callsLost > 0) break;  // the next round would count them again
    }
    return {{"seconds", seconds}, {"calls_lost", callsLost}, {"sessions_lost", sessionsLost}};
}

}  // namespace bench
