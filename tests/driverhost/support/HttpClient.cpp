#include "tests/driverhost/support/HttpClient.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <utility>

namespace driverhost {
namespace {

void ReadHeaders(std::string_view head, HttpAnswer& answer) {
    answer.status = std::stoi(std::string(head.substr(head.find(' ') + 1, 3)));
    for (std::size_t at = head.find("\r\n"); at != std::string_view::npos; at = head.find("\r\n", at + 2)) {
        const std::string_view line = head.substr(at + 2, head.find("\r\n", at + 2) - at - 2);
        const std::size_t colon = line.find(": ");
        if (colon == std::string_view::npos) return;
        std::string name(line.substr(0, colon));
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return std::tolower(c); });
        answer.headers[name] = line.substr(colon + 2);
    }
}

}  // namespace

HttpConnection::HttpConnection(int port, std::chrono::milliseconds patience)
    : connection_(port), patience_(patience) {}

void HttpConnection::Send(std::string_view bytes) {
    try {
        connection_.Send(bytes);
    } catch (const std::runtime_error&) {
        // The other side has closed.
    }
}

// False at the end.
bool HttpConnection::Fill() {
    const std::string bytes = connection_.Receive(patience_);
    if (bytes.empty() && !connection_.Ended()) throw std::runtime_error("no bytes came in time");
    received_ += bytes;
    return !bytes.empty();
}

std::string HttpConnection::ReadUntil(std::string_view mark) {
    std::size_t found;
    while ((found = received_.find(mark)) == std::string::npos)
        if (!Fill()) throw std::runtime_error("closed before '" + std::string(mark) + "' came: " + received_);
    const std::string text = received_.substr(0, found + mark.size());
    received_.erase(0, text.size());
    return text;
}

HttpAnswer HttpConnection::ReadAnswer() {
    HttpAnswer answer;
    ReadHeaders(ReadUntil("\r\n\r\n"), answer);
    const auto length = answer.headers.find("content-length");
    const std::size_t size = length == answer.headers.end() ? 0 : std::stoul(length->second);
    while (received_.size() < size)
        if (!Fill()) throw std::runtime_error("the body is cut short");
    answer.body = received_.substr(0, size);
    received_.erase(0, size);
    return answer;
}

std::string HttpConnection::ReadToEnd() {
    while (Fill()) {
    }
    return std::exchange(received_, {});
}

HttpAnswer HttpConnection::Ask(std::string_view method, std::string_view target, std::string_view form,
                               std::string_view headers) {
    Send(RequestText(method, target, form, headers));
    return ReadAnswer();
}

std::string RequestText(std::string_view method, std::string_view target, std::string_view form,
                        std::string_view headers) {
    std::string text =
        std::string(method).append(" ").append(target).append(" HTTP/1.1\r\nHost: localhost\r\n");
    text.append(headers);
    if (!form.empty()) {
        text.append("Content-Type: application/x-www-form-urlencoded\r\nContent-Length: ");
        text.append(std::to_string(form.size())).append("\r\n");
    }
    return text.append("\r\n").append(form);
}

HttpAnswer AskAgainUntil(int port, int status, std::string_view method, std::string_view target,
                         std::string_view form) {
    HttpAnswer answer;
    test::Eventually([&] {
        try {
            answer = AskOnce(port, method, target, form);
        } catch (const std::runtime_error&) {
            answer = {};  // closed before it was answered
        }
        return answer.status == status;
    });
    return answer;
}

std::unique_ptr<HttpConnection> AnsweredConnection(int port, std::string_view target) {
    std::unique_ptr<HttpConnection> connection;
    const bool answered = test::Eventually([&] {
        connection = std::make_unique<HttpConnection>(port);
        try {
            return connection->Ask("GET", target).status == 200;
        } catch (const std::runtime_error&) {
            return false;  // closed before it was answered
        }
    });
    if (!answered) throw std::runtime_error("no answer on any connection");
    return connection;
}

HttpAnswer AskOnce(int port, std::string_view method, std::string_view target, std::string_view form,
                   std::string_view headers) {
    return HttpConnection(port).Ask(method, target, form, headers);
}

}  // namespace driverhost
