// A request and the response to it, as the routes see them.
#ifndef DRIVERHOST_HTTP_MESSAGE_H
#define DRIVERHOST_HTTP_MESSAGE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace driverhost {

struct Caller;
using CallerPtr = std::shared_ptr<const Caller>;

/// The way by which a request came in.
enum class Door {
    Network,  // whoever reaches the address; Trust decides
    Plain,    // the port without TLS, which only helps clients to find the other one
    Local     // the unix socket, which only this process's own user can open
};

/// The views are valid until the request is answered.
struct Request {
    Door door = Door::Network;
    std::string_view method;
    std::string_view target;
    std::size_t hosts = 0;  // the number of Host lines
    std::string_view host;
    std::optional<std::string_view> origin;
    std::optional<std::string_view> authorization;
    std::optional<std::string_view> cookie;
    std::optional<std::string_view> contentType;
    std::optional<std::string_view> lastEventId;
    std::optional<std::string_view> acceptEncoding;
    std::optional<std::string_view> ifNoneMatch;
    std::string_view body;
    std::string_view peer;  // where it comes from; an IPv6 network counts as one address
    CallerPtr caller{};     // whom the head showed; null: nobody who has signed in
};

class DriverReader;

/// Where an event stream begins.
struct StreamStart {
    std::uint64_t next;                            // the id of the first event to send
    bool reset;                                    // events before it are lost
    std::shared_ptr<DriverReader> driverReader{};  // for the stream of one driver's reader
    CallerPtr caller{};                            // who reads it, as long as they may
};

struct Response {
    unsigned int status = 204;
    std::string_view contentType;  // a constant; empty when there is no body
    std::string body;
    std::string headers;  // more header lines, each with its line end
    std::optional<StreamStart> stream;
    std::shared_ptr<const std::string> sharedBody{};  // in the place of `body`, for one that many clients get
    std::string_view caching = "no-store";            // of Cache-Control, a constant

    std::string_view Body() const { return sharedBody ? *sharedBody : body; }
};

/// Answers a request. Called once.
using Reply = std::function<void(Response response)>;

Response XmlResponse(std::string element);
Response EmptyResponse();
/// An <error> element; the text says what to do.
Response ErrorResponse(unsigned int status, const std::string& text);

/// A 405 that names the methods, as in "GET, PUT".
Response OtherMethodResponse(const std::string& allowed);

/// The reason phrase of a status, "Not Found" for 404.
std::string_view StatusText(unsigned int status);

/// The lines before the body, including the empty one.
std::string FormatHead(const Response& response, bool keepAlive);

}  // namespace driverhost

#endif
