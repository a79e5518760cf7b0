#include "tests/drivers/phone/Station.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace test {
namespace {

constexpr long kValidity = 3600;

int Listen() {
    const int listening = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(0, bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    EXPECT_EQ(0, listen(listening, 16));
    return listening;
}

// One connection, with or without TLS.
class Connection {
public:
    Connection(int listening, SSL_CTX* tls)
        : socket_(accept4(listening, nullptr, nullptr, SOCK_CLOEXEC)),
          tls_(tls ? SSL_new(tls) : nullptr, &SSL_free) {
        if (tls_) SSL_set_fd(tls_.get(), socket_);
        isUp_ = !tls_ || SSL_accept(tls_.get()) == 1;
    }
    ~Connection() { close(socket_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    std::string ReadHead() {
        std::string head;
        char piece[4096];
        while (isUp_ && head.find("\r\n\r\n") == std::string::npos) {
            const long count =
                tls_ ? SSL_read(tls_.get(), piece, sizeof piece) : recv(socket_, piece, sizeof piece, 0);
            if (count <= 0) break;
            head.append(piece, static_cast<std::size_t>(count));
        }
        return head;
    }

    void Write(const std::string& text) {
        if (tls_)
            SSL_write(tls_.get(), text.data(), static_cast<int>(text.size()));
        else
            send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
    }

private:
    const int socket_;
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls_;
    bool isUp_;
};

}  // namespace

Station::Station() : listening_(Listen()), tls_(nullptr, &SSL_CTX_free) {}

Station::Station(const std::filesystem::path& folder)
    : folder_(folder), listening_(Listen()), tls_(nullptr, &SSL_CTX_free) {
    std::signal(SIGPIPE, SIG_IGN);  // OpenSSL writes to a connection that the client has left
    TakeAnotherCertificate();
    const std::unique_ptr<FILE, decltype(&std::fclose)> file(std::fopen(Certificate().c_str(), "w"),
                                                             &std::fclose);
    EXPECT_EQ(1, PEM_write_X509(file.get(), SSL_CTX_get0_certificate(tls_.get())));
}

Station::~Station() {
    close(listening_);
}

// For nobody's name.
void Station::TakeAnotherCertificate() {
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), &EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), &X509_free);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), kValidity);
    X509_set_pubkey(certificate.get(), key.get());
    EXPECT_GT(X509_sign(certificate.get(), key.get(), EVP_sha256()), 0);
    tls_.reset(SSL_CTX_new(TLS_server_method()));
    EXPECT_EQ(1, SSL_CTX_use_certificate(tls_.get(), certificate.get()));
    EXPECT_EQ(1, SSL_CTX_use_PrivateKey(tls_.get(), key.get()));
}

std::string Station::Url(const std::string& scheme, const std::string& host) const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(listening_, reinterpret_cast<sockaddr*>(&address), &size);
    return scheme + "://" + host + ":" + std::to_string(ntohs(address.sin_port)) +
           "/open?secret=in-the-query";
}

std::string Station::Answer(const std::string& status, const std::string& body) {
    Connection connection(listening_, tls_.get());
    const std::string request = connection.ReadHead();
    connection.Write("HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) +
                     "\r\nConnection: close\r\n\r\n" + body);
    return request;
}

}  // namespace test
