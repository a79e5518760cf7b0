// The server with TLS, and the port without it that leads there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>

#include "driverhost/runtime/Digest.h"
#include "tests/driverhost/support/Certificates.h"
#include "tests/driverhost/support/ServerFixture.h"

namespace driverhost {
namespace {

using namespace std::chrono_literals;
namespace asio = boost::asio;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// A client that trusts one authority, and expects the name localhost.
class TlsClient {
public:
    TlsClient(int port, const std::string& authority) {
        context_.load_verify_file(authority);
        stream_.set_verify_mode(asio::ssl::verify_peer);
        stream_.set_verify_callback(asio::ssl::host_name_verification("localhost"));
        stream_.lowest_layer().connect({asio::ip::address_v4::loopback(), static_cast<unsigned short>(port)});
        stream_.handshake(asio::ssl::stream_base::client);
    }

    void Send(const std::string& bytes) {
        boost::system::error_code ignored;  // a server that answers early may not take all
        asio::write(stream_, asio::buffer(bytes), ignored);
    }

    std::string ReadUntil(const std::string& mark) {
        const std::size_t size = asio::read_until(stream_, asio::dynamic_buffer(received_), mark);
        const std::string text = received_.substr(0, size);
        received_.erase(0, size);
        return text;
    }

    std::string ReadToEnd() {
        asio::read(stream_, asio::dynamic_buffer(received_), ended);
        return std::exchange(received_, {});
    }

    /// The number of the server's certificate.
    std::string Serial() {
        const std::unique_ptr<X509, decltype(&X509_free)> shown(
            SSL_get1_peer_certificate(stream_.native_handle()), &X509_free);
        const std::unique_ptr<BIGNUM, decltype(&BN_free)> number(
            ASN1_INTEGER_to_BN(X509_get0_serialNumber(shown.get()), nullptr), &BN_free);
        const std::unique_ptr<char, void (*)(char*)> text(BN_bn2hex(number.get()),
                                                          [](char* hex) { OPENSSL_free(hex); });
        return text.get();
    }

    boost::system::error_code ended;  // how the other side ended it

private:
    asio::io_context loop_;
    asio::ssl::context context_{asio::ssl::context::tls_client};
    asio::ssl::stream<asio::ip::tcp::socket> stream_{loop_, context_};
    std::string received_;
};

class TlsTest : public ServerFixture {
protected:
    TlsTest() {
        limits_.handshakeTime = test::kPatience;
        tlsFiles_ = made_.Files();
        Add("lamp", "probe");
    }

    void Serve() {
        Start();
        server_.emplace(thread_, ListenAddress{"127.0.0.1", 0}, limits_);
        server_->UseTls(*certificate_);
        server_->ListenPlain({"127.0.0.1", 0});
        server_->Start(*routes_, events_, metrics_);
        port_ = server_->Address().port;
        plainPort_ = server_->PlainAddress()->port;
    }

    TlsClient Client() const { return {port_, made_.Path("authority.pem")}; }

    std::string Converse(const std::string& request) {
        return With([&] {
            TlsClient client(port_, made_.Path("authority.pem"));
            client.Send(request);
            return client.ReadToEnd();
        });
    }

    /// What OpenSSL's client says when it tries no other version.
    test::ProgramResult TryVersion(const std::string& version) {
        return With([&] {
            return test::RunProgram(
                {"sh", "-c",
                 "echo | openssl s_client " + version +
                     " -cipher ALL:@SECLEVEL=0 -connect 127.0.0.1:" + std::to_string(port_)});
        });
    }

    HttpAnswer GetPlain(const std::string& path, const std::string& method = "GET") {
        return With([&] { return AskOnce(plainPort_, method, path); });
    }

