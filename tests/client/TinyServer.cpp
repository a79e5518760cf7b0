#include "tests/client/TinyServer.h"

#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

namespace test {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

std::size_t BodyLength(const std::string& head) {
    constexpr std::string_view kField = "Content-Length: ";
    const std::size_t field = head.find(kField);
    return field == std::string::npos ? 0 : std::stoul(head.substr(field + kField.size()));
}

// Empty when the connection ends without a request, which is how the server is told to end.
std::string ReadRequest(tcp::socket& socket) {
    std::string request;
    error_code error;
    const std::size_t head = asio::read_until(socket, asio::dynamic_buffer(request), "\r\n\r\n", error);
    if (error) return "";
    const std::size_t whole = head + BodyLength(request);
    if (request.size() < whole)
        asio::read(socket, asio::dynamic_buffer(request), asio::transfer_exactly(whole - request.size()),
                   error);
    return request;
}

}  // namespace

TinyServer::TinyServer(std::vector<std::string> answers, AfterAnswer after)
    : acceptor_(context_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)),
      answers_(std::move(answers)),
      after_(after),
      thread_([this] { Serve(); }) {}

TinyServer::~TinyServer() {
    error_code error;
    tcp::socket last(context_);
    last.connect(acceptor_.local_endpoint(), error);
    last.close(error);
    thread_.join();
}

std::string TinyServer::Url() const {
    return "http://127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port());
}

std::vector<std::string> TinyServer::Requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

std::string TinyServer::Xml(int status, const std::string& body) {
    return "HTTP/1.1 " + std::to_string(status) +
           " X\r\nContent-Type: application/xml\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

void TinyServer::Serve() {
    std::vector<tcp::socket> open;
    for (std::size_t number = 0;; ++number) {
        tcp::socket socket = acceptor_.accept();
        const std::string request = ReadRequest(socket);
        if (request.empty()) return;
        {
            const std::lock_guard lock(mutex_);
            requests_.push_back(request);
        }
        error_code error;
        if (number < answers_.size()) asio::write(socket, asio::buffer(answers_[number]), error);
        if (after_ == KeepOpen) open.push_back(std::move(socket));
    }
}

}  // namespace test
