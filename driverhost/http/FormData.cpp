#include "driverhost/http/FormData.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "host/glue/Numbers.h"
#include "host/xml/Characters.h"

namespace driverhost {
namespace {

constexpr std::string_view kFormType = "application/x-www-form-urlencoded";
constexpr unsigned int kMalformed = 400;
constexpr unsigned int kTooMany = 413;
constexpr unsigned int kOtherType = 415;

// The byte that two hexadecimal digits write.
std::optional<char> HexByte(std::string_view digits) {
    if (digits.size() < 2) return std::nullopt;
    unsigned char byte = 0;
    const char* const end = digits.data() + 2;
    if (std::from_chars(digits.data(), end, byte, 16).ptr != end) return std::nullopt;
    return static_cast<char>(byte);
}

// The number of characters at the beginning that are ASCII and not controls.
std::size_t CountPlain(std::string_view text) {
    const auto isPlain = [](char c) { return static_cast<signed char>(c) >= ' '; };
    return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isPlain) - text.begin());
}

Form Refusal(unsigned int status, Fault fault) {
    return {{}, status, std::move(fault)};
}

// Parameters of the type, such as "; charset=UTF-8", make no difference.
bool IsFormType(std::string_view contentType) {
    const std::string_view type = dv::Trim(contentType.substr(0, contentType.find(';')));
    return type.size() == kFormType.size() && strncasecmp(type.data(), kFormType.data(), type.size()) == 0;
}

Fault AddField(std::string_view pair, Parameters& fields) {
    const std::size_t equals = pair.find('=');
    auto name = PercentDecode(pair.substr(0, equals), Plus::IsBlank);
    auto value =
        PercentDecode(equals == std::string_view::npos ? "" : pair.substr(equals + 1), Plus::IsBlank);
    if (!name || !value) return "a '%' is not followed by two hexadecimal digits; write '%' as %25";
    if (name->empty()) return "a field has no name; expected name=value";
    if (const Fault fault = XmlTextFault(*name); !fault.empty())
        return "the name of a field cannot be used: " + fault;
    if (const Fault fault = XmlTextFault(*value); !fault.empty())
        return "the value of field '" + *name + "' cannot be used: " + fault;
    fields.emplace_back(std::move(*name), std::move(*value));
    return {};
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

// Skips plain ASCII quickly: most texts have nothing else.
Fault XmlTextFault(std::string_view text) {
    while (true) {
        text.remove_prefix(CountPlain(text));
        if (text.empty()) return {};
        const std::size_t length = DvXML::Utf8Length(text);
        if (length == 0) return "it is not UTF-8";
        if (!DvXML::IsXmlCharacter(text.substr(0, length))) return "it has a character that XML cannot carry";
        text.remove_prefix(length);
    }
}

Form ParseForm(const Request& request, std::size_t maxFields) {
    if (request.contentType ? !IsFormType(*request.contentType) : !request.body.empty()) {
        return Refusal(kOtherType, "parameters must be form fields; send them as " + std::string(kFormType));
    }
    Form form;
    std::string_view rest = request.body;
    while (!rest.empty()) {
        const std::size_t end = rest.find('&');
        const std::string_view pair = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        if (pair.empty()) continue;
        if (form.fields.size() == maxFields) {
            return Refusal(kTooMany,
                           "the form has too many fields; it may have " + std::to_string(maxFields));
        }
        if (const Fault fault = AddField(pair, form.fields); !fault.empty()) {
            return Refusal(kMalformed, "malformed form: " + fault);
        }
    }
    return form;
}

}  // namespace driverhost
