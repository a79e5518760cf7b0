// A request and its answer, as the routes see them.
#ifndef DRIVERHOST_HTTP_MESSAGE_H
#define DRIVERHOST_HTTP_MESSAGE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace driverhost {

/// What views look at lives until the request is answered.
struct Request {
    std::string_view method;
    std::string_view target;
    std::size_t hosts = 0;  // how many Host lines there are
    std::string_view host;
    std::optional<std::string_view> origin;
    std::optional<std::string_view> authorization;
    std::optional<std::string_view> contentType;
    std::optional<std::string_view> lastEventId;
    std::string_view body;
};

/// Where an event stream begins.
struct StreamStart {
    std::uint64_t next;  // the id of the first event told
    bool reset;          // something before it is lost
};

struct Response {
    unsigned int status = 204;
    std::string_view contentType;  // a constant; empty without body
    std::string body;
    std::string headers;  // further header lines, each with its line end
    std::optional<StreamStart> stream;
};

/// Answers a request; called once.
using Reply = std::function<void(Response response)>;

Response XmlResponse(std::string element);
Response EmptyResponse();
/// An <error> element; the text says what to do.
Response ErrorResponse(unsigned int status, const std::string& text);

/// The words behind a status number.
std::string_view StatusText(unsigned int status);

/// The lines that stand before the body, the empty one included.
std::string FormatHead(const Response& response, bool keepAlive);

}  // namespace driverhost

#endif
