// Strict reading of values that a person wrote. dv::ParseInt and its like read anything as
// something; these tell what was not meant.
#ifndef DRIVERS_PANEL_VALUES_H
#define DRIVERS_PANEL_VALUES_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace Values {

/// "true", "false", "1" or "0" in any case with white space around; none for all else.
std::optional<bool> ReadFlag(std::string_view text);

/// A decimal number with an optional sign and white space around, from `least` to `most`; none
/// for all else.
std::optional<std::int64_t> ReadWhole(std::string_view text, std::int64_t least, std::int64_t most);

}  // namespace Values

#endif
