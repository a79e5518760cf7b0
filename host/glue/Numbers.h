// The one reading of numbers and booleans from text, the same for message parameters, XML
// values and attributes.
//
// Numbers follow strtol in base 10: leading white space, one sign, digits up to the first
// other character; no digits read as 0. Nothing throws. Ids and indexes are 32 bits wide
// whatever the platform's long is. ParseWhole is for texts in which anything else is a mistake.
#ifndef HOST_GLUE_NUMBERS_H
#define HOST_GLUE_NUMBERS_H

#include <charconv>
#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "host/interfaces/Export.h"

namespace dv {

/// What isspace takes in the "C" locale; the process's locale must not change how texts are read.
inline constexpr std::string_view kSpace = " \t\n\v\f\r";

/// The text without white space at its ends.
constexpr std::string_view Trim(std::string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(kSpace);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

/// The number that the text is from end to end: decimal digits, for signed types behind an optional "-",
/// and nothing else. None when it is anything else, or not from `least` to `most`.
template <std::integral Integer>
std::optional<Integer> ParseWhole(std::string_view text, Integer least = std::numeric_limits<Integer>::min(),
                                  Integer most = std::numeric_limits<Integer>::max()) noexcept {
    Integer number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number < least || number > most) return std::nullopt;
    return number;
}

/// The number as it stands, saturated to 64 bits.
DVHOST_API std::int64_t ParseLong(std::string_view text) noexcept;

/// A signed field: saturated to 32 bits.
DVHOST_API int ParseInt(std::string_view text) noexcept;

/// An id or index, 0 to 4294967295: negatives are taken modulo 2^32 (-1 is 4294967295), larger
/// numbers saturate, so that 4294967296 never becomes id 0.
DVHOST_API unsigned long ParseULong(std::string_view text) noexcept;

/// The same mapping for a number that was read already.
DVHOST_API unsigned long ToULong32(std::int64_t number) noexcept;

/// True for "true" and "1" in any case with white space around; false for all else.
DVHOST_API bool ParseBool(std::string_view text) noexcept;

/// Decimal text of a number.
DVHOST_API std::string ToString(unsigned int number);

/// The number after `number`; the smallest follows the largest.
constexpr int NextNumber(int number) noexcept {
    return static_cast<int>(static_cast<std::uint32_t>(number) + 1U);
}

/// "true" or "false".
constexpr const char* BoolText(bool value) noexcept { return value ? "true" : "false"; }

}  // namespace dv

#endif
