// An HTTP server that answers what a test has written down, one connection after the other.
#ifndef TESTS_CLIENT_TINYSERVER_H
#define TESTS_CLIENT_TINYSERVER_H

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace test {

/// Listens on a free port of 127.0.0.1. Each connection gets the next of the answers, the bytes as
/// they stand, and is closed; connections beyond the last answer are closed without one.
class TinyServer {
public:
    /// With KeepOpen, connections stay open behind their answers until the end of the server.
    enum AfterAnswer { Close, KeepOpen };
    explicit TinyServer(std::vector<std::string> answers, AfterAnswer after = Close);
    ~TinyServer();
    TinyServer(const TinyServer&) = delete;
    TinyServer& operator=(const TinyServer&) = delete;

    std::string Url() const;
    /// What was received so far, head and body of each request.
    std::vector<std::string> Requests() const;

    /// An answer with a body of XML.
    static std::string Xml(int status, const std::string& body);

private:
    void Serve();

    boost::asio::io_context context_;
    boost::asio::ip::tcp::acceptor acceptor_;
    const std::vector<std::string> answers_;
    const AfterAnswer after_;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::thread thread_;
};

}  // namespace test

#endif
