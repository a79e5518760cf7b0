// The unix socket on which the host serves this machine's own programs, beside the address it listens on.
#ifndef DRIVERHOST_HTTP_SERVER_LOCALSOCKET_H
#define DRIVERHOST_HTTP_SERVER_LOCALSOCKET_H

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <string>

namespace driverhost {

/// The environment variable by which programs that drivers start learn the path.
inline constexpr char kLocalSocketVariable[] = "INTERCOM_HOST_SOCKET";

/// All operations: [driver thread]
class LocalSocket {
public:
    using Protocol = boost::asio::local::stream_protocol;

    /// Takes the path, with mode 0600, from a host that has ended; what is there and no socket stays.
    /// Throws ListenError.
    LocalSocket(boost::asio::io_context& loop, const std::string& path);
    LocalSocket(const LocalSocket&) = delete;
    LocalSocket& operator=(const LocalSocket&) = delete;
    /// Removes the socket.
    ~LocalSocket();

    Protocol::acceptor& Acceptor() { return acceptor_; }
    const std::string& Path() const { return path_; }

    /// True when the other side runs as this process's user, or as root.
    static bool IsOwnUser(int socket);

private:
    const std::string path_;
    Protocol::acceptor acceptor_;
};

}  // namespace driverhost

#endif
