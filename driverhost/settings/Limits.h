// The bounds of what clients and drivers may ask for. A bound that is hit is answered, not suffered.
// Each is an option of the command line: the parser, --help and the test of the page that lists them go by
// one table.
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

/// A body up to this size fits into the room that each connection keeps for its next request. A larger one
/// has memory of its own, which is given back when the request is answered.
inline constexpr std::size_t kSmallBody = 16 * 1024;

/// The defaults are what the host runs with when its options say nothing else. A field has a row in
/// the table, which makes its option.
struct Limits {
    std::size_t headBytes = 16 * 1024;              // 431 beyond
    std::size_t bodyBytes = 1024 * 1024;            // 413 beyond
    std::size_t stateBytes = 16 * 1024 * 1024;      // the same for a state document that is put back
    std::size_t totalBodyBytes = 64 * 1024 * 1024;  // large bodies of all requests together; 503 beyond
    std::size_t formFields = 10'000;                // 413 beyond
    std::size_t connections = 4096;                 // 503 beyond
    std::size_t refusals = 64;                      // of those, answered at a time; closed beyond

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

    std::chrono::milliseconds heldTime{10'000};     // a call that takes longer holds the driver thread
    std::chrono::milliseconds endTime{5'000};       // for answers under way when the host ends
    std::chrono::milliseconds libraryTime{10'000};  // for a library to be tried; left out beyond
};

struct LimitRow {
    const char* option;  // without its dashes
    const char* unit;    // BYTES, MS or N
    std::variant<std::size_t Limits::*, std::chrono::milliseconds Limits::*> field;
    std::uint64_t least;
    std::uint64_t most;
    const char* help;  // what it bounds, and what happens beyond
};

/// A row for every field of Limits.
std::span<const LimitRow> LimitTable();

std::uint64_t LimitValue(const Limits& limits, const LimitRow& row);

/// Sets the bound. The fault says what the row expects when `text` is none of its values; nothing is set
/// then.
Fault SetLimit(Limits& limits, const LimitRow& row, std::string_view text);

}  // namespace driverhost

#endif
