#include "driverhost/http/server/RequestReader.h"

#include <algorithm>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/error.hpp>
#include <limits>
#include <optional>
#include <utility>

#include "driverhost/http/server/RequestParser.h"
#include "driverhost/runtime/Fault.h"
#include "driverhost/settings/Limits.h"

namespace driverhost {
namespace {

namespace beast = boost::beast;
namespace http = boost::beast::http;

constexpr std::size_t kReadBytes = 16 * 1024;

// The end of a chunked body. If the parser gets three of these bytes and then the fourth, one of its
// assertions fails and ends the process. So it gets all of them at once.
constexpr std::string_view kLastChunk = "0\r\n\r\n";

bool IsOversizedHead(const beast::error_code& error) {
    return error == http::error::header_limit || error == http::error::buffer_overflow;
}

}  // namespace

struct RequestReader::Parser {
    Parser(std::size_t headLimit, std::size_t bodyLimit)
        : headBytes(headLimit), largestBody(bodyLimit), bodyBytes(bodyLimit) {}

    void Begin() {
        message.emplace(parts);
        message->header_limit(static_cast<std::uint32_t>(headBytes));
        bodyBytes = largestBody;
        message->body_limit(
            std::numeric_limits<std::uint64_t>::max());  // until the head has shown which one applies
    }

    // True when the parser used some bytes. Otherwise it needs more, or `error` is set.
    bool Put() {
        if (buffer.size() == 0) return false;
        const std::size_t used = message->put(buffer.data(), error);
        buffer.consume(used);
        understood += used;
        if (error != http::error::need_more) return !error;
        error = {};
        return false;
    }

    bool IsWithinLastChunk() const {
        const std::string_view begun(static_cast<const char*>(buffer.data().data()), buffer.size());
        return message->chunked() && begun != kLastChunk && kLastChunk.starts_with(begun);
    }

    Progress Fail(unsigned int status, std::string text) {
        failure = ErrorResponse(status, text);
        return Progress::Failed;
    }

    Progress FailByError() {
        if (IsOversizedHead(error)) return FailHead();
        if (error == http::error::body_limit) return FailBody();
        return Fail(400, "malformed request: " + error.message());
    }

    Progress FailBody() {
        return Fail(413,
                    "the body is too large; it may have at most " + std::to_string(bodyBytes) + " bytes");
    }

    Progress FailHead() {
        return Fail(431,
                    "the head is too large; it may have at most " + std::to_string(headBytes) + " bytes");
    }

    bool IsTooLong() const {
        const auto length = message->content_length();
        return length && *length > bodyBytes;
    }

    Fault FramingFault() const;
    Progress AdvanceHead();
    Progress AdvanceBody();
    const std::size_t headBytes;
    const std::size_t largestBody;
    std::size_t bodyBytes;  // of this request
    beast::flat_buffer buffer;
    RequestParts parts;
    std::optional<RequestParser> message;
    beast::error_code error;
    std::size_t understood = 0;  // bytes of the current request that were parsed
    bool headDone = false;
    Request request;
    Response failure;
};

// The parser only bounds the bytes that it gets in one call. The sum is checked here.
RequestReader::Progress RequestReader::Parser::AdvanceHead() {
    if (!message) Begin();
    Put();
    if (error) return FailByError();
    if (!message->is_header_done()) {
        return understood + buffer.size() > headBytes ? FailHead() : Progress::NeedHead;
    }
    if (understood > headBytes) return FailHead();
    if (const Fault fault = FramingFault(); !fault.empty()) return Fail(400, fault);
    message->body_limit(bodyBytes);
    headDone = true;
    parts.FillHead(request);
    return Progress::HeadDone;
}

// Everybody on the way must agree on where a request ends. If another server read the framing differently, a
// second request could hide in the body of the first.
Fault RequestReader::Parser::FramingFault() const {
    if (parts.contentLength.count > 1 || parts.contentLength.value.find(',') != std::string::npos) {
        return "there is more than one Content-Length; send it once";
    }
    const HeadLine& encoding = parts.transferEncoding;
    if (encoding.count == 0) return {};
    if (encoding.count > 1 || !beast::iequals(encoding.value, "chunked")) {
        return "the only transfer encoding that is understood is chunked";
    }
    return message->IsBeforeVersion11() ? "HTTP/1.0 has no transfer encodings" : Fault();
}

RequestReader::Progress RequestReader::Parser::AdvanceBody() {
    if (IsTooLong()) return FailBody();
    while (!message->is_done()) {
        if (IsWithinLastChunk()) return Progress::NeedBody;
        if (Put()) continue;
        if (error) return FailByError();
        // The parser takes the bytes of bodies at once. What it leaves is the frame of a chunk, which is
        // short.
        return buffer.size() > headBytes ? FailHead() : Progress::NeedBody;
    }
    request.body = parts.body;
    return Progress::Done;
}

RequestReader::RequestReader(std::size_t headBytes, std::size_t bodyBytes)
    : parser_(std::make_unique<Parser>(headBytes, bodyBytes)) {}

RequestReader::~RequestReader() = default;

std::span<char> RequestReader::Prepare() {
    const auto room = parser_->buffer.prepare(kReadBytes);
    return {static_cast<char*>(room.data()), room.size()};
}

void RequestReader::Commit(std::size_t bytes) {
    parser_->buffer.commit(bytes);
}

RequestReader::Progress RequestReader::Advance() {
    return parser_->headDone ? parser_->AdvanceBody() : parser_->AdvanceHead();
}

bool RequestReader::HasBegun() const {
    return parser_->understood > 0 || parser_->buffer.size() > 0;
}

const Request& RequestReader::Get() const {
    return parser_->request;
}

bool RequestReader::KeepAlive() const {
    return parser_->message && parser_->message->keep_alive();
}

bool RequestReader::ExpectsContinue() const {
    return beast::iequals(parser_->parts.expect.value, "100-continue");
}

bool RequestReader::LimitBody(std::size_t bytes) {
    parser_->bodyBytes = bytes;
    parser_->message->body_limit(bytes);
    if (!parser_->IsTooLong()) return true;
    parser_->FailBody();
    return false;
}

std::size_t RequestReader::BodyBytes() const {
    if (!parser_->message) return 0;
    const std::uint64_t promised = parser_->message->content_length().value_or(0);
    const std::size_t bytes = std::max<std::size_t>(promised, parser_->parts.body.size());
    return bytes > kSmallBody ? bytes : 0;
}

void RequestReader::ForgetBody() {
    parser_->request.body = {};
    parser_->parts.ClearBody();
}

Response RequestReader::Failure() const {
    return parser_->failure;
}

void RequestReader::Next() {
    parser_->message.reset();
    parser_->parts.Clear();
    parser_->request = {};
    parser_->understood = 0;
    parser_->headDone = false;
}

void RequestReader::Discard() {
    parser_->buffer.consume(parser_->buffer.size());
}

}  // namespace driverhost
