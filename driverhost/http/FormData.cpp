#include "driverhost/http/FormData.h"

#include <strings.h>

#include <utility>

#include "driverhost/http/UrlText.h"

namespace driverhost {
namespace {

constexpr std::string_view kFormType = "application/x-www-form-urlencoded";
constexpr unsigned int kMalformed = 400;
constexpr unsigned int kTooMany = 413;
constexpr unsigned int kOtherType = 415;

Form Refusal(unsigned int status, std::string fault) {
    return {{}, status, std::move(fault)};
}

// Without its parameters: "; charset=UTF-8" adds nothing.
bool IsFormType(std::string_view contentType) {
    std::string_view type = contentType.substr(0, contentType.find(';'));
    while (type.ends_with(' ') || type.ends_with('\t'))
        type.remove_suffix(1);
    return type.size() == kFormType.size() && strncasecmp(type.data(), kFormType.data(), type.size()) == 0;
}

std::string AddField(std::string_view pair, Parameters& fields) {
    const std::size_t equals = pair.find('=');
    auto name = PercentDecode(pair.substr(0, equals), Plus::IsBlank);
    auto value =
        PercentDecode(equals == std::string_view::npos ? "" : pair.substr(equals + 1), Plus::IsBlank);
    if (!name || !value) return "a '%' is not followed by two hexadecimal digits; write '%' as %25";
    if (name->empty()) return "a field has no name; expected name=value";
    if (const auto fault = XmlTextFault(*name); !fault.empty()) {
        return std::string("the name of a field is not usable: ").append(fault);
    }
    if (const auto fault = XmlTextFault(*value); !fault.empty()) {
        return "the value of field '" + *name + "' is not usable: " + std::string(fault);
    }
    fields.emplace_back(std::move(*name), std::move(*value));
    return {};
}

}  // namespace

Form ParseForm(const Request& request, std::size_t maxFields) {
    if (request.contentType ? !IsFormType(*request.contentType) : !request.body.empty()) {
        return Refusal(kOtherType, "parameters are form fields; send them as " + std::string(kFormType));
    }
    Form form;
    std::string_view rest = request.body;
    while (!rest.empty()) {
        const std::size_t end = rest.find('&');
        const std::string_view pair = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        if (pair.empty()) continue;
        if (form.fields.size() == maxFields) {
            return Refusal(kTooMany, "the form has too many fields; at most " + std::to_string(maxFields) +
                                         " are taken");
        }
        if (const std::string fault = AddField(pair, form.fields); !fault.empty()) {
            return Refusal(kMalformed, "malformed form: " + fault);
        }
    }
    return form;
}

}  // namespace driverhost
