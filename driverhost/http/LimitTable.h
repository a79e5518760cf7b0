// Every bound as an option of the command line: one row each. The parser, --help and the test of the
// page that lists them go by this table.
#ifndef DRIVERHOST_HTTP_LIMITTABLE_H
#define DRIVERHOST_HTTP_LIMITTABLE_H

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "driverhost/http/Limits.h"

namespace driverhost {

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

/// What is wrong with the text, and nothing is set then; empty when it is a value of the row.
std::string SetLimit(Limits& limits, const LimitRow& row, std::string_view text);

}  // namespace driverhost

#endif
