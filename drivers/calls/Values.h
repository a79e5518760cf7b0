// The strict reading of values that a person wrote.
#ifndef DRIVERS_CALLS_VALUES_H
#define DRIVERS_CALLS_VALUES_H

#include <cstdint>
#include <optional>
#include <string_view>

/// dv::ParseInt and dv::ParseBool accept any text; these reject what cannot have been meant.
namespace Values {

/// "true", "false", "1" or "0" in any case, with white space around; none for any other text.
std::optional<bool> ReadFlag(std::string_view text);

/// A decimal number from `min` to `max`, with an optional sign and white space around; none for any
/// other text.
std::optional<std::int64_t> ReadWhole(std::string_view text, std::int64_t min, std::int64_t max);

}  // namespace Values

#endif
