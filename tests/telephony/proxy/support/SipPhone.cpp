#include "tests/telephony/proxy/support/SipPhone.h"

#include <arpa/inet.h>
#include <openssl/evp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <random>
#include <regex>
#include <stdexcept>

namespace proxy {

namespace {

constexpr std::uint16_t kProxyPort = 5060;

sockaddr_in SocketAddress(const std::string& address, std::uint16_t port) {
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    ::inet_pton(AF_INET, address.c_str(), &name.sin_addr);
    return name;
}

std::string Md5(const std::string& text) {
    unsigned char bytes[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_Digest(text.data(), text.size(), bytes, &size, EVP_md5(), nullptr);
    std::string hex;
    for (unsigned int at = 0; at < size; ++at) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", bytes[at]);
        hex += pair;
    }
    return hex;
}

std::string Random() {
    static std::mt19937_64 random(std::random_device{}());
    return std::to_string(random());
}

std::string Quoted(const std::string& challenge, const std::string& name) {
    std::smatch found;
    if (!std::regex_search(challenge, found, std::regex(name + "=\"([^\"]*)\""))) return "";
    return found[1];
}

}  // namespace

std::string HeaderOf(const std::string& message, const std::string& name) {
    const std::size_t begin = message.find("\r\n" + name + ": ");
    if (begin == message.npos) return "";
    const std::size_t value = begin + name.size() + 4;
    return message.substr(value, message.find("\r\n", value) - value);
}

SipPhone::SipPhone(std::string user, std::string password, std::string proxy, std::string own)
    : user_(std::move(user)), password_(std::move(password)), proxy_(std::move(proxy)) {
    socket_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in name = SocketAddress(own.empty() ? proxy_ : own, 0);
    socklen_t size = sizeof name;
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&name), size) != 0)
        throw std::runtime_error("no phone");
    ::getsockname(socket_, reinterpret_cast<sockaddr*>(&name), &size);
    char text[INET_ADDRSTRLEN];
    address_ = std::string(::inet_ntop(AF_INET, &name.sin_addr, text, sizeof text)) + ":" +
               std::to_string(ntohs(name.sin_port));
}

SipPhone::~SipPhone() {
    ::close(socket_);
}

void SipPhone::SendBytes(const std::string& bytes) const {
    const sockaddr_in name = SocketAddress(proxy_, kProxyPort);
    ::sendto(socket_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&name), sizeof name);
}

void SipPhone::Send(const SipRequest& request, const std::string& authorization) {
    if (authorization.empty()) callId_ = Random();
    const std::string number = std::to_string(++sequence_);
    SendBytes(request.method + " " + request.address + " SIP/2.0\r\nVia: SIP/2.0/UDP " + address_ +
              ";branch=z9hG4bK" + Random() + "\r\nMax-Forwards: 70\r\nFrom: <" +
              request.from.value_or("sip:" + user_ + "@" + proxy_) + ">;tag=t" + number + "\r\nTo: <" +
              request.to.value_or(request.address) + ">\r\nCall-ID: " + callId_ + "\r\nCSeq: " + number +
              " " + request.method + "\r\nContact: <sip:" + user_ + "@" + address_ + ">\r\n" +
              request.headers + authorization + "Content-Length: 0\r\n\r\n");
}

int SipPhone::Ask(const SipRequest& request, std::chrono::milliseconds most) {
    Send(request);
    const int status = FinalAnswer(most);
    if (status != 401 && status != 407) return status;
    Send(request, Authorization(request));
    return FinalAnswer(most);
}

int SipPhone::Register(std::chrono::milliseconds most) {
    return Ask({.method = "REGISTER", .address = "sip:" + proxy_, .to = "sip:" + user_ + "@" + proxy_}, most);
}

std::string SipPhone::Authorization(const SipRequest& request) const {
    const bool isProxy = answer_.starts_with("SIP/2.0 407");
    const std::string challenge = HeaderOf(answer_, isProxy ? "Proxy-Authenticate" : "WWW-Authenticate");
    const std::string realm = Quoted(challenge, "realm");
    const std::string nonce = Quoted(challenge, "nonce");
    const std::string response = Md5(Md5(user_ + ":" + realm + ":" + password_) + ":" + nonce +
                                     ":00000001:c0ffee:auth:" + Md5(request.method + ":" + request.address));
    return std::string(isProxy ? "Proxy-Authorization" : "Authorization") + ": Digest username=\"" + user_ +
           "\", realm=\"" + realm + "\", nonce=\"" + nonce + "\", uri=\"" + request.address +
           "\", response=\"" + response + "\", qop=auth, nc=00000001, cnonce=\"c0ffee\"\r\n";
}

// What belongs to another request is passed over.
int SipPhone::FinalAnswer(std::chrono::milliseconds most) {
    for (;;) {
        answer_ = Receive(most);
        if (answer_.empty()) return 0;
        if (!answer_.starts_with("SIP/2.0 ") || HeaderOf(answer_, "Call-ID") != callId_) continue;
        if (!HeaderOf(answer_, "CSeq").starts_with(std::to_string(sequence_) + " ")) continue;
        const int status = std::stoi(answer_.substr(8, 3));
        if (status >= 200) return status;
    }
}

std::string SipPhone::Receive(std::chrono::milliseconds most) {
    pollfd waiting{socket_, POLLIN, 0};
    if (::poll(&waiting, 1, static_cast<int>(most.count())) <= 0) return "";
    std::string message(65536, '\0');
    const ssize_t size = ::recv(socket_, message.data(), message.size(), 0);
    message.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return message;
}

void SipPhone::Reply(const std::string& request, const std::string& status) {
    std::string headers;
    for (std::size_t begin = request.find("\r\n") + 2; begin < request.size();) {
        const std::size_t end = request.find("\r\n", begin);
        if (end == begin || end == request.npos) break;
        const std::string line = request.substr(begin, end - begin);
        for (const char* const name : {"Via:", "From:", "Call-ID:", "CSeq:", "Record-Route:"})
            if (line.starts_with(name)) headers += line + "\r\n";
        if (line.starts_with("To:"))
            headers += line + (line.find("tag=") == line.npos ? ";tag=b" : "") + "\r\n";
        begin = end + 2;
    }
    SendBytes("SIP/2.0 " + status + "\r\n" + headers + "Contact: <sip:" + user_ + "@" + address_ +
              ">\r\nContent-Length: 0\r\n\r\n");
}

}  // namespace proxy
