#include "tests/support/process/HttpClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "tests/support/process/Patience.h"

namespace test {

namespace {

using std::chrono::steady_clock;

constexpr std::string_view kEndOfHead = "\r\n\r\n";

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

bool IsUnreserved(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) ||
           std::string_view("-._~").find(c) != std::string_view::npos;
}

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

int StatusOf(const std::string& head) {
    const auto blank = head.find(' ');
    if (!head.starts_with("HTTP/1.") || blank == std::string::npos)
        throw std::runtime_error("no HTTP answer: " + head);
    return std::stoi(head.substr(blank + 1, 3));
}

}  // namespace

std::string PercentEncoded(std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string encoded;
    for (const char c : text) {
        if (IsUnreserved(c)) {
            encoded += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        encoded.append({'%', digits[byte >> 4U], digits[byte & 15U]});
    }
    return encoded;
}

HttpRequest FormRequest(const std::string& path, const Form& form) {
    HttpRequest request{"POST", path, {{"Content-Type", "application/x-www-form-urlencoded"}}, ""};
    for (const auto& [name, value] : form) {
        if (!request.body.empty()) request.body += '&';
        request.body += PercentEncoded(name) + "=" + PercentEncoded(value);
    }
    return request;
}

Connection::Connection(int port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (socket_ < 0) Fail("socket");
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int why = errno;
        ::close(socket_);
        errno = why;
        Fail("connect to port " + std::to_string(port));
    }
    const int yes = 1;  // what is sent in pieces arrives in pieces
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

Connection::~Connection() {
    if (socket_ >= 0) ::close(socket_);
}

void Connection::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0) Fail("send");
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

void Connection::Reset() {
    const linger atOnce{1, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    ::close(std::exchange(socket_, -1));
    ended_ = true;
}

std::string Connection::Receive(std::chrono::milliseconds most) {
    pollfd wait{socket_, POLLIN, 0};
    if (ended_ || ::poll(&wait, 1, static_cast<int>(most.count())) <= 0) return "";
    std::array<char, 16384> buffer{};
    const ssize_t received = ::recv(socket_, buffer.data(), buffer.size(), 0);
    if (received < 0 && errno != ECONNRESET) Fail("receive");
    ended_ = received <= 0;
    return received > 0 ? std::string(buffer.data(), static_cast<std::size_t>(received)) : "";
}

std::string TextOf(const HttpRequest& request, bool keepOpen) {
    std::string text = request.method + " " + request.path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    for (const auto& [name, value] : request.headers)
        text += name + ": " + value + "\r\n";
    if (!keepOpen) text += "Connection: close\r\n";
    if (!request.body.empty() || request.method != "GET")
        text += "Content-Length: " + std::to_string(request.body.size()) + "\r\n";
    return text + "\r\n" + request.body;
}

BodyDecoder::BodyDecoder(std::string_view head)
    : chunked_(LowerCase(head).find("transfer-encoding: chunked") != std::string::npos) {}

std::string BodyDecoder::Decode(std::string_view bytes) {
    if (!chunked_) return std::string(bytes);
    waiting_.append(bytes);
    return DecodeChunks();
}

std::string BodyDecoder::DecodeChunks() {
    std::string body;
    for (;;) {
        const auto endOfSize = waiting_.find("\r\n");
        if (endOfSize == std::string::npos) return body;
        const std::size_t size = std::stoul(waiting_.substr(0, endOfSize), nullptr, 16);
        const std::size_t begin = endOfSize + 2;
        if (size == 0 || waiting_.size() < begin + size + 2) return body;
        body.append(waiting_, begin, size);
        waiting_.erase(0, begin + size + 2);
    }
}

HttpAnswer Exchange(int port, const HttpRequest& request) {
    Connection connection(port);
    connection.Send(TextOf(request));
    std::string received;
    const auto end = steady_clock::now() + kPatience;
    while (!connection.Ended()) {
        if (steady_clock::now() > end)
            throw std::runtime_error("no answer to " + request.method + " " + request.path);
        received += connection.Receive(std::chrono::seconds(1));
    }
    const auto endOfHead = received.find(kEndOfHead);
    if (endOfHead == std::string::npos)
        throw std::runtime_error("connection closed without an answer to " + request.method + " " +
                                 request.path);
    HttpAnswer answer;
    answer.head = received.substr(0, endOfHead + kEndOfHead.size());
    answer.status = StatusOf(answer.head);
    answer.body = BodyDecoder(answer.head).Decode(std::string_view(received).substr(answer.head.size()));
    return answer;
}

}  // namespace test
