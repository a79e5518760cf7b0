// A door station's web page: it takes one request after the other, each when the test answers it.
#ifndef TESTS_DRIVERS_PHONE_STATION_H
#define TESTS_DRIVERS_PHONE_STATION_H

#include <openssl/ssl.h>

#include <filesystem>
#include <memory>
#include <string>

namespace test {

class Station {
public:
    /// Speaks HTTP.
    Station();
    /// Speaks HTTPS, with a certificate that it has made itself and put into the folder.
    explicit Station(const std::filesystem::path& folder);
    ~Station();
    Station(const Station&) = delete;
    Station& operator=(const Station&) = delete;

    std::string Url() const { return Url(tls_ ? "https" : "http", "127.0.0.1"); }
    /// With a secret in its query.
    std::string Url(const std::string& scheme, const std::string& host) const;
    std::string Certificate() const { return folder_ / "station.pem"; }
    void TakeAnotherCertificate();

    /// Waits for a request and answers it with this status, which may have headers behind it. The request;
    /// empty when the client goes before it has sent one.
    std::string Answer(const std::string& status, const std::string& body = "");

private:
    const std::filesystem::path folder_;
    int listening_;
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> tls_;
};

}  // namespace test

#endif
