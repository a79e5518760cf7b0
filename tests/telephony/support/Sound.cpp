#include "tests/telephony/support/Sound.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tests/support/process/TempFolder.h"

namespace test {
namespace {

constexpr int kPcmu = 0;
constexpr int kPcma = 8;
constexpr int kH264 = 99;  // as call control numbers them
constexpr int kVp8 = 100;
constexpr int kTelephoneEvent = 101;
constexpr unsigned char kEndOfEvent = 0x80;
constexpr std::string_view kKeys = "0123456789*#ABCD";
constexpr std::size_t kIpHeader = 20;
constexpr std::size_t kUdpHeader = 8;
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

}  // namespace

Wire::Wire() : socket_(socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, htons(ETH_P_IP))) {
    if (socket_ < 0) throw std::runtime_error("packets cannot be listened to");
    thread_ = std::thread([this] { Listen(); });
}

Wire::~Wire() {
    end_ = true;
    thread_.join();
    close(socket_);
}

void Wire::Listen() {
    while (!end_) {
        pollfd ready{socket_, POLLIN, 0};
        if (poll(&ready, 1, 50) != 1) continue;
        unsigned char packet[2048];
        sockaddr_ll from{};
        socklen_t size = sizeof from;
        const ssize_t received =
            recvfrom(socket_, packet, sizeof packet, 0, reinterpret_cast<sockaddr*>(&from), &size);
        const std::size_t begin = kIpHeader + kUdpHeader + kRtpHeader;
        if (received < static_cast<ssize_t>(begin) || from.sll_pkttype == PACKET_OUTGOING ||
            packet[9] != IPPROTO_UDP)
            continue;
        const unsigned char* rtp = packet + kIpHeader + kUdpHeader;
        const int type = rtp[1] & 0x7f;
        if (rtp[0] >> 6 != 2) continue;
        const int port = packet[kIpHeader + 2] << 8 | packet[kIpHeader + 3];
        const std::lock_guard lock(mutex_);
        if (type == kH264 || type == kVp8) ++pictures_[port];
        const unsigned char* event = packet + begin;
        if (type == kTelephoneEvent && event[0] < kKeys.size() && event[1] & kEndOfEvent) {
            // The end is sent three times, with the timestamp of the beginning.
            std::uint32_t beginning;
            std::memcpy(&beginning, rtp + 4, sizeof beginning);
            digits_[port][ntohl(beginning)] = kKeys[event[0]];
        }
        if (type != kPcma && type != kPcmu) continue;
        auto& samples = samples_[port];
        for (std::size_t at = begin; at < static_cast<std::size_t>(received); ++at)
            samples.push_back(type == kPcma ? FromPcma(packet[at]) : FromPcmu(packet[at]));
    }
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

}  // namespace test
