// Enumerators and their words, a row each.
#ifndef TELEPHONY_PROTOCOL_WORDS_H
#define TELEPHONY_PROTOCOL_WORDS_H

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace telephony {

template <typename Enum>
struct Word {
    Enum value;
    std::string_view text;
};

template <typename Enum, std::size_t Count>
using Words = std::array<Word<Enum>, Count>;

template <typename Enum, std::size_t Count>
std::string_view TextIn(const Words<Enum, Count>& words, Enum value) {
    const auto row = std::ranges::find(words, value, &Word<Enum>::value);
    return row == words.end() ? std::string_view() : row->text;
}

template <typename Enum, std::size_t Count>
std::optional<Enum> ValueIn(const Words<Enum, Count>& words, std::string_view text) {
    const auto row = std::ranges::find(words, text, &Word<Enum>::text);
    return row == words.end() ? std::nullopt : std::optional<Enum>(row->value);
}

}  // namespace telephony

#endif
