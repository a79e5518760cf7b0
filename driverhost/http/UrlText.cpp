#include "driverhost/http/UrlText.h"

#include <algorithm>

#include "host/xml/Utf8.h"

namespace driverhost {
namespace {

constexpr int kNoDigit = -1;

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return kNoDigit;
}

std::optional<char> HexByte(std::string_view digits) {
    if (digits.size() < 2) return std::nullopt;
    const int high = HexDigit(digits[0]);
    const int low = HexDigit(digits[1]);
    if (high == kNoDigit || low == kNoDigit) return std::nullopt;
    return static_cast<char>(high * 16 + low);
}

// How many of the first characters are ASCII, and no controls.
std::size_t CountPlain(std::string_view text) {
    const auto isPlain = [](char c) { return static_cast<signed char>(c) >= ' '; };
    return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isPlain) - text.begin());
}

}  // namespace

std::optional<std::string> PercentDecode(std::string_view text, Plus plus) {
    const auto stays = [](char c) { return c != '%' && c != '+'; };
    std::string decoded(text.begin(), std::find_if_not(text.begin(), text.end(), stays));
    if (decoded.size() == text.size()) return decoded;
    decoded.reserve(text.size());
    for (std::size_t at = decoded.size(); at < text.size(); ++at) {
        if (text[at] != '%') {
            decoded += text[at] == '+' && plus == Plus::IsBlank ? ' ' : text[at];
            continue;
        }
        const auto byte = HexByte(text.substr(at + 1));
        if (!byte) return std::nullopt;
        decoded += *byte;
        at += 2;
    }
    return decoded;
}

// Most texts are nothing but ASCII.
std::string_view XmlTextFault(std::string_view text) {
    while (true) {
        text.remove_prefix(CountPlain(text));
        if (text.empty()) return {};
        const std::size_t length = DvXML::Utf8Length(text);
        if (length == 0) return "it is not UTF-8";
        if (!DvXML::IsXmlCharacter(text.substr(0, length)))
            return "it holds a character that XML cannot carry";
        text.remove_prefix(length);
    }
}

}  // namespace driverhost
