// What phones are sent, as sound: recognised on the wire, whatever the phone then does with it, and in
// recordings.
#ifndef TESTS_TELEPHONY_SUPPORT_SOUND_H
#define TESTS_TELEPHONY_SUPPORT_SOUND_H

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace test {

struct Sound {
    int rate = 8000;
    std::vector<double> samples;

    double Seconds() const { return static_cast<double>(samples.size()) / rate; }
    /// The share of the loudness that is at this pitch, in [from, from+length] seconds; 0 for silence.
    double Share(double hertz, double from, double length) const;
    double Loudness(double from, double length) const;
};

/// 16 bit, one or more channels, of which the first is taken.
Sound ReadSound(const std::filesystem::path& wav);

/// A second of a tone as G.711 A-law.
std::string PcmaTone(int hertz);

/// Listens to all RTP with G.711 on the loopback of this network.
class Wire {
public:
    Wire();
    ~Wire();
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;

    /// All that was sent to ports [first, first+18] so far, one packet after the other.
    Sound To(int firstPort) const;
    /// How many packets of pictures were.
    int PicturesTo(int firstPort) const;
    /// Keys pressed, as telephone-events (RFC 4733) that were sent there to their end.
    std::string DigitsTo(int firstPort) const;

private:
    void Listen();

    int socket_;
    std::atomic<bool> end_ = false;
    mutable std::mutex mutex_;
    std::map<int, std::vector<double>> samples_;  // by port
    std::map<int, int> pictures_;
    std::map<int, std::map<std::uint32_t, char>> digits_;  // by port and beginning
    std::thread thread_;
};

}  // namespace test

#endif
