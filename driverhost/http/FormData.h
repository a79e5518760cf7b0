// The fields of a form (application/x-www-form-urlencoded), and the percent-encoded texts in it and in
// addresses.
#ifndef DRIVERHOST_HTTP_FORMDATA_H
#define DRIVERHOST_HTTP_FORMDATA_H

#include <optional>
#include <string>
#include <string_view>

#include "driverhost/http/Message.h"
#include "driverhost/runtime/Fault.h"
#include "driverhost/runtime/SystemEvents.h"
#include "driverhost/settings/Limits.h"

namespace driverhost {

struct Form {
    Parameters fields;        // in order, repeats included
    unsigned int status = 0;  // of the refusal: 400, 413 or 415; 0 when the form is good
    Fault fault;              // then: what to do about it
};

/// The fields in the request's body, `maxFields` at most. A request without body has none and needs
/// no content type.
Form ParseForm(const Request& request, std::size_t maxFields = Limits().formFields);

enum class Plus { IsPlus, IsBlank };

/// The text behind %XX; none when a % is not followed by two hexadecimal digits.
std::optional<std::string> PercentDecode(std::string_view text, Plus plus);

/// Why XML cannot carry the text: not UTF-8, or a character that XML 1.0 excludes.
Fault XmlTextFault(std::string_view text);

}  // namespace driverhost

#endif
