#include "host/glue/Numbers.h"

#include <algorithm>

namespace dv {
namespace {

constexpr std::int64_t kMaxULong = std::numeric_limits<std::uint32_t>::max();

bool EqualsIgnoringCase(std::string_view text, std::string_view lower) {
    return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                      [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b; });
}

// Counts away from zero in the sign's direction, so that the smallest number needs no exception.
std::int64_t ReadDigits(std::string_view digits, bool negative) {
    std::int64_t number = 0;
    for (const char c : digits) {
        if (c < '0' || c > '9') break;
        const int digit = negative ? '0' - c : c - '0';
        if (__builtin_mul_overflow(number, std::int64_t{10}, &number) ||
            __builtin_add_overflow(number, std::int64_t{digit}, &number)) {
            return negative ? std::numeric_limits<std::int64_t>::min()
                            : std::numeric_limits<std::int64_t>::max();
        }
    }
    return number;
}

}  // namespace

std::int64_t ParseLong(std::string_view text) noexcept {
    text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
    if (text.empty()) return 0;
    const bool negative = text.front() == '-';
    if (negative || text.front() == '+') text.remove_prefix(1);
    return ReadDigits(text, negative);
}

int ParseInt(std::string_view text) noexcept {
    constexpr std::int64_t lowest = std::numeric_limits<int>::min();
    constexpr std::int64_t highest = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(ParseLong(text), lowest, highest));
}

unsigned long ParseULong(std::string_view text) noexcept {
    return ToULong32(ParseLong(text));
}

unsigned long ToULong32(std::int64_t number) noexcept {
    return static_cast<std::uint32_t>(std::min(number, kMaxULong));
}

bool ParseBool(std::string_view text) noexcept {
    const std::string_view word = Trim(text);
    return word == "1" || EqualsIgnoringCase(word, "true");
}

std::string ToString(unsigned int number) {
    return std::to_string(number);
}

}  // namespace dv
