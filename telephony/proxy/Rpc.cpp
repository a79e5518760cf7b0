#include "telephony/proxy/Rpc.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "telephony/proxy/Files.h"

namespace proxy {

namespace {

constexpr std::size_t kLongestAnswer = 65536;
constexpr std::chrono::milliseconds kPing{100};

sockaddr_un AddressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw Failure("the path " + path + " is too long for a socket");
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

// A socket that has a name, since the answer is sent to it.
class Socket {
public:
    explicit Socket(std::string path) : path_(std::move(path)) {
        handle_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const sockaddr_un own = AddressOf(path_);
        ::unlink(path_.c_str());
        if (::bind(handle_, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0)
            throw SystemFailure("cannot open " + path_, errno);
    }
    ~Socket() {
        ::close(handle_);
        ::unlink(path_.c_str());
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    void Send(const std::string& path, const std::string& text) const {
        const sockaddr_un other = AddressOf(path);
        if (::sendto(handle_, text.data(), text.size(), 0, reinterpret_cast<const sockaddr*>(&other),
                     sizeof other) < 0)
            throw SystemFailure("Kamailio cannot be told anything", errno);
    }

    std::string Receive(std::chrono::milliseconds most) const {
        pollfd waiting{handle_, POLLIN, 0};
        if (::poll(&waiting, 1, static_cast<int>(most.count())) <= 0)
            throw Failure("Kamailio does not answer");
        std::string text(kLongestAnswer, '\0');
        const ssize_t size = ::recv(handle_, text.data(), text.size(), 0);
        text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return text;
    }

private:
    const std::string path_;
    int handle_;
};

}  // namespace

Rpc::Rpc(std::string folder) : folder_(std::move(folder)) {}

void Rpc::Call(const std::string& method, const std::vector<std::string>& parameters,
               std::chrono::milliseconds most) {
    const int id = ++lastId_;
    nlohmann::json request = {{"jsonrpc", "2.0"}, {"method", method}, {"id", id}};
    if (!parameters.empty()) request["params"] = parameters;
    const Socket socket(folder_ + "/rpc." + std::to_string(::getpid()));
    socket.Send(folder_ + "/rpc", request.dump());
    const nlohmann::json answer = nlohmann::json::parse(socket.Receive(most), nullptr, false);
    if (!answer.is_object()) throw Failure("Kamailio answers " + method + " with what is no JSON");
    if (answer.contains("error"))
        throw Failure("Kamailio refuses " + method + ": " +
                      answer["error"].value("message", "no reason given"));
}

bool Rpc::Answers() try {
    Call("core.uptime", {}, kPing);
    return true;
} catch (const Failure&) {
    return false;
}

}  // namespace proxy
