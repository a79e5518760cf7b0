// Texts in URLs and forms.
#ifndef DRIVERHOST_HTTP_URLTEXT_H
#define DRIVERHOST_HTTP_URLTEXT_H

#include <optional>
#include <string>
#include <string_view>

namespace driverhost {

enum class Plus { IsPlus, IsBlank };

/// The text behind %XX; none when a % is not followed by two hexadecimal digits.
std::optional<std::string> PercentDecode(std::string_view text, Plus plus);

/// Why XML cannot carry the text: not UTF-8, or a character that XML 1.0 excludes. Empty when it can.
std::string_view XmlTextFault(std::string_view text);

}  // namespace driverhost

#endif
