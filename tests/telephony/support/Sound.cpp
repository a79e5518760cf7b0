#include "tests/telephony/support/Sound.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>

#include "tests/support/process/TempFolder.h"

namespace test {
namespace {

constexpr int kPcmu = 0;
constexpr int kPcma = 8;
constexpr int kFirstDynamic = 96;  // RFC 3551: numbers that each call settles for itself
constexpr int kTelephoneEvent = 101;
constexpr unsigned char kEndOfEvent = 0x80;
constexpr std::string_view kKeys = "0123456789*#ABCD";
constexpr std::size_t kRtpHeader = 12;
constexpr int kPortsOfAPhone = 18;

// ITU-T G.711.
double FromPcma(unsigned char byte) {
    const int value = byte ^ 0x55;
    const int segment = value >> 4 & 7;
    int sample = (value & 15) << 4;
    sample = segment == 0 ? sample + 8 : (sample + 0x108) << (segment - 1);
    return value & 0x80 ? sample : -sample;
}

double FromPcmu(unsigned char byte) {
    const int value = ~byte & 0xff;
    const int sample = (((value & 15) << 3) + 0x84) << (value >> 4 & 7);
    return value & 0x80 ? 0x84 - sample : sample - 0x84;
}

unsigned char ByteAt(std::string_view bytes, std::size_t at) {
    return static_cast<unsigned char>(bytes[at]);
}

// -1 for what is no RTP.
int PayloadType(std::string_view datagram) {
    const bool isRtp = datagram.size() > kRtpHeader && ByteAt(datagram, 0) >> 6 == 2;
    return isRtp ? ByteAt(datagram, 1) & 0x7f : -1;
}

}  // namespace

Sound SoundIn(std::string_view datagram) {
    Sound sound;
    const int type = PayloadType(datagram);
    if (type != kPcma && type != kPcmu) return sound;
    for (std::size_t at = kRtpHeader; at < datagram.size(); ++at) {
        const unsigned char byte = ByteAt(datagram, at);
        sound.samples.push_back(type == kPcma ? FromPcma(byte) : FromPcmu(byte));
    }
    return sound;
}

Wire::Wire() : tap_([this](const Datagram& datagram) { Take(datagram); }) {}

void Wire::Take(const Datagram& datagram) {
    const int type = PayloadType(datagram.bytes);
    if (type < 0) return;
    const std::lock_guard lock(mutex_);
    if (type >= kFirstDynamic && type != kTelephoneEvent) ++pictures_[datagram.to];
    const unsigned char key = ByteAt(datagram.bytes, kRtpHeader);
    if (type == kTelephoneEvent && key < kKeys.size() && datagram.bytes.size() > kRtpHeader + 1 &&
        ByteAt(datagram.bytes, kRtpHeader + 1) & kEndOfEvent) {
        // The end is sent three times, with the timestamp of the beginning.
        std::uint32_t beginning;
        std::memcpy(&beginning, datagram.bytes.data() + 4, sizeof beginning);
        digits_[datagram.to][ntohl(beginning)] = kKeys[key];
    }
    const Sound sound = SoundIn(datagram.bytes);
    if (sound.samples.empty()) return;
    auto& samples = samples_[datagram.to];
    samples.insert(samples.end(), sound.samples.begin(), sound.samples.end());
}

Sound Wire::To(int firstPort) const {
    const std::lock_guard lock(mutex_);
    Sound sound;
    for (auto port = samples_.lower_bound(firstPort);
         port != samples_.upper_bound(firstPort + kPortsOfAPhone); ++port)
        sound.samples.insert(sound.samples.end(), port->second.begin(), port->second.end());
    return sound;
}

std::string PcmaTone(int hertz) {
    std::string bytes;
    for (int i = 0; i < 8000; ++i) {
        const double sample = 8000 * std::sin(2 * std::numbers::pi * hertz * i / 8000);
        int best = 0;
        for (int byte = 1; byte < 256; ++byte)
            if (std::abs(FromPcma(static_cast<unsigned char>(byte)) - sample) <
                std::abs(FromPcma(static_cast<unsigned char>(best)) - sample))
                best = byte;
        bytes += static_cast<char>(best);
    }
    return bytes;
}

Sound ReadSound(const std::filesystem::path& wav) {
    const std::string bytes = ReadFile(wav);
    Sound sound;
    if (bytes.size() < 46) return sound;
    const auto number = [&](std::size_t at, int count) {
        unsigned value = 0;
        for (int i = count - 1; i >= 0; --i)
            value = value << 8 | static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)]);
        return value;
    };
    const std::size_t channels = std::max(1u, number(22, 2));
    sound.rate = static_cast<int>(number(24, 4));
    // The header of a recording under way does not know its length; the bytes do.
    const std::size_t data = bytes.find("data");
    for (std::size_t at = data + 8; at + 1 < bytes.size(); at += 2 * channels)
        sound.samples.push_back(static_cast<std::int16_t>(number(at, 2)));
    return sound;
}

int Wire::PicturesTo(int firstPort) const {
    const std::lock_guard lock(mutex_);
    int count = 0;
    for (auto port = pictures_.lower_bound(firstPort);
         port != pictures_.upper_bound(firstPort + kPortsOfAPhone); ++port)
        count += port->second;
    return count;
}

std::string Wire::DigitsTo(int firstPort) const {
    const std::lock_guard lock(mutex_);
    std::string digits;
    for (auto port = digits_.lower_bound(firstPort); port != digits_.upper_bound(firstPort + kPortsOfAPhone);
         ++port)
        for (const auto& [beginning, digit] : port->second)
            digits += digit;
    return digits;
}

double Sound::Loudness(double from, double length) const {
    const auto begin = static_cast<std::size_t>(from * rate);
    const auto end = std::min(samples.size(), begin + static_cast<std::size_t>(length * rate));
    if (begin >= end) return 0;
    double sum = 0;
    for (std::size_t i = begin; i < end; ++i)
        sum += samples[i] * samples[i];
    return std::sqrt(sum / static_cast<double>(end - begin));
}

double Sound::Share(double hertz, double from, double length) const {
    const auto begin = static_cast<std::size_t>(from * rate);
    const auto end = std::min(samples.size(), begin + static_cast<std::size_t>(length * rate));
    const double loudness = Loudness(from, length);
    if (begin >= end || loudness < 50) return 0;
    double cosine = 0;
    double sine = 0;
    for (std::size_t i = begin; i < end; ++i) {
        const double phase = 2 * std::numbers::pi * hertz * static_cast<double>(i) / rate;
        cosine += samples[i] * std::cos(phase);
        sine += samples[i] * std::sin(phase);
    }
    const double count = static_cast<double>(end - begin);
    return std::sqrt(2 * (cosine * cosine + sine * sine)) / count / loudness;
}

double Sound::SecondsOf(double hertz) const {
    constexpr double kStep = 0.1;
    double seconds = 0;
    for (double from = 0; from + kStep <= Seconds(); from += kStep)
        if (Share(hertz, from, kStep) > 0.8) seconds += kStep;
    return seconds;
}

}  // namespace test
