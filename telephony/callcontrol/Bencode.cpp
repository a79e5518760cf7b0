#include "telephony/callcontrol/Bencode.h"

#include <charconv>

namespace telephony {
namespace {

using nlohmann::json;

constexpr int kDeepest = 32;

void Append(std::string& out, const json& value) {
    if (value.is_number_integer()) {
        out += "i" + std::to_string(value.get<std::int64_t>()) + "e";
    } else if (value.is_string()) {
        const auto& text = value.get_ref<const std::string&>();
        out += std::to_string(text.size()) + ":" + text;
    } else if (value.is_array()) {
        out += "l";
        for (const json& element : value)
            Append(out, element);
        out += "e";
    } else if (value.is_object()) {
        out += "d";
        for (const auto& [key, element] : value.items()) {
            Append(out, key);
            Append(out, element);
        }
        out += "e";
    }
}

class Reader {
public:
    explicit Reader(std::string_view text) : text_(text) {}

    std::optional<json> Value(int depth) {
        if (text_.empty() || depth > kDeepest) return std::nullopt;
        switch (text_.front()) {
            case 'i':
                text_.remove_prefix(1);
                return Number('e');
            case 'l':
                text_.remove_prefix(1);
                return List(depth);
            case 'd':
                text_.remove_prefix(1);
                return Dictionary(depth);
            default:
                return String();
        }
    }

    bool AtEnd() const { return text_.empty(); }

private:
    std::optional<json> Number(char end) {
        std::int64_t number = 0;
        const auto [next, error] = std::from_chars(text_.data(), text_.data() + text_.size(), number);
        const auto length = static_cast<std::size_t>(next - text_.data());
        if (error != std::errc() || length >= text_.size() || text_[length] != end) return std::nullopt;
        text_.remove_prefix(length + 1);
        return number;
    }

    std::optional<json> String() {
        const auto length = Number(':');
        if (!length || *length < 0 || length->get<std::size_t>() > text_.size()) return std::nullopt;
        std::string text(text_.substr(0, length->get<std::size_t>()));
        text_.remove_prefix(text.size());
        return text;
    }

    bool TakeEnd() {
        if (text_.empty() || text_.front() != 'e') return false;
        text_.remove_prefix(1);
        return true;
    }

    std::optional<json> List(int depth) {
        json list = json::array();
        while (!TakeEnd()) {
            auto element = Value(depth + 1);
            if (!element) return std::nullopt;
            list.push_back(std::move(*element));
        }
        return list;
    }

    std::optional<json> Dictionary(int depth) {
        json dictionary = json::object();
        while (!TakeEnd()) {
            const auto key = String();
            auto element = key ? Value(depth + 1) : std::nullopt;
            if (!element) return std::nullopt;
            dictionary[key->get<std::string>()] = std::move(*element);
        }
        return dictionary;
    }

    std::string_view text_;
};

}  // namespace

std::string Bencode(const json& value) {
    std::string out;
    Append(out, value);
    return out;
}

std::optional<json> Unbencode(std::string_view text) {
    Reader reader(text);
    auto value = reader.Value(0);
    return value && reader.AtEnd() ? value : std::nullopt;
}

}  // namespace telephony
