#include "drivers/phone/HttpCaller.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/core/detail/base64.hpp>
#include <boost/beast/http.hpp>
#include <functional>
#include <thread>

#include "host/glue/Log.h"
#include "host/interfaces/IInstanceManager.h"

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::system::error_code;

namespace {

constexpr int kHttp11 = 11;
// Nobody reads what the station answers beside its status.
constexpr std::uint64_t kMostBytes = 1024 * 1024;

std::string Base64(const std::string& text) {
    std::string encoded(beast::detail::base64::encoded_size(text.size()), '\0');
    encoded.resize(beast::detail::base64::encode(encoded.data(), text.data(), text.size()));
    return encoded;
}

// One request, which keeps itself until it is over.
class Exchange : public std::enable_shared_from_this<Exchange> {
public:
    using Log = std::function<void(unsigned int level, const std::string& text)>;

    Exchange(asio::io_context& context, const HttpAction& action, std::chrono::milliseconds time, Log log)
        : stream_(context),
          station_(asio::ip::make_address(action.address), action.port),
          time_(time),
          log_(std::move(log)),
          request_(http::verb::get, action.target, kHttp11) {
        request_.method_string(action.method);
        request_.set(http::field::host, action.address);
        request_.set(http::field::connection, "close");
        if (!action.user.empty())
            request_.set(http::field::authorization, "Basic " + Base64(action.user + ":" + action.password));
        if (action.method != "GET") request_.prepare_payload();
        parser_.body_limit(kMostBytes);
    }

    void Start() {
        stream_.expires_after(time_);
        stream_.async_connect(station_, [self = shared_from_this()](error_code error) {
            if (error) return self->Fail(error);
            http::async_write(self->stream_, self->request_, [self](error_code failure, std::size_t) {
                if (failure) return self->Fail(failure);
                self->Read();
            });
        });
    }

private:
    void Read() {
        http::async_read_header(stream_, buffer_, parser_,
                                [self = shared_from_this()](error_code error, std::size_t) {
                                    if (error) return self->Fail(error);
                                    const unsigned int status = self->parser_.get().result_int();
                                    const bool done = status / 100 == 2;
                                    self->log_(done ? dv::LOG_LEVEL_INFO : dv::LOG_LEVEL_ERROR,
                                               "the station answers " + std::to_string(status));
                                });
    }

    void Fail(error_code error) {
        log_(dv::LOG_LEVEL_ERROR, error == beast::error::timeout
                                      ? "the station does not answer"
                                      : "the station cannot be reached: " + error.message());
    }

    beast::tcp_stream stream_;
    const asio::ip::tcp::endpoint station_;
    const std::chrono::milliseconds time_;
    const Log log_;
    http::request<http::empty_body> request_;
    http::response_parser<http::string_body> parser_;
    beast::flat_buffer buffer_;
};

}  // namespace

class HttpCaller::Thread {
public:
    Thread(IInstanceManager& instanceManager, std::chrono::milliseconds answerTime)
        : instanceManager_(instanceManager),
          answerTime_(answerTime),
          work_(context_.get_executor()),
          thread_([this] { context_.run(); }) {}
    ~Thread() {
        context_.stop();
        thread_.join();
    }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    void Call(const std::string& name, const HttpAction& action) {
        const std::string station = action.address + ":" + std::to_string(action.port);
        const auto log = [this, head = name + " (" + station + "): "](unsigned int level,
                                                                      const std::string& text) {
            instanceManager_.WriteLog(level, head + text);
        };
        const auto exchange = std::make_shared<Exchange>(context_, action, answerTime_, log);
        asio::post(context_, [exchange] { exchange->Start(); });
    }

private:
    IInstanceManager& instanceManager_;
    const std::chrono::milliseconds answerTime_;
    asio::io_context context_;
    asio::executor_work_guard<asio::io_context::executor_type> work_;
    std::thread thread_;
};

HttpCaller::HttpCaller(IInstanceManager& instanceManager, std::chrono::milliseconds answerTime)
    : thread_(std::make_unique<Thread>(instanceManager, answerTime)) {}

HttpCaller::~HttpCaller() = default;

void HttpCaller::Call(const std::string& name, const HttpAction& action) {
    thread_->Call(name, action);
}