    const Certificates made_;
    const std::string kClosing = "Connection: close\r\n";
    int plainPort_ = 0;
};

TEST_F(TlsTest, ARequestIsAnsweredAndTheConnectionEndsInGoodOrder) {
    Serve();
    const std::string text = With([this] {
        TlsClient client(port_, made_.Path("authority.pem"));
        client.Send(RequestText("GET", "/health", "", kClosing));
        std::string all = client.ReadToEnd();
        EXPECT_EQ(client.ended, asio::error::eof) << "cut off, and nobody would know whether it was all";
        return all;
    });
    EXPECT_THAT(text, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(text, HasSubstr("<health>ok</health>"));
}

TEST_F(TlsTest, AConnectionServesManyRequestsAndLargeBodies) {
    Serve();
    const std::string large = "a=" + std::string(500'000, 'x');
    const std::string text = Converse(RequestText("POST", "/drivers/lamp/commands/count") +
                                      RequestText("POST", "/drivers/lamp/commands/echo", large) +
                                      RequestText("POST", "/drivers/lamp/commands/count", "", kClosing));
    EXPECT_THAT(text, HasSubstr("<count>1</count>"));
    EXPECT_THAT(text, HasSubstr("<a>" + large.substr(2) + "</a>"));
    EXPECT_THAT(text, testing::EndsWith("<count>2</count>"));
}

TEST_F(TlsTest, ABodyThatIsTooLargeIsAnsweredAlsoToAClientThatSendsItAll) {
    limits_.bodyBytes = 1000;
    Serve();
    EXPECT_THAT(
        Converse(RequestText("POST", "/drivers/lamp/commands/echo", "a=" + std::string(3'000'000, 'x'))),
        StartsWith("HTTP/1.1 413 "));
}

TEST_F(TlsTest, VersionsBelow12AreRefused) {
    Serve();
    for (const char* version : {"-tls1", "-tls1_1"}) {
        const auto tried = TryVersion(version);
        EXPECT_NE(tried.status, 0) << version;
        EXPECT_THAT(tried.errors, HasSubstr("alert protocol version")) << version;
    }
    for (const char* version : {"-tls1_2", "-tls1_3"})
        EXPECT_EQ(TryVersion(version).status, 0) << version;
}

TEST_F(TlsTest, CiphersWithoutForwardSecrecyAreRefused) {
    Serve();
    for (const char* cipher : {"AES128-SHA", "ECDHE-ECDSA-AES128-SHA", "AES256-GCM-SHA384"}) {
        const auto tried = With([&] {
            return test::RunProgram({"sh", "-c",
                                     "echo | openssl s_client -tls1_2 -cipher " + std::string(cipher) +
                                         ":@SECLEVEL=0 -connect 127.0.0.1:" + std::to_string(port_)});
        });
        EXPECT_NE(tried.status, 0) << cipher;
    }
}

TEST_F(TlsTest, WhoSpeaksNoTlsGetsNothing) {
    Serve();
    EXPECT_THAT(ConversationOf(RequestText("GET", "/health")), Not(HasSubstr("HTTP/1.1")));
}

TEST_F(TlsTest, AHandshakeThatDoesNotCompleteIsClosed) {
    limits_.handshakeTime = 200ms;
    Serve();
    EXPECT_EQ(ConversationOf(""), "");
    EXPECT_EQ(ConversationOf("\x16\x03\x01\x02"), "");
    TurnUntil([this] { return server_->Connections() == 0; });
}

TEST_F(TlsTest, SilentClientsDoNotKeepOthersOut) {
    limits_.handshakes = 2;
    Serve();
    With([this] {
        HttpConnection first(port_);
        HttpConnection second(port_);
        TlsClient client(port_, made_.Path("authority.pem"));
        EXPECT_EQ(first.ReadToEnd(), "");
        client.Send(RequestText("GET", "/health"));
        client.ReadUntil("<health>ok</health>");
        return 0;
    });
}

TEST_F(TlsTest, StreamsOutliveTheHandshakesOfOthers) {
    limits_.handshakes = 1;
    Serve();
    const std::string told = With([this] {
        TlsClient reader(port_, made_.Path("authority.pem"));
        reader.Send(RequestText("GET", "/events"));
        reader.ReadUntil("\r\n\r\n");
        for (int other = 0; other < 5; ++other) {
            TlsClient client(port_, made_.Path("authority.pem"));
            client.Send(RequestText("POST", "/drivers/lamp/commands/event", "text=ding&times=1"));
            client.ReadUntil("\r\n\r\n");
        }
        return reader.ReadUntil("id: 5\ndata: <Probe>ding</Probe>\n\n");
    });
    EXPECT_THAT(told, StartsWith("id: 1\ndata: <Probe>ding</Probe>\n\n"));
}

TEST_F(TlsTest, ARenewedCertificateIsShownToNewConnections) {
    Serve();
    const auto serial = [this] { return With([this] { return Client().Serial(); }); };
    const std::string before = serial();
    made_.Renew({"localhost"});
    EXPECT_EQ(serial(), before);
    certificate_->ReadAgain();
    EXPECT_NE(serial(), before);
}

TEST_F(TlsTest, ABadNewCertificateLeavesTheFormerInUse) {
    Serve();
    const auto serial = [this] { return With([this] { return Client().Serial(); }); };
    const std::string before = serial();
    test::WriteFile(made_.Path("host.pem"), "no certificate");
    testing::internal::CaptureStderr();
    certificate_->ReadAgain();
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_THAT(log, HasSubstr("--tls-certificate " + made_.Path("host.pem") + ": cannot be used: "));
    EXPECT_THAT(log, HasSubstr("; the former certificate stays in use"));
    EXPECT_EQ(serial(), before);
}

TEST_F(TlsTest, PagesOfThisHostAreItsOwnByTlsOnly) {
    Serve();
    const auto statusFor = [this](const std::string& headers) {
        return Converse("POST /drivers/lamp/commands/nothing HTTP/1.1\r\n" + headers + kClosing + "\r\n")
            .substr(9, 3);
    };
    EXPECT_EQ(statusFor("Host: localhost:1\r\nOrigin: https://localhost:1\r\n"), "204");
    EXPECT_EQ(statusFor("Host: localhost\r\nOrigin: https://localhost:443\r\n"), "204");
    EXPECT_EQ(statusFor("Host: localhost:1\r\nOrigin: http://localhost:1\r\n"), "403");
    EXPECT_EQ(statusFor("Host: localhost\r\nOrigin: https://evil.example\r\n"), "403");
}

TEST_F(TlsTest, ASessionIsForTlsAlone) {
    tokens_ = {{Sha256("secret"), ROLE_ADMIN, "", 1}};
    Serve();
    const std::string form = "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: 12\r\n";
    const std::string origin = "Host: localhost\r\nOrigin: https://localhost\r\n";
    const std::string given =
        Converse("POST /session HTTP/1.1\r\n" + origin + form + kClosing + "\r\ntoken=secret");
    const std::string start = "Set-Cookie: __Host-intercom=";
    ASSERT_THAT(given, HasSubstr(start));
    EXPECT_THAT(given, HasSubstr("; Path=/; Max-Age=34560000; Secure\r\n"));
    const std::string id = given.substr(given.find(start) + start.size(), 64);
    const auto statusFor = [&](const std::string& name) {
        const std::string cookie = "Cookie: " + name + "=" + id + "\r\n";
        return Converse("POST /drivers/lamp/commands/nothing HTTP/1.1\r\n" + origin + cookie + kClosing +
                        "\r\n")
            .substr(9, 3);
    };
    EXPECT_EQ(statusFor("__Host-intercom"), "204");
    EXPECT_EQ(statusFor("intercom"), "401");
}

TEST_F(TlsTest, NamesInTheCertificateAreTheHostsOwn) {
    Start();
    const Trust trust({"127.0.0.1", 443}, "", &*certificate_);
    const auto isRefused = [&](std::string_view host) {
        Request request;
        request.hosts = 1;
        request.host = host;
        return trust.Refuse(request).has_value();
    };
    EXPECT_FALSE(isRefused("box.local"));
    EXPECT_FALSE(isRefused("BOX.local:8443"));
    EXPECT_TRUE(isRefused("attic.local"));
    EXPECT_TRUE(isRefused("evil.example"));
}

TEST_F(TlsTest, ThePlainPortGivesOutTheAuthority) {
    Serve();
    const HttpAnswer given = GetPlain("/ca.pem");
    EXPECT_EQ(given.body, test::ReadFile(made_.Path("authority.pem")));
    EXPECT_EQ(given.headers.at("content-type"), "application/x-x509-ca-cert");
    EXPECT_THAT(given.body, Not(HasSubstr("PRIVATE")));
}

TEST_F(TlsTest, ThePlainPortSaysHowToInstallIt) {
    Serve();
    const HttpAnswer page = GetPlain("/");
    EXPECT_EQ(page.headers.at("content-type"), "text/html; charset=utf-8");
    EXPECT_EQ(page.headers.at("content-security-policy"), "default-src 'none'; frame-ancestors 'none'");
    EXPECT_THAT(page.body, HasSubstr(certificate_->Fingerprint()));
    EXPECT_EQ(certificate_->Fingerprint().size(), 95U);
    EXPECT_THAT(made_.Run({"--show"}).output, HasSubstr(certificate_->Fingerprint()));
    EXPECT_THAT(page.body, HasSubstr("<a href=\"https://localhost:" + std::to_string(port_) + "/\">"));
}

TEST_F(TlsTest, ThePlainPortLeadsToTheOtherAndServesNothingElse) {
    Serve();
    const HttpAnswer moved = GetPlain("/tablet/Front%20door");
    EXPECT_EQ(moved.status, 308);
    EXPECT_EQ(moved.headers.at("location"),
              "https://localhost:" + std::to_string(port_) + "/tablet/Front%20door");
    for (const char* path :
         {"/drivers", "/events", "/health", "/sip/accounts", "//evil.example/", "/ca.pem/.."})
        EXPECT_THAT(GetPlain(path).headers.at("location"),
                    StartsWith("https://localhost:" + std::to_string(port_) + "/"))
            << path;
    const HttpAnswer refused = GetPlain("/drivers/lamp/commands/count", "POST");
    EXPECT_EQ(refused.status, 405);
    EXPECT_EQ(refused.headers.at("allow"), "GET, HEAD");
}

TEST_F(TlsTest, ThePlainPortLeadsNobodyToForeignNames) {
    Serve();
    const std::string text = With([this] {
        HttpConnection connection(plainPort_);
        connection.Send("GET /tablet/kitchen HTTP/1.1\r\nHost: evil.example\r\n\r\n");
        return connection.ReadToEnd();
    });
    EXPECT_THAT(text, StartsWith("HTTP/1.1 403 "));
    EXPECT_THAT(text, Not(HasSubstr("Location")));
}

class TlsCertificateTest : public testing::Test {
protected:
    static std::string FaultOf(const TlsFiles& files) {
        try {
            const TlsCertificate read(files);
            return "none";
        } catch (const OptionError& error) {
            return error.what();
        }
    }

    static std::chrono::system_clock::time_point InDays(int days) {
        return std::chrono::system_clock::now() + std::chrono::hours(24) * days;
    }

    const Certificates made_;
};

TEST_F(TlsCertificateTest, ItsEndIsAnnounced30DaysBefore) {
    const TlsCertificate read(made_.Files());  // it is valid for 397 days
    EXPECT_EQ(read.Warning(InDays(366)), "");
    EXPECT_THAT(read.Warning(InDays(368)), StartsWith("the certificate ends on 20"));
    EXPECT_THAT(read.Warning(InDays(398)), StartsWith("the certificate has ended on 20"));
    EXPECT_EQ(TlsCertificate(TlsFiles{}).Warning(InDays(0)), "");
}

TEST_F(TlsCertificateTest, AKeyThatOthersMayReadIsRefused) {
    chmod(made_.Path("host.key").c_str(), 0640);
    EXPECT_EQ(FaultOf(made_.Files()),
              "--tls-key " + made_.Path("host.key") + ": others may read or change it; run chmod 600 on it");
}

TEST_F(TlsCertificateTest, FilesThatDoNotBelongTogetherAreRefused) {
    const Certificates other;
    TlsFiles files = made_.Files();
    files.key = other.Path("host.key");
    EXPECT_THAT(FaultOf(files), StartsWith("--tls-key " + files.key + ": cannot be used: "));
    files = made_.Files();
    files.authority = other.Path("authority.pem");
    EXPECT_EQ(FaultOf(files),
              "--tls-authority " + files.authority + ": has not signed the certificate of --tls-certificate");
}

TEST_F(TlsCertificateTest, FilesThatAreNotThereOrHoldSomethingElseAreRefused) {
    for (const auto part : {&TlsFiles::certificate, &TlsFiles::key, &TlsFiles::authority}) {
        TlsFiles files = made_.Files();
        files.*part = "/nowhere/file.pem";
        EXPECT_THAT(FaultOf(files), HasSubstr("/nowhere/file.pem: ")) << FaultOf(files);
        files.*part = made_.Path("other");
        test::WriteFile(made_.Path("other"), "nothing of the kind");
        chmod(made_.Path("other").c_str(), 0600);
        EXPECT_THAT(FaultOf(files), HasSubstr(made_.Path("other") + ": ")) << FaultOf(files);
    }
}

TEST_F(TlsTest, HealthWarnsOfTheEnd) {
    const auto made =
        test::RunProgram({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                          "ec_paramgen_curve:prime256v1", "-nodes", "-days", "10", "-subj", "/CN=box",
                          "-keyout", made_.Path("short.key"), "-out", made_.Path("short.pem")});
    ASSERT_EQ(made.status, 0) << made.errors;
    tlsFiles_ = {made_.Path("short.pem"), made_.Path("short.key"), ""};
    Start();
    EXPECT_THAT(
        Ask("GET", "/health").body,
        testing::MatchesRegex("<health>ok<warning>the certificate ends on 20[0-9-]+, and then browsers "
                              "refuse it: .*</warning></health>"));
}

}  // namespace
}  // namespace driverhost
