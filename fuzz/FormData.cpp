// Any bytes as the body of a form. What is understood is clean, and says the same when it is
// encoded and read again; what is not is refused with a reason. The first byte chooses the
// content type.
#include <array>
#include <optional>

#include "driverhost/http/FormData.h"
#include "fuzz/Fuzz.h"

namespace {

using namespace driverhost;

constexpr std::string_view kFormType = "application/x-www-form-urlencoded";
constexpr std::array<std::optional<std::string_view>, 4> kTypes = {
    kFormType, "APPLICATION/x-www-form-urlencoded ; charset=UTF-8", std::nullopt, "text/plain"};

std::string Encoded(std::string_view text) {
    constexpr char digits[] = "0123456789aBcDeF";
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        encoded.append({'%', digits[byte / 16], digits[byte % 16]});
    }
    return encoded;
}

Form Parsed(std::optional<std::string_view> type, std::string_view body) {
    Request request;
    request.contentType = type;
    request.body = body;
    return ParseForm(request);
}

void RequireClean(const Form& form) {
    for (const auto& [name, value] : form.fields) {
        fuzz::Require(!name.empty(), "a field has a name");
        fuzz::Require(XmlTextFault(name).empty() && XmlTextFault(value).empty(), "XML can carry every field");
    }
}

void RequireRefusal(const Form& form) {
    fuzz::Require(form.fields.empty(), "a refused form has no fields");
    fuzz::Require(form.status == 400 || form.status == 415, "a form is refused with 400 or 415");
    fuzz::Require(!form.fault.empty() && XmlTextFault(form.fault).empty(), "a refusal can be told");
}

void RequireSameAgain(const Form& form) {
    std::string body;
    for (const auto& [name, value] : form.fields)
        body.append(Encoded(name)).append("=").append(Encoded(value)).append("&");
    const Form again = Parsed(kFormType, body);
    fuzz::Require(again.status == 0 && again.fields == form.fields, "an encoded form says the same");
}

void CheckForm(std::optional<std::string_view> type, std::string_view body) {
    const Form form = Parsed(type, body);
    if (form.status != 0) return RequireRefusal(form);
    RequireClean(form);
    RequireSameAgain(form);
}

void CheckDecoding(std::string_view text) {
    for (const Plus plus : {Plus::IsPlus, Plus::IsBlank}) {
        const auto decoded = PercentDecode(text, plus);
        const bool hasPercent = text.find('%') != std::string_view::npos;
        fuzz::Require(decoded || hasPercent, "a text without '%' can be decoded");
        fuzz::Require(!decoded || decoded->size() <= text.size(), "decoding makes no text longer");
        fuzz::RequireEqual("an encoded text is decoded", text, PercentDecode(Encoded(text), plus).value());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view body = fuzz::Bytes(data + 1, size - 1);
    CheckForm(kTypes[data[0] % kTypes.size()], body);
    CheckDecoding(body);
    return 0;
}
