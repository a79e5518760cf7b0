#include "drivers/panel/Values.h"

#include <boost/algorithm/string/predicate.hpp>
#include <charconv>

namespace Values {

namespace {

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kWhiteSpace = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

}  // namespace

std::optional<bool> ReadFlag(std::string_view text) {
    text = Trimmed(text);
    if (text == "1" || boost::algorithm::iequals(text, "true")) return true;
    if (text == "0" || boost::algorithm::iequals(text, "false")) return false;
    return std::nullopt;
}

std::optional<std::int64_t> ReadWhole(std::string_view text, std::int64_t least, std::int64_t most) {
    text = Trimmed(text);
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result read = std::from_chars(text.data(), end, number);
    if (read.ec != std::errc() || read.ptr != end || number < least || number > most) return std::nullopt;
    return number;
}

}  // namespace Values
