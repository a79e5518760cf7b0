// The client and a real host that speaks TLS, with certificates as homes make them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/driverhost/support/Certificates.h"
#include "tests/support/process/DriverHost.h"

using driverhost::Certificates;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr char kHome[] =
    "<home><controller><address>192.168.1.10</address></controller>"
    "<driver><id>1</id><name>agent</name><library>intercom_agent</library></driver></home>";

class IntercomctlWithTls : public testing::Test {
protected:
    void SetUp() override {
        test::WriteFile(folder / "token", "s3cret\n");
        std::filesystem::permissions(folder / "token", std::filesystem::perms(0600));
        test::WriteFile(folder / "tokens", "household h0use\ntablet hall d00r\nadmin s3cret\n");
    }

    void Start(const std::string& certificate, const std::string& key) {
        host.Start(0, {"--tls-certificate", certificate, "--tls-key", key, "--token-file", folder / "token"});
    }
    void Start() { Start(made.Path("host.pem"), made.Path("host.key")); }

    std::string Url(const std::string& name = "127.0.0.1") const {
        return "https://" + name + ":" + std::to_string(host.Port());
    }

    test::ProgramResult Ctl(const std::string& url, const std::string& authority,
                            std::vector<std::string> words) const {
        words.insert(words.begin(), INTERCOMCTL_PROGRAM);
        return test::RunProgram(words, {{"INTERCOMCTL_URL", url},
                                        {"INTERCOMCTL_TOKEN_FILE", folder / "tokens"},
                                        {"INTERCOMCTL_AUTHORITY", authority}});
    }
    test::ProgramResult Ctl(const std::vector<std::string>& words) const {
        return Ctl(Url(), made.Path("authority.pem"), words);
    }

    /// Nothing was asked of the host, and the client says why.
    void ExpectRefusal(const test::ProgramResult& result, const std::string& why) const {
        EXPECT_EQ(3, result.status);
        EXPECT_THAT(result.errors, HasSubstr(why));
        EXPECT_EQ("", result.output);
        EXPECT_THAT(host.Log(), Not(HasSubstr("addGroup")));
    }

    const Certificates made;
    const test::TempFolder folder;
    test::DriverHost host{kHome};
};

}  // namespace

TEST_F(IntercomctlWithTls, ItAsksAHostWhoseAuthorityItKnowsByAddressAndByName) {
    Start();
    const test::ProgramResult added = Ctl({"addGroup", "name=Upstairs"});
    EXPECT_EQ(0, added.status) << added.errors;
    EXPECT_THAT(added.output, HasSubstr("<name>Upstairs</name>"));
    EXPECT_THAT(Ctl(Url("localhost"), made.Path("authority.pem"), {"getGroupList"}).output,
                HasSubstr("<name>Upstairs</name>"));
    EXPECT_THAT(Ctl({"--token-file", folder / "token", "getGroupList"}).output, HasSubstr("Upstairs"));
}

TEST_F(IntercomctlWithTls, TheAuthorityBesideTheTokensIsTrusted) {
    Start();
    std::filesystem::copy(made.Path("authority.pem"), folder / "authority.pem");
    EXPECT_EQ(0, Ctl(Url(), "", {"getGroupList"}).status);
}

TEST_F(IntercomctlWithTls, LongDocumentsAndEventsComeWhole) {
    Start();
    const std::string long_name(200000, 'x');
    test::WriteFile(folder / "name", long_name);
    EXPECT_EQ(0, Ctl({"addGroup", "name=@" + (folder / "name").string()}).status);
    EXPECT_EQ(0, Ctl({"state", "save", folder / "backup.xml"}).status);
    EXPECT_THAT(test::ReadFile(folder / "backup.xml"), HasSubstr("<name>" + long_name + "</name>"));
    EXPECT_EQ(0, Ctl({"state", "load", folder / "backup.xml"}).status);
    const test::Process following({{INTERCOMCTL_PROGRAM, "--url", Url(), "--token-file", folder / "token",
                                    "--authority", made.Path("authority.pem"), "events", "--since", "0"},
                                   {},
                                   folder / "events"});
    EXPECT_TRUE(test::Eventually([&] {
        return test::ReadFile(folder / "events").find("<GroupAdded>\n  <id>1</id>\n") != std::string::npos;
    })) << test::ReadFile(folder / "events");
}

TEST_F(IntercomctlWithTls, AHostOfAnUnknownAuthorityIsAskedNothing) {
    Start();
    const Certificates others;
    const std::string authority = others.Path("authority.pem");
    ExpectRefusal(Ctl(Url(), authority, {"addGroup", "name=x"}),
                  Url() + " is not trusted: its certificate was not signed by the authority in " + authority);
    ExpectRefusal(
        Ctl(Url(), "", {"addGroup", "name=x"}),
        "signed by an authority that this system does not know; name the home's own with --authority");
}

TEST_F(IntercomctlWithTls, AHostThatShowsACertificateForOtherNamesIsAskedNothing) {
    made.Renew({"box.local", "127.0.0.2"});
    Start();
    ExpectRefusal(Ctl({"addGroup", "name=x"}), "its certificate is not for 127.0.0.1; use a name");
    ExpectRefusal(Ctl(Url("localhost"), made.Path("authority.pem"), {"addGroup", "name=x"}),
                  "its certificate is not for localhost; use a name");
}

TEST_F(IntercomctlWithTls, AHostWhoseCertificateHasEndedIsAskedNothing) {
    const std::string certificate = folder / "ended.pem";
    const std::string sign = "cd " + folder.Path().string() + " && cp " + made.Path("host.key") +
                             " ended.key && openssl req -new -key ended.key -subj "
                             "/CN=x | openssl x509 -req -signkey ended.key -days -1 -out ended.pem -extfile "
                             "<(echo subjectAltName=IP:127.0.0.1)";
    ASSERT_EQ(0, test::RunProgram({"bash", "-c", sign}).status);
    Start(certificate, folder / "ended.key");
    ExpectRefusal(Ctl(Url(), certificate, {"addGroup", "name=x"}), "its certificate has ended");
}

TEST_F(IntercomctlWithTls, WrongSchemesAndFilesAreToldApart) {
    Start();
    const test::ProgramResult keys = Ctl(Url(), made.Path("host.key"), {"getGroupList"});
    EXPECT_EQ(2, keys.status);
    EXPECT_THAT(keys.errors, HasSubstr("host.key holds no certificate of an authority"));
    EXPECT_EQ(2, Ctl(Url(), folder / "absent.pem", {"getGroupList"}).status);
    const test::ProgramResult plain = Ctl("http" + Url().substr(5), "", {"getGroupList"});
    EXPECT_EQ(3, plain.status);
    EXPECT_THAT(plain.errors, HasSubstr("https://"));
    host.Stop();
    host.Start();
    const test::ProgramResult tls = Ctl({"getGroupList"});
    EXPECT_EQ(3, tls.status);
    EXPECT_THAT(tls.errors, HasSubstr("no TLS is spoken there; try http://"));
}
