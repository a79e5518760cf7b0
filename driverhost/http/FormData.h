// The fields of a form, application/x-www-form-urlencoded.
#ifndef DRIVERHOST_HTTP_FORMDATA_H
#define DRIVERHOST_HTTP_FORMDATA_H

#include <optional>
#include <string>

#include "driverhost/http/Message.h"
#include "driverhost/runtime/SystemEvents.h"
#include "driverhost/settings/Limits.h"

namespace driverhost {

struct Form {
    Parameters fields;        // in order, repeats included
    unsigned int status = 0;  // of the refusal: 400, 413 or 415; 0 when the form is good
    std::string fault;        // then: what to do about it
};

/// The fields in the request's body, `maxFields` at most. A request without body has none and needs
/// no content type.
Form ParseForm(const Request& request, std::size_t maxFields = Limits().formFields);

}  // namespace driverhost

#endif
