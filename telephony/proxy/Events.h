// Tells when something at the host may have changed: follows its event stream, and comes back to it
// when it breaks.
#ifndef TELEPHONY_PROXY_EVENTS_H
#define TELEPHONY_PROXY_EVENTS_H

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <string>

namespace proxy {

class Events {
public:
    /// `changed` is called after each opening of the stream and after each event, `lost` when an open
    /// stream has broken. Several events in a short time are one change, so that a busy home is not read
    /// without end.
    Events(boost::asio::io_context& context, std::string socketPath, std::function<void()> changed,
           std::function<void()> lost);

    void Open();
    void Close();

private:
    void Send();
    void Read();
    void Take(std::size_t size);
    void Expect();
    void Announce();
    void TryLater();

    boost::asio::local::stream_protocol::socket socket_;
    boost::asio::steady_timer retry_;
    boost::asio::steady_timer announce_;
    boost::asio::steady_timer silence_;
    const std::string path_;
    const std::function<void()> changed_;
    const std::function<void()> lost_;
    std::array<char, 8192> bytes_{};
    std::string head_;  // of the answer, until it is whole
    bool open_ = false;
    bool closed_ = false;
    bool announcing_ = false;
    std::chrono::milliseconds delay_;
    std::chrono::steady_clock::time_point lastChange_;
};

}  // namespace proxy

#endif
