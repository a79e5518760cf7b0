// The bounds on what clients and drivers may ask of the host. Whoever reaches one gets an answer that says
// so. Each bound is an option of the command line. The parser, --help and the test of the page that lists
// them all read one table.
#ifndef DRIVERHOST_SETTINGS_LIMITS_H
#define DRIVERHOST_SETTINGS_LIMITS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "driverhost/runtime/Fault.h"

namespace driverhost {

/// The room for bodies that each connection keeps from one request to the next. The memory of a larger body
/// is freed when its request is answered.
inline constexpr std::size_t kSmallBody = 16 * 1024;

/// The values are the defaults of the options. Each field needs a row in the table.
struct Limits {
    std::size_t headBytes = 16 * 1024;              // else 431
    std::size_t bodyBytes = 1024 * 1024;            // else 413
    std::size_t stateBytes = 16 * 1024 * 1024;      // of a state document that is put back; else 413
    std::size_t totalBodyBytes = 64 * 1024 * 1024;  // of all large bodies together; else 503
    std::size_t formFields = 10'000;                // else 413
    std::size_t connections = 4096;                 // else 503
    std::size_t handshakes = 64;                    // of TLS under way; the oldest give way
    std::size_t refusals = 64;  // connections beyond that bound that get their 503 at the same time

    std::chrono::milliseconds handshakeTime{10'000};  // else closed
    std::chrono::milliseconds headTime{10'000};       // else 408
    std::chrono::milliseconds bodyTime{30'000};       // else 408
    std::chrono::milliseconds idleTime{75'000};       // for the next request to begin
    std::chrono::milliseconds writeTime{30'000};      // for the client to take its answer
    std::chrono::milliseconds lingerTime{2'000};      // for the client to read a last answer
    std::chrono::milliseconds commentTime{15'000};    // between comments on an event stream
    std::chrono::milliseconds tick{1'000};            // between checks of the times above

    std::size_t sessions = 1024;                       // of browsers; the longest unused go
    std::size_t wrongTokens = 10;                      // from one address in the time below; else 429
    std::chrono::milliseconds wrongTokenTime{60'000};  // for which they are counted

    std::size_t keptEvents = 4096;
    std::size_t keptEventBytes = 64 * 1024 * 1024;
    std::size_t readerQueue = 1024;             // events that may wait for one reader
    std::size_t readerBytes = 4 * 1024 * 1024;  // of those that are for it alone

    std::chrono::milliseconds heldTime{10'000};     // of one call before the watchdog steps in
    std::chrono::milliseconds endTime{5'000};       // for answers in progress when the host ends
    std::chrono::milliseconds libraryTime{10'000};  // for the trial of a library
};

struct LimitRow {
    const char* option;  // without its dashes
    const char* unit;    // BYTES, MS or N
    std::variant<std::size_t Limits::*, std::chrono::milliseconds Limits::*> field;
    std::uint64_t least;
    std::uint64_t most;
    const char* help;  // what it bounds, and what happens otherwise
};

/// A row for every field of Limits.
std::span<const LimitRow> LimitTable();

std::uint64_t LimitValue(const Limits& limits, const LimitRow& row);

/// Sets the bound to the value that `text` holds. If it holds none that the row allows, the fault says what
/// is expected, and nothing is set.
Fault SetLimit(Limits& limits, const LimitRow& row, std::string_view text);

}  // namespace driverhost

#endif
