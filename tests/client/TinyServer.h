// An HTTP server that gives prepared answers, to one connection after the other.
#ifndef TESTS_CLIENT_TINYSERVER_H
#define TESTS_CLIENT_TINYSERVER_H

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace test {

/// Listens on a free port of 127.0.0.1. Each connection gets the bytes of the next answer and is closed. When
/// there are no answers left, connections are closed without one.
class TinyServer {
public:
    /// With KeepOpen, connections stay open after their answers until the server ends.
    enum AfterAnswer { Close, KeepOpen };
    explicit TinyServer(std::vector<std::string> answers, AfterAnswer after = Close);
    ~TinyServer();
    TinyServer(const TinyServer&) = delete;
    TinyServer& operator=(const TinyServer&) = delete;

    std::string Url() const;
    /// The requests received so far, with heads and bodies.
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
