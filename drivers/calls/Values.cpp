#include "drivers/calls/Values.h"

#include <boost/algorithm/string/predicate.hpp>

#include "host/glue/Numbers.h"

namespace Values {

std::optional<bool> ReadFlag(std::string_view text) {
    text = dv::Trim(text);
    if (text == "1" || boost::algorithm::iequals(text, "true")) return true;
    if (text == "0" || boost::algorithm::iequals(text, "false")) return false;
    return std::nullopt;
}

std::optional<std::int64_t> ReadWhole(std::string_view text, std::int64_t min, std::int64_t max) {
    text = dv::Trim(text);
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    return dv::ParseWhole<std::int64_t>(text, min, max);
}

}  // namespace Values
