// How long it takes until two people hear each other.
#include <functional>
#include <memory>
#include <thread>

#include "bench/calls/Figures.h"
#include "tests/telephony/support/Phones.h"
#include "tests/telephony/support/WholeHome.h"

namespace bench {
namespace {

using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::system_clock;
using test::Baresip;
using test::CallHome;
using test::Linphone;

constexpr int kCalls = 6;  // of a run; bench/run makes several
constexpr double kHallHertz = 440;
constexpr double kKitchenHertz = 660;
constexpr unsigned kHall = 101;
constexpr unsigned kKitchen = 102;
// Phones are not called in the moment in which they have hung up.
constexpr milliseconds kPause(300);

void Dial(Baresip& phone) {
    phone.Do("dial", "sip:kitchen@127.0.0.1");
}
void Dial(Linphone& phone) {
    phone.Do("call sip:kitchen@127.0.0.1");
}
void HangUp(Baresip& phone) {
    phone.Do("hangup");
}
void HangUp(Linphone& phone) {
    phone.Do("terminate");
}

// Both measurements with the codec in which a tone can be recognised.
void SpeakPcma(Baresip&) {}  // as it is
void SpeakPcma(Linphone& phone) {
    phone.Do("codec disable all");
    phone.Do("codec enable 4");
}

template <class Phone>
struct Pair {
    explicit Pair(CallHome& home)
        : hall(home, "hall", 6100, static_cast<int>(kHallHertz)),
          kitchen(home, "kitchen", 6110, static_cast<int>(kKitchenHertz)) {
        SpeakPcma(hall);
        SpeakPcma(kitchen);
    }
    Phone hall;
    Phone kitchen;
};

// The first call is not counted: programs and phones load what they need.
template <class Phone>
json Measure(Pair<Phone>& pair, const std::function<void()>& call, const std::function<void()>& end) {
    Ears ears;
    json seconds = json::array();
    for (int number = 0; number <= kCalls; ++number) {
        std::this_thread::sleep_for(kPause);
        ears.Forget();
        const auto began = system_clock::now();
        call();
        const Time hall = ears.WaitFor(1, ToneAt(pair.hall.SoundPort(), kKitchenHertz));
        const Time kitchen = ears.WaitFor(1, ToneAt(pair.kitchen.SoundPort(), kHallHertz));
        if (number > 0) seconds.push_back(SecondsBetween(began, std::max(hall, kitchen)));
        end();
        ears.WaitForSilence();
    }
    return {{"seconds", seconds}};
}

template <class Phone>
json ByTheAgent() {
    test::WholeHome home;
    home.Open(test::WholeHome::PhoneDriver(kHall, "hall", "Hall") +
              test::WholeHome::PhoneDriver(kKitchen, "kitchen", "Kitchen"));
    Pair<Phone> pair(*home.home_);
    const auto bothAreFree = [&] { return home.HasState(kHall, 0) && home.HasState(kKitchen, 0); };
    test::WaitUntil(bothAreFree);
    return Measure(
        pair, [&] { home.Call(kHall, kKitchen); },
        [&] {
            home.HangUp(kHall);
            test::WaitUntil(bothAreFree);
        });
}

template <class Phone>
json Direct() {
    CallHome home;
    home.StopCallControl();
    Pair<Phone> pair(home);
    return Measure(
        pair, [&] { Dial(pair.hall); }, [&] { HangUp(pair.hall); });
}

}  // namespace

json BaresipSound() {
    return ByTheAgent<Baresip>();
}
json BaresipSoundDirect() {
    return Direct<Baresip>();
}
json LinphoneSound() {
    return ByTheAgent<Linphone>();
}
json LinphoneSoundDirect() {
    return Direct<Linphone>();
}

}  // namespace bench
