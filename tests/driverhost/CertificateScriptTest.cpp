// What scripts/certificate makes, as OpenSSL sees it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/driverhost/support/Certificates.h"

namespace driverhost {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string TextOf(const std::string& path) {
    return test::RunProgram({"openssl", "x509", "-in", path, "-noout", "-text"}).output;
}

/// Whether a client that trusts the authority takes the certificate for that name or address.
bool IsTaken(const Certificates& made, const std::string& option, const std::string& name) {
    return test::RunProgram({"openssl", "verify", "-CAfile", made.Path("authority.pem"), "-purpose",
                             "sslserver", option, name, made.Path("host.pem")})
               .status == 0;
}

mode_t ModeOf(const std::string& path) {
    struct stat status {};
    stat(path.c_str(), &status);
    return status.st_mode & 0777U;
}

TEST(CertificateScript, ACertificateIsForTheNamesThatAreGiven) {
    const Certificates made({"box.local", "192.168.1.10", "fd00::7"});
    EXPECT_TRUE(IsTaken(made, "-verify_hostname", "box.local"));
    EXPECT_TRUE(IsTaken(made, "-verify_ip", "192.168.1.10"));
    EXPECT_TRUE(IsTaken(made, "-verify_ip", "fd00::7"));
    EXPECT_FALSE(IsTaken(made, "-verify_hostname", "other.local"));
    EXPECT_FALSE(IsTaken(made, "-verify_ip", "192.168.1.11"));
}

TEST(CertificateScript, TheAuthorityIsBoundToHomes) {
    const Certificates made;
    const std::string text = TextOf(made.Path("authority.pem"));
    for (const char* expected : {"X509v3 Name Constraints: critical", "CA:TRUE, pathlen:0", "prime256v1",
                                 "X509v3 Key Usage: critical\n                Certificate Sign, CRL Sign",
                                 "DNS:local\n", "IP:192.168.0.0/255.255.0.0"})
        EXPECT_THAT(text, HasSubstr(expected));
    const std::string host = TextOf(made.Path("host.pem"));
    for (const char* expected : {"CA:FALSE", "TLS Web Server Authentication", "prime256v1"})
        EXPECT_THAT(host, HasSubstr(expected));
}

TEST(CertificateScript, NamesOfOthersAreRefusedAndNothingChanges) {
    const Certificates made;
    const std::string before = test::ReadFile(made.Path("host.pem"));
    for (const char* name : {"www.example.org", "8.8.8.8", "2001:db8::1", "local.example.org"}) {
        const auto refused = made.Run({name});
        EXPECT_NE(refused.status, 0) << name;
        EXPECT_THAT(refused.errors, HasSubstr("may not vouch for all of: " + std::string(name)));
    }
    for (const char* name : {"two words", "a,DNS:evil.example", "$(id)", "*.local"})
        EXPECT_NE(made.Run({name}).status, 0) << name;
    EXPECT_EQ(test::ReadFile(made.Path("host.pem")), before);
}

TEST(CertificateScript, ANameWithoutADotIsTakenWhenTheAuthorityKnowsIt) {
    const Certificates made({"box"});
    EXPECT_TRUE(IsTaken(made, "-verify_hostname", "box"));
    EXPECT_NE(made.Run({"attic"}).status, 0);
}

TEST(CertificateScript, ARenewalKeepsTheAuthority) {
    const Certificates made;
    const std::string authority = test::ReadFile(made.Path("authority.pem"));
    const std::string host = test::ReadFile(made.Path("host.pem"));
    made.Renew({"attic.local"});
    EXPECT_EQ(test::ReadFile(made.Path("authority.pem")), authority);
    EXPECT_NE(test::ReadFile(made.Path("host.pem")), host);
    EXPECT_TRUE(IsTaken(made, "-verify_hostname", "attic.local"));
}

TEST(CertificateScript, KeysAreTheirOwnersAlone) {
    const Certificates made;
    EXPECT_EQ(ModeOf(made.Path("host.key")), 0600U);
    EXPECT_EQ(ModeOf(made.Path("authority.key")), 0600U);
    EXPECT_EQ(ModeOf(made.Path(".")), 0700U);
}

TEST(CertificateScript, WithoutNamesItIsForThisMachine) {
    const Certificates made(std::vector<std::string>{});
    EXPECT_TRUE(IsTaken(made, "-verify_hostname", "localhost"));
    EXPECT_TRUE(IsTaken(made, "-verify_ip", "127.0.0.1"));
}

// The machine has another name than those that the authority was made with.
TEST(CertificateScript, OfARenamedMachineTheNameWithoutADotIsLeftOut) {
    const Certificates made({"box"});
    const auto renewed = made.Run({});
    EXPECT_EQ(renewed.status, 0) << renewed.errors;
    EXPECT_TRUE(IsTaken(made, "-verify_hostname", "localhost"));
    EXPECT_FALSE(IsTaken(made, "-verify_hostname", "box"));
}

TEST(CertificateScript, OneThatDoesIsKept) {
    const Certificates made(std::vector<std::string>{"--keep", "192.168.1.10"});
    const std::string host = test::ReadFile(made.Path("host.pem"));
    const auto kept = made.Run({"--keep", "192.168.1.10"});
    EXPECT_EQ(kept.status, 0) << kept.errors;
    EXPECT_EQ(kept.output, "");
    EXPECT_EQ(made.Run({"--keep"}).output, "");
    EXPECT_EQ(test::ReadFile(made.Path("host.pem")), host);
}

TEST(CertificateScript, OneThatLacksAnAddressIsNotKept) {
    const Certificates made(std::vector<std::string>{"--keep", "192.168.1.10"});
    const std::string authority = test::ReadFile(made.Path("authority.pem"));
    EXPECT_THAT(
        made.Run({"--keep", "fd00::7"}).output,
        testing::StartsWith("a certificate was made, since the former one was not for fd00::7; it is for "));
    EXPECT_TRUE(IsTaken(made, "-verify_ip", "fd00::7"));
    EXPECT_TRUE(IsTaken(made, "-verify_hostname", "localhost"));
    EXPECT_EQ(test::ReadFile(made.Path("authority.pem")), authority);
}

TEST(CertificateScript, OneThatCannotBeUsedIsNotKept) {
    const Certificates made(std::vector<std::string>{"--keep"});
    const Certificates others;
    for (const char* const name : {"host.pem", "host.key"}) {
        std::filesystem::copy_file(others.Path(name), made.Path(name),
                                   std::filesystem::copy_options::overwrite_existing);
        EXPECT_THAT(made.Run({"--keep"}).output, HasSubstr("since the former one could not be used")) << name;
        EXPECT_EQ(made.Run({"--keep"}).output, "") << name;
    }
    std::filesystem::remove(made.Path("host.key"));
    EXPECT_THAT(made.Run({"--keep"}).output, HasSubstr("since there was none"));
}

TEST(CertificateScript, TheFingerprintIsShownForComparing) {
    const Certificates made;
    const std::string shown = made.Run({"--show"}).output;
    const std::string own = test::RunProgram({"openssl", "x509", "-in", made.Path("authority.pem"), "-noout",
                                              "-fingerprint", "-sha256"})
                                .output;
    EXPECT_THAT(shown, HasSubstr(own.substr(own.find('=') + 1)));
    EXPECT_THAT(shown, HasSubstr("DNS:box.local"));
    EXPECT_THAT(shown, Not(HasSubstr("PRIVATE")));
}

}  // namespace
}  // namespace driverhost
