#include "telephony/proxy/Events.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>

using boost::asio::local::stream_protocol;
using boost::system::error_code;

namespace proxy {

namespace {

constexpr std::chrono::milliseconds kFirstDelay{50};
constexpr std::chrono::milliseconds kLongestDelay{2000};
constexpr std::chrono::milliseconds kGather{30};
constexpr std::chrono::milliseconds kBetweenChanges{300};
constexpr std::chrono::seconds kSilence{60};  // the host gives a sign of life every 15 s
constexpr char kRequest[] = "GET /events HTTP/1.1\r\nHost: localhost\r\nAccept: text/event-stream\r\n\r\n";

}  // namespace

Events::Events(boost::asio::io_context& context, std::string socketPath, std::function<void()> changed,
               std::function<void()> lost)
    : socket_(context),
      retry_(context),
      announce_(context),
      silence_(context),
      path_(std::move(socketPath)),
      changed_(std::move(changed)),
      lost_(std::move(lost)),
      delay_(kFirstDelay) {}

void Events::Open() {
    head_.clear();
    socket_ = stream_protocol::socket(socket_.get_executor());
    socket_.async_connect(stream_protocol::endpoint(path_), [this](error_code error) {
        if (error) return TryLater();
        Send();
    });
}

void Events::Close() {
    closed_ = true;
    error_code ignored;
    socket_.close(ignored);
    retry_.cancel();
    announce_.cancel();
    silence_.cancel();
}

void Events::Send() {
    boost::asio::async_write(socket_, boost::asio::buffer(kRequest, sizeof kRequest - 1),
                             [this](error_code error, std::size_t) {
                                 if (error) return TryLater();
                                 Read();
                             });
}

void Events::Read() {
    Expect();
    socket_.async_read_some(boost::asio::buffer(bytes_), [this](error_code error, std::size_t size) {
        if (error) return TryLater();
        Take(size);
    });
}

// Which event it is does not matter, so the stream is not taken apart: all of it that is not a sign of
// life has a line of data.
void Events::Take(std::size_t size) {
    const std::string_view text(bytes_.data(), size);
    if (!open_) {
        head_.append(text);
        if (head_.find("\r\n\r\n") != head_.npos) {
            if (!head_.starts_with("HTTP/1.1 200")) return TryLater();
            open_ = true;
            delay_ = kFirstDelay;
            Announce();
        }
    } else if (text.find("data:") != text.npos || text.size() == bytes_.size()) {
        Announce();
    }
    Read();
}

void Events::Expect() {
    silence_.expires_after(kSilence);
    silence_.async_wait([this](error_code error) {
        error_code ignored;
        if (!error) socket_.close(ignored);
    });
}

void Events::Announce() {
    if (announcing_) return;
    announcing_ = true;
    announce_.expires_at(std::max(std::chrono::steady_clock::now() + kGather, lastChange_ + kBetweenChanges));
    announce_.async_wait([this](error_code error) {
        announcing_ = false;
        if (error) return;
        lastChange_ = std::chrono::steady_clock::now();
        changed_();
    });
}

void Events::TryLater() {
    if (closed_) return;
    if (open_) lost_();
    open_ = false;
    silence_.cancel();
    error_code ignored;
    socket_.close(ignored);
    retry_.expires_after(delay_);
    delay_ = std::min(delay_ * 2, kLongestDelay);
    retry_.async_wait([this](error_code error) {
        if (!error) Open();
    });
}

}  // namespace proxy
