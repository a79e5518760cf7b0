#include "client/Connection.h"

#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <cctype>
#include <chrono>
#include <limits>

#include "client/Failure.h"

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
    if (error == http::error::end_of_stream) return "the host closed the connection without an answer";
    std::string words = error.message();
    words.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(words.front())));
    return words;
}

// One connection, from its beginning to its end. Every step has a time limit, which only asynchronous
// operations observe. So each operation is started and then run until it is complete.
class Exchange {
public:
    explicit Exchange(const Url& url) : url_(url), stream_(context_) {}

    void Open() {
        error_code error;
        tcp::resolver resolver(context_);
        const auto addresses = resolver.resolve(url_.host, url_.port, error);
        if (error)
            throw Unreachable("cannot reach " + url_.text + ": there is no machine called " + url_.host);
        Run(kAnswerTime, [&](auto handler) { stream_.async_connect(addresses, handler); });
    }

    // A host that refuses a long body answers without reading all of it, so a broken pipe may mean an answer.
    void Send(Request& request) {
        error_code error =
            Try(kAnswerTime, [&](auto handler) { http::async_write(stream_, request, handler); });
        if (error == boost::asio::error::broken_pipe || error == boost::asio::error::connection_reset) return;
        Check(error);
    }

    template <class Parser>
    void ReadHeader(Parser& parser) {
        Run(kAnswerTime, [&](auto handler) { http::async_read_header(stream_, buffer_, parser, handler); });
    }

    template <class Parser>
    void Read(Parser& parser) {
        Run(kAnswerTime, [&](auto handler) { http::async_read(stream_, buffer_, parser, handler); });
    }

    template <class Parser>
    void ReadSome(Parser& parser) {
        Run(kSilenceTime, [&](auto handler) { http::async_read_some(stream_, buffer_, parser, handler); });
    }

private:
    template <class Start>
    void Run(std::chrono::seconds time, Start start) {
        Check(Try(time, start));
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
            throw Unreachable("cannot reach " + url_.text + ": connection refused. Is driverhost running?");
        if (result) throw Unreachable("cannot reach " + url_.text + ": " + Reason(result));
    }

    const Url& url_;
    boost::asio::io_context context_;
    beast::tcp_stream stream_;
    beast::flat_buffer buffer_;
};

Request MakeRequest(http::verb verb, const Url& url, const std::string& path, const std::string& token) {
    Request request(verb, url.prefix + path, kHttp11);
    request.set(http::field::host, url.header);
    request.set(http::field::user_agent, "intercomctl");
    request.set(http::field::connection, "close");
    if (!token.empty()) request.set(http::field::authorization, "Bearer " + token);
    return request;
}

Answer Carry(const Url& url, Request& request) {
    Exchange exchange(url);
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

Connection::Connection(Url url, std::string token) : url_(std::move(url)), token_(std::move(token)) {}

Answer Connection::Get(const std::string& path) const {
    Request request = MakeRequest(http::verb::get, url_, path, token_);
    return Carry(url_, request);
}

Answer Connection::PostForm(const std::string& path, const Parameters& parameters) const {
    Request request = MakeRequest(http::verb::post, url_, path, token_);
    request.set(http::field::content_type, "application/x-www-form-urlencoded");
    request.body() = FormEncode(parameters);
    request.prepare_payload();
    return Carry(url_, request);
}

Answer Connection::Put(const std::string& path, const std::string& document) const {
    Request request = MakeRequest(http::verb::put, url_, path, token_);
    request.set(http::field::content_type, "application/xml");
    request.body() = document;
    request.prepare_payload();
    return Carry(url_, request);
}

Answer Connection::Follow(const std::string& path, const std::string& lastEventId,
                          const std::function<void(std::string_view)>& receive) const {
    Request request = MakeRequest(http::verb::get, url_, path, token_);
    request.set(http::field::accept, "text/event-stream");
    if (!lastEventId.empty()) request.set("Last-Event-ID", lastEventId);
    Exchange exchange(url_);
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
