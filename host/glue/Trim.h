// White space around a text. Internal to host/.
#ifndef HOST_GLUE_TRIM_H
#define HOST_GLUE_TRIM_H

#include <string_view>

namespace dv {

/// What isspace takes in the "C" locale; the process's locale must not change how texts are read.
inline constexpr std::string_view kSpace = " \t\n\v\f\r";

constexpr std::string_view Trim(std::string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(kSpace);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

}  // namespace dv

#endif
