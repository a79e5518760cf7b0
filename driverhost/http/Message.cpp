#include "driverhost/http/Message.h"

#include <utility>

#include "host/interfaces/DvXML.h"

namespace driverhost {
namespace {

constexpr std::string_view kXml = "application/xml";
constexpr std::size_t kHeadBytes = 384;  // enough for a head without more lines
// Texts of the home stand in it: opened as a page by itself or in a frame, it is to do nothing.
constexpr std::string_view kInert = "Content-Security-Policy: default-src 'none'; frame-ancestors 'none'\r\n";

}  // namespace

Response XmlResponse(std::string element) {
    return {.status = 200, .contentType = kXml, .body = std::move(element), .headers = {}, .stream = {}};
}

Response EmptyResponse() {
    return {};
}

Response ErrorResponse(unsigned int status, const std::string& text) {
    Response response = XmlResponse(DvXML::CreateXmlNode("error", text)->NodeToText());
    response.status = status;
    return response;
}

Response OtherMethodResponse(const std::string& allowed) {
    Response response = ErrorResponse(405, "this path takes only " + allowed);
    response.headers = "Allow: " + allowed + "\r\n";
    return response;
}

std::string_view StatusText(unsigned int status) {
    switch (status) {
        case 200:
            return "OK";
        case 204:
            return "No Content";
        case 304:
            return "Not Modified";
        case 308:
            return "Permanent Redirect";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 408:
            return "Request Timeout";
        case 409:
            return "Conflict";
        case 413:
            return "Content Too Large";
        case 415:
            return "Unsupported Media Type";
        case 429:
            return "Too Many Requests";
        case 431:
            return "Request Header Fields Too Large";
        case 500:
            return "Internal Server Error";
        case 503:
            return "Service Unavailable";
        default:
            return "Other";
    }
}

std::string FormatHead(const Response& response, bool keepAlive) {
    std::string head;
    head.reserve(kHeadBytes + response.headers.size());
    head.append("HTTP/1.1 ")
        .append(std::to_string(response.status))
        .append(" ")
        .append(StatusText(response.status))
        .append("\r\n");
    if (!response.contentType.empty())
        head.append("Content-Type: ").append(response.contentType).append("\r\n");
    if (response.status != 204 && response.status != 304 && !response.stream) {
        head.append("Content-Length: ").append(std::to_string(response.Body().size())).append("\r\n");
    }
    head.append("Cache-Control: ").append(response.caching);
    head.append("\r\nX-Content-Type-Options: nosniff\r\n").append(response.headers);
    if (response.contentType == kXml) head.append(kInert);
    head.append(keepAlive ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n");
    return head;
}

}  // namespace driverhost
