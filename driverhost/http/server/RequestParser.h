// Beast's parser reports a request piece by piece. What the host needs of it is kept here, in strings that
// are used again for the next request of the connection.
#ifndef DRIVERHOST_HTTP_SERVER_REQUESTPARSER_H
#define DRIVERHOST_HTTP_SERVER_REQUESTPARSER_H

#include <boost/beast/http/basic_parser.hpp>
#include <cstddef>
#include <optional>
#include <string>

#include "driverhost/http/Message.h"

namespace driverhost {

/// A line of the head. If it is there more than once, the first one counts.
struct HeadLine {
    std::size_t count = 0;
    std::string value;  // of the first one

    std::optional<std::string_view> Get() const {
        return count == 0 ? std::nullopt : std::optional<std::string_view>(value);
    }
};

/// The parts of a request that have arrived.
struct RequestParts {
    /// Empties everything, but keeps the memory of heads and small bodies.
    void Clear();
    void ClearBody();
    /// Sets the views of `request`, which point into this.
    void FillHead(Request& request) const;

    std::string method;
    std::string target;
    HeadLine host;
    HeadLine origin;
    HeadLine authorization;
    HeadLine cookie;
    HeadLine contentType;
    HeadLine contentLength;
    HeadLine transferEncoding;
    HeadLine expect;
    HeadLine lastEventId;
    HeadLine acceptEncoding;
    HeadLine ifNoneMatch;
    std::string body;
};

/// Parses one request. A new one is made for each.
class RequestParser final : public boost::beast::http::basic_parser<true> {
public:
    /// Fills `parts`, which must be empty and outlive this.
    explicit RequestParser(RequestParts& parts) : parts_(parts) {}

    bool IsBeforeVersion11() const { return version_ < 11; }

private:
    using Error = boost::beast::error_code;
    using Text = boost::beast::string_view;
    using Field = boost::beast::http::field;

    HeadLine* Find(Field field, Text name);

    // basic_parser
    void on_request_impl(boost::beast::http::verb, Text method, Text target, int version, Error&) override;
    void on_response_impl(int, Text, int, Error&) override {}  // only called for responses
    void on_field_impl(Field field, Text name, Text value, Error&) override;
    void on_header_impl(Error&) override {}
    void on_body_init_impl(const boost::optional<std::uint64_t>& length, Error&) override;
    std::size_t on_body_impl(Text piece, Error&) override;
    void on_chunk_header_impl(std::uint64_t, Text, Error&) override {}
    std::size_t on_chunk_body_impl(std::uint64_t, Text piece, Error&) override;
    void on_finish_impl(Error&) override {}

    RequestParts& parts_;
    int version_ = 0;
};

}  // namespace driverhost

#endif
