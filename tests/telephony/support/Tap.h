// Listens to all UDP on the loopback of this network.
#ifndef TESTS_TELEPHONY_SUPPORT_TAP_H
#define TESTS_TELEPHONY_SUPPORT_TAP_H

#include <atomic>
#include <chrono>
#include <functional>
#include <string_view>
#include <thread>

namespace test {

struct Datagram {
    std::chrono::system_clock::time_point time;  // when it arrived, as the kernel says
    int from = 0;                                // ports
    int to = 0;
    std::string_view bytes;
};

class Tap {
public:
    /// Is called in a thread of its own.
    using OnDatagram = std::function<void(const Datagram&)>;

    /// Throws std::runtime_error when packets may not be listened to.
    explicit Tap(OnDatagram onDatagram);
    ~Tap();
    Tap(const Tap&) = delete;
    Tap& operator=(const Tap&) = delete;

    /// How many packets have passed since the last call without being listened to.
    unsigned Missed();

private:
    void Listen();
    void Read();

    const OnDatagram onDatagram_;
    int socket_;
    std::atomic<bool> end_ = false;
    std::thread thread_;
};

}  // namespace test

#endif
