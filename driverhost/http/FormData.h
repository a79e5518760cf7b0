// The fields of a form (application/x-www-form-urlencoded), and percent-encoding, which paths use as well.
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
    Fault fault;              // its text, which says what to do
};

/// The fields in the request's body, of which there may be `maxFields`. A request without a body has none,
/// and needs no content type.
Form ParseForm(const Request& request, std::size_t maxFields = Limits().formFields);

enum class Plus { IsPlus, IsBlank };

/// The text with every %XX decoded. None when a % is not followed by two hexadecimal digits.
std::optional<std::string> PercentDecode(std::string_view text, Plus plus);

/// Why XML cannot carry the text: it is not UTF-8, or has a character that XML 1.0 excludes.
Fault XmlTextFault(std::string_view text);

}  // namespace driverhost

#endif
