// Characters: their shape in UTF-8 (RFC 3629), and what XML makes of them.
#ifndef HOST_XML_CHARACTERS_H
#define HOST_XML_CHARACTERS_H

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace DvXML {

/// The length in bytes, 1 to 4, of the character that `text` begins with; 0 when it begins with none:
/// empty, truncated, overlong, a surrogate, or beyond U+10FFFF.
constexpr std::size_t Utf8Length(std::string_view text) noexcept {
    const auto byteAt = [text](std::size_t at) -> unsigned {
        return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
    };
    const auto follows = [byteAt](std::size_t at) { return (byteAt(at) & 0xC0U) == 0x80U; };
    const unsigned first = byteAt(0);
    const unsigned second = byteAt(1);
    if (first < 0x80) return text.empty() ? 0 : 1;
    if (first < 0xC2 || first > 0xF4 || !follows(1)) return 0;
    if (first < 0xE0) return 2;
    const bool overlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool surrogate = first == 0xED && second >= 0xA0;
    const bool beyond = first == 0xF4 && second >= 0x90;
    if (overlong || surrogate || beyond || !follows(2)) return 0;
    if (first < 0xF0) return 3;
    return follows(3) ? 4 : 0;
}

/// True when XML 1.0 can carry the character, which is one whole and well-formed (section 2.2): not for
/// controls but tab and line breaks, nor for U+FFFE and U+FFFF.
constexpr bool IsXmlCharacter(std::string_view character) noexcept {
    const unsigned first = static_cast<unsigned char>(character.front());
    if (first < 0x20) return first == '\t' || first == '\n' || first == '\r';
    return character != "\xEF\xBF\xBE" && character != "\xEF\xBF\xBF";
}

/// True when the text is nothing but what XML takes for white space.
constexpr bool IsBlank(std::string_view text) noexcept {
    const auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    return std::all_of(text.begin(), text.end(), isSpace);
}

}  // namespace DvXML

#endif
