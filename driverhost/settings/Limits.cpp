#include "driverhost/settings/Limits.h"

#include <array>

#include "host/glue/Numbers.h"

namespace driverhost {
namespace {

constexpr std::uint64_t kDay = 24ULL * 3600 * 1000;   // in MS: longer than anybody waits
constexpr std::uint64_t kGigabyte = 1ULL << 30U;      // in BYTES: more than a home's machine can spare
constexpr std::uint64_t kMostTogether = 1ULL << 36U;  // in BYTES: of all connections
constexpr std::uint64_t kMillion = 1'000'000;         // in N
constexpr std::uint64_t kMinute = 60'000;             // in MS
constexpr std::uint64_t kSmallestHead = 256;          // in BYTES: any client sends that much
constexpr std::uint64_t kLargestHead = 1ULL << 20U;   // in BYTES

// clang-format off
constexpr std::array kTable = {
    LimitRow{"head-bytes",       "BYTES", &Limits::headBytes,      kSmallestHead, kLargestHead, "largest head of a request; otherwise 431"},
    LimitRow{"body-bytes",       "BYTES", &Limits::bodyBytes,      1, kGigabyte, "largest body of a request; otherwise 413"},
    LimitRow{"state-bytes",      "BYTES", &Limits::stateBytes,     1, kGigabyte, "largest state document that can be put back; otherwise 413"},
    LimitRow{"total-body-bytes", "BYTES", &Limits::totalBodyBytes, kSmallBody, kMostTogether, "largest sum of all request bodies over 16 KiB; otherwise 503"},
    LimitRow{"form-fields",      "N",     &Limits::formFields,     1, kMillion,  "most fields in a form; otherwise 413"},
    LimitRow{"connections",      "N",     &Limits::connections,    1, kMillion,  "most open connections; otherwise 503"},
    LimitRow{"refusals",         "N",     &Limits::refusals,       0, kMillion,  "most connections over that bound that are answered at a time; the rest are closed"},
    LimitRow{"handshakes",       "N",     &Limits::handshakes,     1, kMillion,  "most TLS handshakes under way; the oldest are closed"},
    LimitRow{"handshake-time",   "MS",    &Limits::handshakeTime,  1, kDay,      "for a TLS handshake; otherwise the connection is closed"},
    LimitRow{"head-time",        "MS",    &Limits::headTime,       1, kDay,      "for a head to arrive; otherwise 408"},
    LimitRow{"body-time",        "MS",    &Limits::bodyTime,       1, kDay,      "for a body to arrive; otherwise 408"},
    LimitRow{"idle-time",        "MS",    &Limits::idleTime,       1, kDay,      "for the next request to begin; otherwise the connection is closed"},
    LimitRow{"write-time",       "MS",    &Limits::writeTime,      1, kDay,      "for a client to take an answer; otherwise the connection is closed"},
    LimitRow{"linger-time",      "MS",    &Limits::lingerTime,     1, kMinute,   "for a client to read a last answer; then the connection is closed"},
    LimitRow{"comment-time",     "MS",    &Limits::commentTime,    1, kDay,      "between comment lines on an event stream without events"},
    LimitRow{"tick-time",        "MS",    &Limits::tick,           1, kMinute,   "between checks of the times above"},
    LimitRow{"sessions",         "N",     &Limits::sessions,       1, kMillion,  "most sessions of browsers; those that are unused for longest are ended"},
    LimitRow{"wrong-tokens",     "N",     &Limits::wrongTokens,    1, kMillion,  "most wrong tokens from one address in that time; then 429 to all tokens from there"},
    LimitRow{"wrong-token-time", "MS",    &Limits::wrongTokenTime, 1, kDay,      "in which wrong tokens are counted, from the first one on"},
    LimitRow{"kept-events",      "N",     &Limits::keptEvents,     1, kMillion,  "most events kept for readers; the oldest go first"},
    LimitRow{"kept-event-bytes", "BYTES", &Limits::keptEventBytes, 1, kGigabyte, "largest sum of the events kept; the oldest go first"},
    LimitRow{"reader-events",    "N",     &Limits::readerQueue,    1, kMillion,  "most events waiting for one reader; otherwise it is dropped"},
    LimitRow{"reader-bytes",     "BYTES", &Limits::readerBytes,    1, kGigabyte, "largest sum of the events for one reader alone that wait for it; otherwise it is dropped"},
    LimitRow{"held-time",        "MS",    &Limits::heldTime,       1, kDay,      "for one call into a driver; then the watchdog answers 503 to everybody"},
    LimitRow{"end-time",         "MS",    &Limits::endTime,        1, kDay,      "for answers in progress when the host ends; then they are dropped"},
    LimitRow{"library-time",     "MS",    &Limits::libraryTime,    1, kDay,      "for the trial of a library; otherwise its drivers are left out"},
};
// clang-format on

static_assert(sizeof(std::size_t) == sizeof(std::chrono::milliseconds) &&
                  kTable.size() * sizeof(std::size_t) == sizeof(Limits),
              "every field of Limits needs a row");

}  // namespace

std::span<const LimitRow> LimitTable() {
    return kTable;
}

std::uint64_t LimitValue(const Limits& limits, const LimitRow& row) {
    if (const auto* count = std::get_if<std::size_t Limits::*>(&row.field)) return limits.**count;
    return static_cast<std::uint64_t>(
        (limits.*std::get<std::chrono::milliseconds Limits::*>(row.field)).count());
}

Fault SetLimit(Limits& limits, const LimitRow& row, std::string_view text) {
    const auto value = dv::ParseWhole<std::uint64_t>(text, row.least, row.most);
    if (!value) {
        return "expected a whole number of " + std::string(row.unit) + " from " + std::to_string(row.least) +
               " to " + std::to_string(row.most);
    }
    if (const auto* count = std::get_if<std::size_t Limits::*>(&row.field)) {
        limits.** count = *value;
    } else {
        limits.*std::get<std::chrono::milliseconds Limits::*>(row.field) = std::chrono::milliseconds(*value);
    }
    return {};
}

}  // namespace driverhost
