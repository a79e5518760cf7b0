#include "driverhost/http/server/TlsCertificate.h"

#include <openssl/crypto.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/ssl/context.hpp>
#include <ctime>
#include <utility>

#include "driverhost/runtime/HostLog.h"
#include "driverhost/settings/TokenFile.h"
#include "host/glue/Log.h"

namespace driverhost {
namespace {

namespace asio = boost::asio;
namespace ssl = boost::asio::ssl;
using ErrorCode = boost::system::error_code;

constexpr std::chrono::hours kOneDay{24};
constexpr int kWarnedDays = 30;
constexpr std::size_t kMostBytes = 64 * 1024;  // of a file
// What every browser of these days has, with keys that are forgotten after each connection.
constexpr char kCiphersOfTls12[] = "ECDHE+AESGCM:ECDHE+CHACHA20";

using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

[[noreturn]] void Refuse(const char* option, const std::string& path, const std::string& why) {
    throw OptionError(std::string(option) + " " + path + ": " + why);
}

void Check(const ErrorCode& error, const char* option, const std::string& path) {
    if (error) Refuse(option, path, "cannot be used: " + error.message());
}

void SetRules(SSL_CTX* context) {
    SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
    SSL_CTX_set_cipher_list(context, kCiphersOfTls12);
    SSL_CTX_set_options(context, SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION);
    SSL_CTX_set_mode(context, SSL_MODE_RELEASE_BUFFERS);
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);  // tickets serve as well, and take no memory
}

void UseKey(ssl::context& context, const std::string& path) {
    std::string key = ReadOwnersFile("--tls-key", path, kMostBytes);
    // Without this, OpenSSL would ask at the terminal for the key's password.
    context.set_password_callback([](std::size_t, ssl::context::password_purpose) { return std::string(); });
    ErrorCode error;
    context.use_private_key(asio::buffer(key), ssl::context::pem, error);
    OPENSSL_cleanse(key.data(), key.size());
    Check(error, "--tls-key", path);
}

TlsCertificate::Time EndOf(const X509& certificate) {
    std::tm end{};
    ASN1_TIME_to_tm(X509_get0_notAfter(&certificate), &end);
    return std::chrono::system_clock::from_time_t(timegm(&end));
}

std::string DateOf(TlsCertificate::Time time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 16> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d", &parts)};
}

std::string FingerprintOf(const X509& certificate) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    X509_digest(&certificate, EVP_sha256(), digest.data(), &size);
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (unsigned int at = 0; at < size; ++at) {
        if (at > 0) text += ':';
        text.append({digits[digest[at] >> 4U], digits[digest[at] & 15U]});
    }
    return text;
}

Certificate ParseCertificate(const std::string& text) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> source(
        BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), &BIO_free);
    return {PEM_read_bio_X509(source.get(), nullptr, nullptr, nullptr), &X509_free};
}

X509* ShownBy(const ssl::context& context) {
    return SSL_CTX_get0_certificate(const_cast<ssl::context&>(context).native_handle());
}

}  // namespace

TlsCertificate::TlsCertificate(TlsFiles files) : files_(std::move(files)) {
    if (!files_.certificate.empty()) loaded_ = Load(files_);
}

TlsCertificate::Loaded TlsCertificate::Load(const TlsFiles& files) {
    Loaded loaded;
    loaded.context = std::make_shared<ssl::context>(ssl::context::tls_server);
    SetRules(loaded.context->native_handle());
    ErrorCode error;
    loaded.context->use_certificate_chain_file(files.certificate, error);
    Check(error, "--tls-certificate", files.certificate);
    UseKey(*loaded.context, files.key);
    loaded.end = EndOf(*ShownBy(*loaded.context));
    if (!files.authority.empty()) LoadAuthority(files.authority, loaded);
    return loaded;
}

// Clients that install an authority which has not signed the certificate would trust too much and get
// nothing.
void TlsCertificate::LoadAuthority(const std::string& path, Loaded& loaded) {
    loaded.authority = ReadSmallFile("--tls-authority", path, kMostBytes);
    const Certificate authority = ParseCertificate(loaded.authority);
    if (!authority) Refuse("--tls-authority", path, "holds no certificate; expected one in PEM form");
    if (X509_verify(ShownBy(*loaded.context), X509_get0_pubkey(authority.get())) != 1)
        Refuse("--tls-authority", path, "has not signed the certificate of --tls-certificate");
    loaded.fingerprint = FingerprintOf(*authority);
}

void TlsCertificate::ReadAgain() {
    if (!IsThere()) return;
    try {
        loaded_ = Load(files_);
        HostLog::Write(dv::LOG_LEVEL_INFO, kHostName,
                       "the certificate was read again; it ends on " + DateOf(loaded_.end));
    } catch (const OptionError& error) {
        HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                       std::string(error.what()) + "; the former certificate stays in use");
    }
}

bool TlsCertificate::IsFor(const std::string& name) const {
    if (!IsThere() || name.empty()) return false;
    X509* const certificate = ShownBy(*loaded_.context);
    return X509_check_host(certificate, name.data(), name.size(), X509_CHECK_FLAG_NEVER_CHECK_SUBJECT,
                           nullptr) == 1 ||
           X509_check_ip_asc(certificate, name.c_str(), 0) == 1;
}

std::string TlsCertificate::Warning(Time now) const {
    if (!IsThere() || loaded_.end - now > kWarnedDays * kOneDay) return {};
    const std::string what = loaded_.end < now ? "the certificate has ended on " : "the certificate ends on ";
    return what + DateOf(loaded_.end) +
           ", and then browsers refuse it: make a new one with scripts/certificate, then send SIGHUP";
}

}  // namespace driverhost
