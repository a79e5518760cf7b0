#include "tests/driverhost/support/HttpClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace driverhost {
namespace {

FileDescriptor Connect(unsigned short port) {
    FileDescriptor connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(connection.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("cannot connect to port " + std::to_string(port));
    }
    return connection;
}

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

HttpConnection::HttpConnection(unsigned short port, std::chrono::milliseconds patience)
    : socket_(Connect(port)), patience_(patience) {}

void HttpConnection::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) return;  // the other side has closed; what it said can still be read
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

bool HttpConnection::Fill() {
    pollfd entry{socket_.Get(), POLLIN, 0};
    if (poll(&entry, 1, static_cast<int>(patience_.count())) <= 0)
        throw std::runtime_error("no bytes came in time");
    std::array<char, 65536> bytes;
    const ssize_t got = recv(socket_.Get(), bytes.data(), bytes.size(), 0);
    if (got > 0) received_.append(bytes.data(), static_cast<std::size_t>(got));
    return got > 0;
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

void HttpConnection::ShrinkReceiveBuffer() {
    const int bytes = 4096;
    setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
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

HttpAnswer AskOnce(unsigned short port, std::string_view method, std::string_view target,
                   std::string_view form, std::string_view headers) {
    return HttpConnection(port).Ask(method, target, form, headers);
}

}  // namespace driverhost
