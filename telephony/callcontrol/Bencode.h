// The encoding of rtpengine's ng protocol: whole numbers, texts, lists, dictionaries.
#ifndef TELEPHONY_CALLCONTROL_BENCODE_H
#define TELEPHONY_CALLCONTROL_BENCODE_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace telephony {

/// Of whole numbers, texts (of any bytes), arrays and objects; other values have no form and are left out.
std::string Bencode(const nlohmann::json& value);

/// None when the text is not one whole value, or is nested deeper than any answer of rtpengine.
std::optional<nlohmann::json> Unbencode(std::string_view text);

}  // namespace telephony

#endif
