#include "client/Connection.h"

#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <cctype>
#include <chrono>
#include <limits>
#include <optional>

#include "client/Failure.h"
#include "client/Tls.h"

namespace ssl = boost::asio::ssl;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr std::chrono::seconds kAnswerTime{30};   // a host answers within 10, even when a driver hangs
constexpr std::chrono::seconds kSilenceTime{60};  // an event stream sends something every 15
constexpr std::uint64_t kMostBytes = 64UL * 1024 * 1024;
constexpr int kHttp11 = 11;

using Request = http::request<http::string_body>;

std::string Reason(const error_code& error) {
    if (error == beast::error::timeout) return "no answer in time";
    if (error == http::error::end_of_stream || error == ssl::error::stream_truncated)
        return "the host closed the connection without an answer";
    if (error.category() == boost::asio::error::get_ssl_category() &&
        ERR_GET_REASON(static_cast<unsigned long>(error.value())) == SSL_R_WRONG_VERSION_NUMBER)
        return "no TLS is spoken there; try http:// instead of https://";
    std::string words = error.message();
    words.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(words.front())));
    return words;
}

// One connection, from its beginning to its end. Every step has a time limit, which only asynchronous
// operations observe. So each operation is started and then run until it is complete.
class Exchange {
public:
    explicit Exchange(const Server& server) : server_(server), stream_(context_) {
        if (server.tls) tls_.emplace(stream_, *server.tls);
    }

    void Open() {
        error_code error;
        tcp::resolver resolver(context_);
        const auto addresses = resolver.resolve(Address().host, Address().port, error);
        if (error)
            throw Unreachable("cannot reach " + Address().text + ": there is no machine called " +
                              Address().host);
        Check(Try(kAnswerTime, [&](auto handler) { stream_.async_connect(addresses, handler); }));
        if (tls_) ShakeHands();
    }

    // A host that refuses a long body answers without reading all of it, so a broken pipe may mean an answer.
    void Send(Request& request) {
        error_code error = TryOnStream(
            kAnswerTime, [&](auto& stream, auto handler) { http::async_write(stream, request, handler); });
        if (error == boost::asio::error::broken_pipe || error == boost::asio::error::connection_reset) return;
        Check(error);
    }

    template <class Parser>
    void ReadHeader(Parser& parser) {
        Check(TryOnStream(kAnswerTime, [&](auto& stream, auto handler) {
            http::async_read_header(stream, buffer_, parser, handler);
        }));
    }

    template <class Parser>
    void Read(Parser& parser) {
        Check(TryOnStream(kAnswerTime, [&](auto& stream, auto handler) {
            http::async_read(stream, buffer_, parser, handler);
        }));
    }

    template <class Parser>
    void ReadSome(Parser& parser) {
        Check(TryOnStream(kSilenceTime, [&](auto& stream, auto handler) {
            http::async_read_some(stream, buffer_, parser, handler);
        }));
    }

private:
    const Url& Address() const { return server_.url; }

    // A host that is not trusted is sent nothing, and is not tried again.
    void ShakeHands() {
        ExpectHost(tls_->native_handle(), Address().host);
        const error_code error =
            Try(kAnswerTime, [&](auto handler) { tls_->async_handshake(ssl::stream_base::client, handler); });
        const std::string fault =
            FaultOfCertificate(tls_->native_handle(), Address().host, server_.authority);
        if (error && !fault.empty())
            throw Failure(EXIT_NO_ANSWER, Address().text + " is not trusted: " + fault);
        Check(error);
    }

    template <class Start>
    error_code TryOnStream(std::chrono::seconds time, Start start) {
        return Try(time, [&](auto handler) {
            if (tls_)
                start(*tls_, handler);
            else
                start(stream_, handler);
        });
    }

    template <class Start>
    error_code Try(std::chrono::seconds time, Start start) {
        error_code result;
        stream_.expires_after(time);
        start([&result](error_code error, auto&&...) { result = error; });
        context_.restart();
        context_.run();
        return result;
    }

