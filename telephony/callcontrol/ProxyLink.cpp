#include "telephony/callcontrol/ProxyLink.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "telephony/callcontrol/Log.h"

namespace telephony {
namespace {

using nlohmann::json;

// The proxy is started again within 150 ms; until it is connected phones are connected without us.
constexpr std::chrono::milliseconds kLookInterval(50);
constexpr std::size_t kLongestMessage = 65536;
constexpr std::size_t kMostLengthDigits = 8;

bool Same(const ProxyAccount& one, const ProxyAccount& other) {
    const auto fields = [](const ProxyAccount& account) {
        return std::tie(account.proxy, account.domain, account.realm, account.user, account.password,
                        account.header, account.secret, account.events, account.listen);
    };
    return fields(one) == fields(other);
}

}  // namespace

ProxyAccount ReadProxyAccount(const std::filesystem::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0)
        throw std::runtime_error(file.string() + " is not there: " + std::strerror(errno) +
                                 "; the proxy writes it when it starts");
    if ((status.st_mode & 077) != 0 || status.st_uid != geteuid())
        throw std::runtime_error(file.string() +
                                 " holds secrets, so it must be this user's and of mode 0600");
    std::ifstream stream(file);
    const json text = json::parse(stream, nullptr, false);
    try {
        return {text.at("proxy"),  text.at("domain"),   text.at("realm"),
                text.at("user"),   text.at("password"), text.at("header"),
                text.at("secret"), text.at("events"),   text.at("callcontrol")};
    } catch (const json::exception& error) {
        throw std::runtime_error(file.string() + " is not what the proxy writes: " + error.what());
    }
}

std::optional<std::string> NetstringReader::Next() {
    const std::size_t colon = text_.find(':');
    if (colon == std::string::npos) {
        if (text_.size() > kMostLengthDigits) throw std::runtime_error("no length");
        return std::nullopt;
    }
    std::size_t length = 0;
    const auto [end, error] = std::from_chars(text_.data(), text_.data() + colon, length);
    if (error != std::errc() || end != text_.data() + colon || length > kLongestMessage)
        throw std::runtime_error("a length that is none, or too long");
    if (text_.size() < colon + 1 + length + 1) return std::nullopt;
    if (text_[colon + 1 + length] != ',') throw std::runtime_error("a message without its end");
    std::string message = text_.substr(colon + 1, length);
    text_.erase(0, colon + length + 2);
    return message;
}

ProxyLink::ProxyLink(Loop& loop, std::filesystem::path file, OnAccount onAccount, OnConnected onConnected,
                     OnMessage onMessage)
    : loop_(loop),
      file_(std::move(file)),
      onAccount_(std::move(onAccount)),
      onConnected_(std::move(onConnected)),
      onMessage_(std::move(onMessage)),
      look_(loop_) {
    Look();
}

void ProxyLink::Look() {
    look_.Start(kLookInterval, [this] { Look(); });
    if (connected_) return;
    try {
        const ProxyAccount account = ReadProxyAccount(file_);
        if (!Same(account, account_)) {
            onAccount_(account);
            account_ = account;
        }
        trouble_.clear();
        if (!socket_) Connect();
    } catch (const std::exception& error) {
        if (error.what() != trouble_) LogLine(error.what());
        trouble_ = error.what();
    }
}

void ProxyLink::Connect() {
    struct sa address;
    if (sa_decode(&address, account_.events.c_str(), account_.events.size()) != 0)
        throw std::runtime_error("\"" + account_.events + "\" is no numeric address with a port");
    socket_ = std::make_unique<Descriptor>(
        socket(sa_af(&address), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP));
    reader_ = NetstringReader();
    if (connect(socket_->Get(), &address.u.sa, address.len) != 0 && errno != EINPROGRESS)
        return Disconnect(std::strerror(errno));
    socket_->Watch(false, true, [this](bool readable, bool writable) { OnReady(readable, writable); });
}

void ProxyLink::OnReady(bool readable, bool writable) {
    if (writable && !connected_) {
        int error = 0;
        socklen_t size = sizeof error;
        getsockopt(socket_->Get(), SOL_SOCKET, SO_ERROR, &error, &size);
        if (error != 0) return Disconnect(std::strerror(error));
        const std::string hello = std::to_string(account_.secret.size()) + ":" + account_.secret + ",";
        if (send(socket_->Get(), hello.data(), hello.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(hello.size()))
            return Disconnect("the secret cannot be sent");
        connected_ = true;
        socket_->Watch(true, false, [this](bool canRead, bool canWrite) { OnReady(canRead, canWrite); });
        onConnected_(true);
    }
    if (readable) Receive();
}

void ProxyLink::Receive() {
    std::array<char, kLongestMessage> piece;
    const ssize_t count = recv(socket_->Get(), piece.data(), piece.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count <= 0) return Disconnect("the proxy has closed its event connection");
    reader_.Add(std::string_view(piece.data(), static_cast<std::size_t>(count)));
    try {
        while (const auto message = reader_.Next()) {
            const json event = json::parse(*message, nullptr, false);
            if (event.is_object())
                onMessage_(event);
            else
                LogLine("an event of the proxy is no JSON object: " + *message);
        }
    } catch (const std::exception& error) {
        Disconnect(std::string("the proxy's events cannot be read: ") + error.what());
    }
}

void ProxyLink::Disconnect(const std::string& why) {
    socket_.reset();
    const bool was = connected_;
    connected_ = false;
    if (!was) return;  // it is tried again; that the proxy is away was said
    LogLine(why);
    onConnected_(false);
}

}  // namespace telephony
