#include "driverhost/settings/Limits.h"

#include <array>

#include "host/glue/Numbers.h"

namespace driverhost {
namespace {

constexpr std::uint64_t kDay = 24ULL * 3600 * 1000;  // in MS: longer than anybody waits
constexpr std::uint64_t kGigabyte = 1ULL << 30U;     // in BYTES: more than a home's machine can spare
constexpr std::uint64_t kMostBodies = 1ULL << 40U;   // in BYTES
constexpr std::uint64_t kMillion = 1'000'000;        // in N
constexpr std::uint64_t kMinute = 60'000;            // in MS
constexpr std::uint64_t kSmallestHead = 256;         // in BYTES: what any client sends
constexpr std::uint64_t kLargestHead = 1ULL << 20U;  // in BYTES

// clang-format off
constexpr std::array kTable = {
    LimitRow{"head-bytes",       "BYTES", &Limits::headBytes,      kSmallestHead, kLargestHead, "size of a request's head; 431 beyond"},
    LimitRow{"body-bytes",       "BYTES", &Limits::bodyBytes,      1, kGigabyte, "size of a request's body; 413 beyond"},
    LimitRow{"state-bytes",      "BYTES", &Limits::stateBytes,     1, kGigabyte, "size of a state document put back; 413 beyond"},
    LimitRow{"total-body-bytes", "BYTES", &Limits::totalBodyBytes, kSmallBody, kMostBodies, "bodies over 16 KiB of all requests together; 503 beyond"},
    LimitRow{"form-fields",      "N",     &Limits::formFields,     1, kMillion,  "fields of a form; 413 beyond"},
    LimitRow{"connections",      "N",     &Limits::connections,    1, kMillion,  "open connections; 503 beyond"},
    LimitRow{"refusals",         "N",     &Limits::refusals,       0, kMillion,  "connections beyond that are answered at a time; closed beyond"},
    LimitRow{"head-time",        "MS",    &Limits::headTime,       1, kDay,      "for a head to come; 408 beyond"},
    LimitRow{"body-time",        "MS",    &Limits::bodyTime,       1, kDay,      "for a body to come; 408 beyond"},
    LimitRow{"idle-time",        "MS",    &Limits::idleTime,       1, kDay,      "of a connection without a request; closed beyond"},
    LimitRow{"write-time",       "MS",    &Limits::writeTime,      1, kDay,      "for a client to take what it is sent; closed beyond"},
    LimitRow{"linger-time",      "MS",    &Limits::lingerTime,     1, kMinute,   "for a client to take a last answer; closed beyond"},
    LimitRow{"comment-time",     "MS",    &Limits::commentTime,    1, kDay,      "between signs of life on an event stream"},
    LimitRow{"tick-time",        "MS",    &Limits::tick,           1, kMinute,   "between looks at the times above"},
    LimitRow{"kept-events",      "N",     &Limits::keptEvents,     1, kMillion,  "events kept for readers; the oldest goes beyond"},
    LimitRow{"kept-event-bytes", "BYTES", &Limits::keptEventBytes, 1, kGigabyte, "size of the events kept; the oldest goes beyond"},
    LimitRow{"reader-events",    "N",     &Limits::readerQueue,    1, kMillion,  "events that wait for one reader; it is dropped beyond"},
    LimitRow{"held-time",        "MS",    &Limits::heldTime,       1, kDay,      "of one call into a driver; the watchdog answers 503 beyond"},
    LimitRow{"end-time",         "MS",    &Limits::endTime,        1, kDay,      "for answers under way when the host ends; dropped beyond"},
    LimitRow{"library-time",     "MS",    &Limits::libraryTime,    1, kDay,      "for a library to be tried; its drivers are left out beyond"},
};
// clang-format on

static_assert(sizeof(std::size_t) == sizeof(std::chrono::milliseconds) &&
                  kTable.size() * sizeof(std::size_t) == sizeof(Limits),
              "every field of Limits needs its row");

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
