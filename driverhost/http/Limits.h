// The bounds of what clients may ask for. A bound that is hit is answered, not suffered.
#ifndef DRIVERHOST_HTTP_LIMITS_H
#define DRIVERHOST_HTTP_LIMITS_H

#include <chrono>
#include <cstddef>

namespace driverhost {

/// The defaults are what the host runs with; tests choose smaller ones.
struct Limits {
    std::size_t headBytes = 16 * 1024;          // 431 beyond
    std::size_t bodyBytes = 1024 * 1024;        // 413 beyond
    std::size_t stateBytes = 16 * 1024 * 1024;  // the same for a state document that is put back
    std::size_t connections = 4096;             // 503 beyond
    std::size_t refusals = 64;                  // of those, answered at a time; closed beyond

    std::chrono::milliseconds headTime{10'000};     // 408 beyond
    std::chrono::milliseconds bodyTime{30'000};     // 408 beyond
    std::chrono::milliseconds idleTime{75'000};     // closed beyond
    std::chrono::milliseconds writeTime{30'000};    // a client that does not take its answer; closed beyond
    std::chrono::milliseconds lingerTime{2'000};    // for the client to read a last answer
    std::chrono::milliseconds commentTime{15'000};  // between signs of life on an event stream
    std::chrono::milliseconds tick{1'000};          // how often the times above are looked at

    std::size_t keptEvents = 4096;
    std::size_t keptEventBytes = 64 * 1024 * 1024;
    std::size_t readerQueue = 1024;  // events behind a write that does not end; dropped beyond
};

}  // namespace driverhost

#endif
