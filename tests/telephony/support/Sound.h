// What phones are sent, as sound: recognised on the wire, whatever the phone then does with it, and in
// recordings.
#ifndef TESTS_TELEPHONY_SUPPORT_SOUND_H
#define TESTS_TELEPHONY_SUPPORT_SOUND_H

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "tests/telephony/support/Tap.h"

namespace test {

struct Sound {
    int rate = 8000;
    std::vector<double> samples;

    double Seconds() const { return static_cast<double>(samples.size()) / rate; }
    /// The share of the loudness that is at this pitch, in [from, from+length] seconds; 0 for silence.
    double Share(double hertz, double from, double length) const;
    double Loudness(double from, double length) const;
    /// How long this pitch is what is heard, gaps left out.
    double SecondsOf(double hertz) const;
};

/// 16 bit, one or more channels, of which the first is taken.
Sound ReadSound(const std::filesystem::path& wav);

/// What an RTP packet with G.711 sounds like; nothing in any other datagram.
Sound SoundIn(std::string_view datagram);

/// A second of a tone as G.711 A-law.
std::string PcmaTone(int hertz);

/// Listens to all RTP with G.711 on the loopback of this network.
class Wire {
public:
    Wire();

    /// All that was sent to ports [first, first+18] so far, one packet after the other.
    Sound To(int firstPort) const;
    /// How many packets of pictures were, in a call whose sound is G.711.
    int PicturesTo(int firstPort) const;
    /// Keys pressed, as telephone-events (RFC 4733) that were sent there to their end.
    std::string DigitsTo(int firstPort) const;

private:
    void Take(const Datagram& datagram);

    mutable std::mutex mutex_;
    std::map<int, std::vector<double>> samples_;  // by port
    std::map<int, int> pictures_;
    std::map<int, std::map<std::uint32_t, char>> digits_;  // by port and beginning
    Tap tap_;
};

}  // namespace test

#endif