    void Check(const error_code& result) const {
        if (result == http::error::need_buffer)
            return;  // that is how a stream is read: until the buffer is full
        if (result == boost::asio::error::connection_refused)
            throw Unreachable("cannot reach " + Address().text +
                              ": connection refused. Is driverhost running?");
        if (!result) return;
        const bool maySpeakTls = result == http::error::end_of_stream && !tls_;
        throw Unreachable("cannot reach " + Address().text + ": " + Reason(result) +
                          (maySpeakTls ? ". If it speaks TLS, write https:// instead of http://" : ""));
    }

    const Server& server_;
    boost::asio::io_context context_;
    beast::tcp_stream stream_;
    std::optional<ssl::stream<beast::tcp_stream&>> tls_;
    beast::flat_buffer buffer_;
};

Request MakeRequest(http::verb verb, const Server& server, const std::string& path) {
    Request request(verb, server.url.prefix + path, kHttp11);
    request.set(http::field::host, server.url.header);
    request.set(http::field::user_agent, "intercomctl");
    request.set(http::field::connection, "close");
    if (!server.token.empty()) request.set(http::field::authorization, "Bearer " + server.token);
    return request;
}

Answer Carry(const Server& server, Request& request) {
    Exchange exchange(server);
    exchange.Open();
    exchange.Send(request);
    http::response_parser<http::string_body> parser;
    parser.body_limit(kMostBytes);
    exchange.Read(parser);
    return {parser.get().result_int(), parser.get().body()};
}

// Passes on each piece of a body as it arrives.
template <class Parser>
void ReadPieces(Exchange& exchange, Parser& parser, const std::function<void(std::string_view)>& receive) {
    std::array<char, 8192> piece;
    while (!parser.is_done()) {
        auto& body = parser.get().body();
        body.data = piece.data();
        body.size = piece.size();
        exchange.ReadSome(parser);
        const std::size_t received = piece.size() - body.size;
        if (received != 0) receive({piece.data(), received});
    }
}

}  // namespace

Connection::Connection(Url url, std::string token, std::string authority)
    : server_{std::move(url), std::move(token), std::move(authority), nullptr} {
    if (server_.url.tls) server_.tls = MakeTlsContext(server_.authority);
}

Answer Connection::Get(const std::string& path) const {
    Request request = MakeRequest(http::verb::get, server_, path);
    return Carry(server_, request);
}

Answer Connection::PostForm(const std::string& path, const Parameters& parameters) const {
    Request request = MakeRequest(http::verb::post, server_, path);
    request.set(http::field::content_type, "application/x-www-form-urlencoded");
    request.body() = FormEncode(parameters);
    request.prepare_payload();
    return Carry(server_, request);
}

Answer Connection::Put(const std::string& path, const std::string& document) const {
    Request request = MakeRequest(http::verb::put, server_, path);
    request.set(http::field::content_type, "application/xml");
    request.body() = document;
    request.prepare_payload();
    return Carry(server_, request);
}

Answer Connection::Follow(const std::string& path, const std::string& lastEventId,
                          const std::function<void(std::string_view)>& receive) const {
    Request request = MakeRequest(http::verb::get, server_, path);
    request.set(http::field::accept, "text/event-stream");
    if (!lastEventId.empty()) request.set("Last-Event-ID", lastEventId);
    Exchange exchange(server_);
    exchange.Open();
    exchange.Send(request);
    http::response_parser<http::buffer_body> parser;
    parser.body_limit(std::numeric_limits<std::uint64_t>::max());  // a stream has no end
    exchange.ReadHeader(parser);
    Answer answer{parser.get().result_int(), ""};
    if (answer.status == static_cast<unsigned int>(http::status::ok))
        ReadPieces(exchange, parser, receive);
    else
        ReadPieces(exchange, parser, [&answer](std::string_view bytes) { answer.body.append(bytes); });
    return answer;
}
