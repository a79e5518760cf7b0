// HTTP to a program on this machine, one request per connection.
#ifndef TESTS_SUPPORT_PROCESS_HTTPCLIENT_H
#define TESTS_SUPPORT_PROCESS_HTTPCLIENT_H

#include <chrono>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test {

struct HttpRequest {
    std::string method = "GET";
    std::string path;
    std::vector<std::pair<std::string, std::string>> headers = {};
    std::string body = {};
};

struct HttpAnswer {
    int status = 0;
    std::string head;  // as it came
    std::string body;
};

using Form = std::vector<std::pair<std::string, std::string>>;

/// A POST with the form as its body.
HttpRequest FormRequest(const std::string& path, const Form& form);

/// Everything but letters, digits and "-._~" as %XX.
std::string PercentEncoded(std::string_view text);

/// A connection to 127.0.0.1. Throws std::runtime_error when it cannot be made, fails, or a read
/// takes longer than the time allowed.
class Connection {
public:
    explicit Connection(int port);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void Send(std::string_view bytes);

    /// Ends the connection at once, and the other side hears of it as an error.
    void Reset();

    /// What comes next, at most for so long; empty when nothing came. Sets Ended at the end.
    std::string Receive(std::chrono::milliseconds most);
    bool Ended() const { return ended_; }

private:
    int socket_;
    bool ended_ = false;
};

/// The request as it is sent.
std::string TextOf(const HttpRequest& request, bool keepOpen = false);

/// Takes a body apart that may come in chunks (RFC 9112, section 7.1).
class BodyDecoder {
public:
    explicit BodyDecoder(std::string_view head);

    /// What of the body these bytes complete.
    std::string Decode(std::string_view bytes);

private:
    std::string DecodeChunks();

    bool chunked_;
    std::string waiting_;
};

/// Sends and waits for the whole answer. Throws std::runtime_error when none comes.
HttpAnswer Exchange(int port, const HttpRequest& request);

}  // namespace test

#endif
