#include "driverhost/http/server/RequestParser.h"

#include "driverhost/settings/Limits.h"

namespace driverhost {
namespace {

namespace beast = boost::beast;
using beast::http::field;

constexpr beast::string_view kLastEventId = "Last-Event-ID";

void Clear(HeadLine& line) {
    line.count = 0;
    line.value.clear();
}

}  // namespace

void RequestParts::Clear() {
    method.clear();
    target.clear();
    for (HeadLine* line : {&host, &origin, &authorization, &cookie, &contentType, &contentLength,
                           &transferEncoding, &expect, &lastEventId, &acceptEncoding, &ifNoneMatch})
        driverhost::Clear(*line);
    ClearBody();
}

void RequestParts::ClearBody() {
    if (body.capacity() > kSmallBody) {
        body = std::string();
    } else {
        body.clear();
    }
}

void RequestParts::FillHead(Request& request) const {
    request.method = method;
    request.target = target;
    request.hosts = host.count;
    request.host = host.value;
    request.origin = origin.Get();
    request.authorization = authorization.Get();
    request.cookie = cookie.Get();
    request.contentType = contentType.Get();
    request.lastEventId = lastEventId.Get();
    request.acceptEncoding = acceptEncoding.Get();
    request.ifNoneMatch = ifNoneMatch.Get();
}

HeadLine* RequestParser::Find(Field known, Text name) {
    switch (known) {
        case field::host:
            return &parts_.host;
        case field::origin:
            return &parts_.origin;
        case field::authorization:
            return &parts_.authorization;
        case field::cookie:
            return &parts_.cookie;
        case field::content_type:
            return &parts_.contentType;
        case field::content_length:
            return &parts_.contentLength;
        case field::transfer_encoding:
            return &parts_.transferEncoding;
        case field::expect:
            return &parts_.expect;
        case field::accept_encoding:
            return &parts_.acceptEncoding;
        case field::if_none_match:
            return &parts_.ifNoneMatch;
        case field::unknown:
            return beast::iequals(name, kLastEventId) ? &parts_.lastEventId : nullptr;
        default:
            return nullptr;
    }
}

void RequestParser::on_request_impl(beast::http::verb, Text method, Text target, int version, Error&) {
    parts_.method.assign(method.data(), method.size());
    parts_.target.assign(target.data(), target.size());
    version_ = version;
}

void RequestParser::on_field_impl(Field known, Text name, Text value, Error&) {
    HeadLine* const line = Find(known, name);
    if (!line) return;
    if (line->count++ == 0) line->value.assign(value.data(), value.size());
}

// By now the head was checked against the limit of bodies, so the length can be trusted.
void RequestParser::on_body_init_impl(const boost::optional<std::uint64_t>& length, Error&) {
    if (length) parts_.body.reserve(static_cast<std::size_t>(*length));
}

std::size_t RequestParser::on_body_impl(Text piece, Error&) {
    parts_.body.append(piece.data(), piece.size());
    return piece.size();
}

std::size_t RequestParser::on_chunk_body_impl(std::uint64_t, Text piece, Error& error) {
    return on_body_impl(piece, error);
}

}  // namespace driverhost
