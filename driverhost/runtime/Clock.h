// The clock of deadlines and durations, read exactly or cheaply.
#ifndef DRIVERHOST_RUNTIME_CLOCK_H
#define DRIVERHOST_RUNTIME_CLOCK_H

#include <time.h>

#include <chrono>

namespace driverhost {

using Clock = std::chrono::steady_clock;

/// What Clock showed at the kernel's last tick, at most 10 ms ago (clock_gettime(2): CLOCK_MONOTONIC_COARSE is
/// the time of CLOCK_MONOTONIC, which Clock shows). For what is looked at several times in each request and
/// compared with seconds: reading the tick takes a fifth of asking the counter.
inline Clock::time_point CoarseNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return Clock::time_point(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
}

}  // namespace driverhost

#endif
