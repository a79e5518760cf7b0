// The one reading of numbers and booleans from text, the same for message parameters, XML
// values and attributes.
//
// Numbers follow strtol in base 10: leading white space, one sign, digits up to the first
// other character; no digits read as 0. Nothing throws. Ids and indexes are 32 bits wide
// whatever the platform's long is.
#ifndef HOST_GLUE_NUMBERS_H
#define HOST_GLUE_NUMBERS_H

#include <cstdint>
#include <string>
#include <string_view>

#include "host/interfaces/Export.h"

namespace dv {

/// The number as it stands, saturated to 64 bits.
DVHOST_API std::int64_t ParseLong(std::string_view text) noexcept;

/// A signed field: saturated to 32 bits.
DVHOST_API int ParseInt(std::string_view text) noexcept;

/// An id or index, 0 to 4294967295. The number saturates to -2147483648 to 4294967295; a negative
/// one is then taken modulo 2^32: -1 is 4294967295, -2147483648 and all below it are 2147483648.
/// So nothing but 0, or a text without digits, becomes id 0.
DVHOST_API unsigned long ParseULong(std::string_view text) noexcept;

/// The same for a number that has been read already.
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
