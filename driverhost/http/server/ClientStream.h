// The bytes of one connection, with or without TLS.
#ifndef DRIVERHOST_HTTP_SERVER_CLIENTSTREAM_H
#define DRIVERHOST_HTTP_SERVER_CLIENTSTREAM_H

#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <memory>
#include <optional>
#include <utility>

namespace driverhost {

/// A stream for Asio's operations. It must stay where it is while one is under way.
class ClientStream {
public:
    using Socket = boost::asio::generic::stream_protocol::socket;
    using Context = boost::asio::ssl::context;
    using executor_type = Socket::executor_type;

    /// Without a context it speaks no TLS.
    ClientStream(Socket socket, std::shared_ptr<Context> context)
        : socket_(std::move(socket)), context_(std::move(context)) {
        if (context_) tls_.emplace(socket_, *context_);
    }
    ClientStream(const ClientStream&) = delete;
    ClientStream& operator=(const ClientStream&) = delete;
    ~ClientStream() = default;

    bool IsTls() const { return tls_.has_value() && !finished_; }
    executor_type get_executor() { return socket_.get_executor(); }
    Socket& GetSocket() { return socket_; }

    /// Only with TLS. The handler gets the error.
    template <class Handler>
    void AsyncShakeHands(Handler handler) {
        tls_->async_handshake(boost::asio::ssl::stream_base::server, std::move(handler));
    }

    /// Only with TLS: says that nothing more is sent. From then on bytes are read as they come, which serves
    /// to throw them away. The handler gets an error when the client does not answer that, which is usual.
    template <class Handler>
    void AsyncFinish(Handler handler) {
        tls_->async_shutdown(std::move(handler));
        finished_ = true;
    }

    // What Asio asks of a stream.

    template <class Buffers, class Handler>
    void async_read_some(const Buffers& buffers, Handler&& handler) {
        if (IsTls()) return tls_->async_read_some(buffers, std::forward<Handler>(handler));
        socket_.async_read_some(buffers, std::forward<Handler>(handler));
    }

    template <class Buffers, class Handler>
    void async_write_some(const Buffers& buffers, Handler&& handler) {
        if (IsTls()) return tls_->async_write_some(buffers, std::forward<Handler>(handler));
        socket_.async_write_some(buffers, std::forward<Handler>(handler));
    }

private:
    Socket socket_;
    const std::shared_ptr<Context> context_;
    std::optional<boost::asio::ssl::stream<Socket&>> tls_;
    bool finished_ = false;
};

}  // namespace driverhost

#endif
