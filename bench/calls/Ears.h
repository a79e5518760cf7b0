// All datagrams on the loopback, with the times of their arrival: what phones are told and hear.
#ifndef BENCH_CALLS_EARS_H
#define BENCH_CALLS_EARS_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tests/telephony/support/Tap.h"

namespace bench {

using Time = std::chrono::system_clock::time_point;

/// For figures of this many seconds.
double SecondsBetween(Time begin, Time end);

class Ears {
public:
    struct Heard {
        Time time;
        int from = 0;  // ports
        int to = 0;
        std::string bytes;
    };
    /// Names what is waited for; empty for what is not.
    using Name = std::function<std::string(const Heard&)>;

    Ears();

    void Forget();
    /// When the last of so many that are named differently has arrived. Waits for it; throws
    /// std::runtime_error when it does not come.
    Time WaitFor(std::size_t count, const Name& name);
    /// How many differently named ones arrive in that time.
    std::size_t Count(std::chrono::milliseconds during, const Name& name);
    /// Returns when nothing was sent for a while.
    void WaitForSilence();
    /// Takes all that was heard.
    std::vector<Heard> Take();
    /// Throws std::runtime_error when a packet has passed unheard since the last Forget: nobody knows then
    /// what was lost.
    void CheckAllWasHeard();

private:
    std::optional<Time> Find(std::size_t count, const Name& name) const;
    std::size_t Size() const;

    mutable std::mutex mutex_;
    std::vector<Heard> heard_;
    test::Tap tap_;
};

/// Names for WaitFor: a tone at a phone whose ports of sound begin there, and a SIP message that begins with
/// these words, by its To and Via, sent to or by one of these ports.
Ears::Name ToneAt(int firstPort, double hertz);
Ears::Name MessageTo(int firstPort, int lastPort, const std::string& words);
Ears::Name MessageFrom(int firstPort, int lastPort, const std::string& words);
/// Sound from rtpengine to a phone, by the ports of both.
std::string NameOfSound(const Ears::Heard& heard);

/// Of all streams of sound, what rtpengine was sent and did not send on; and how many streams phones were
/// sent.
struct Loss {
    std::size_t streams = 0;
    std::size_t packets = 0;
    long lost = 0;
};
Loss LossIn(const std::vector<Ears::Heard>& heard);

}  // namespace bench

#endif
