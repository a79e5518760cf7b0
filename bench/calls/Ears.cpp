#include "bench/calls/Ears.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <utility>

#include "tests/telephony/support/Sound.h"

namespace bench {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongest(20000);
constexpr milliseconds kStep(5);
constexpr milliseconds kSilence(150);
constexpr int kPortsOfAPhone = 18;
// rtpengine's, as test::CallHome starts it.
constexpr int kFirstMediaPort = 20000;
constexpr int kLastMediaPort = 20999;
// Where the placeholder of a call would hear, which nobody is.
constexpr int kNobodysPort = 9;
// Of a packet of 20 ms; another tone has nearly nothing at this pitch.
constexpr double kClearlyTheTone = 0.6;

bool IsMedia(int port) {
    return port >= kFirstMediaPort && port <= kLastMediaPort;
}

std::string Header(const std::string& message, const std::string& name) {
    const std::size_t begin = message.find("\r\n" + name);
    if (begin == message.npos) return {};
    return message.substr(begin + 2, message.find("\r\n", begin + 2) - begin - 2);
}

std::string NameOfMessage(const std::string& bytes, const std::string& words) {
    if (!bytes.starts_with(words)) return {};
    return Header(bytes, "To:") + Header(bytes, "Via:");
}

std::uint32_t BigEndian(const std::string& bytes, std::size_t at, int count) {
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)]);
    return value;
}

// The sequence numbers of a stream, which go round.
struct Stream {
    std::uint16_t first = 0;
    int least = 0;
    int most = 0;
    long count = 0;

    void Add(std::uint16_t sequence) {
        if (count++ == 0) first = sequence;
        const int distance = static_cast<std::int16_t>(sequence - first);
        least = std::min(least, distance);
        most = std::max(most, distance);
    }
    long Gaps() const { return most - least + 1 - count; }
};

}  // namespace

double SecondsBetween(Time begin, Time end) {
    return std::chrono::duration<double>(end - begin).count();
}

Ears::Ears()
    : tap_([this](const test::Datagram& datagram) {
          const std::lock_guard lock(mutex_);
          heard_.push_back({datagram.time, datagram.from, datagram.to, std::string(datagram.bytes)});
      }) {}

void Ears::Forget() {
    tap_.Missed();
    const std::lock_guard lock(mutex_);
    heard_.clear();
}

std::vector<Ears::Heard> Ears::Take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(heard_, {});
}

std::size_t Ears::Size() const {
    const std::lock_guard lock(mutex_);
    return heard_.size();
}

std::optional<Time> Ears::Find(std::size_t count, const Name& name) const {
    const std::lock_guard lock(mutex_);
    std::set<std::string> found;
    for (const Heard& heard : heard_) {
        const std::string one = name(heard);
        if (!one.empty() && found.insert(one).second && found.size() == count) return heard.time;
    }
    return std::nullopt;
}

Time Ears::WaitFor(std::size_t count, const Name& name) {
    const auto end = std::chrono::steady_clock::now() + kLongest;
    while (std::chrono::steady_clock::now() < end) {
        if (const auto time = Find(count, name)) return *time;
        std::this_thread::sleep_for(kStep);
    }
    throw std::runtime_error("what is waited for does not come");
}

std::size_t Ears::Count(milliseconds during, const Name& name) {
    Forget();
    std::this_thread::sleep_for(during);
    std::set<std::string> found;
    for (const Heard& heard : Take())
        found.insert(name(heard));
    found.erase("");
    return found.size();
}

void Ears::WaitForSilence() {
    for (std::size_t before = Size();; before = Size()) {
        std::this_thread::sleep_for(kSilence);
        if (Size() == before) return;
    }
}

void Ears::CheckAllWasHeard() {
    if (const unsigned missed = tap_.Missed())
        throw std::runtime_error(std::to_string(missed) + " packets have passed unheard");
}

Ears::Name ToneAt(int firstPort, double hertz) {
    return [=](const Ears::Heard& heard) -> std::string {
        if (heard.to < firstPort || heard.to > firstPort + kPortsOfAPhone) return {};
        const test::Sound sound = test::SoundIn(heard.bytes);
        return sound.Share(hertz, 0, sound.Seconds()) > kClearlyTheTone ? "tone" : "";
    };
}

Ears::Name MessageTo(int firstPort, int lastPort, const std::string& words) {
    return [=](const Ears::Heard& heard) -> std::string {
        if (heard.to < firstPort || heard.to > lastPort) return {};
        return NameOfMessage(heard.bytes, words);
    };
}

Ears::Name MessageFrom(int firstPort, int lastPort, const std::string& words) {
    return [=](const Ears::Heard& heard) -> std::string {
        if (heard.from < firstPort || heard.from > lastPort) return {};
        return NameOfMessage(heard.bytes, words);
    };
}

std::string NameOfSound(const Ears::Heard& heard) {
    if (!IsMedia(heard.from) || IsMedia(heard.to) || heard.to == kNobodysPort) return {};
    if (test::SoundIn(heard.bytes).samples.empty()) return {};
    return std::to_string(heard.from) + " " + std::to_string(heard.to);
}

// What a phone did not send is missing at the other one as well, and is not rtpengine's loss.
Loss LossIn(const std::vector<Ears::Heard>& all) {
    std::map<std::tuple<int, int, std::uint32_t>, Stream> streams;  // by ports and source
    for (const Ears::Heard& heard : all) {
        if (IsMedia(heard.from) == IsMedia(heard.to) || test::SoundIn(heard.bytes).samples.empty()) continue;
        streams[{heard.from, heard.to, BigEndian(heard.bytes, 8, 4)}].Add(
            static_cast<std::uint16_t>(BigEndian(heard.bytes, 2, 2)));
    }
    Loss loss;
    for (const auto& [key, stream] : streams) {
        const bool isSentOn = IsMedia(std::get<0>(key));
        loss.lost += isSentOn ? stream.Gaps() : -stream.Gaps();
        if (!isSentOn) continue;
        ++loss.streams;
        loss.packets += static_cast<std::size_t>(stream.count);
    }
    return loss;
}

}  // namespace bench
