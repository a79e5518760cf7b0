// What --listen-lan makes of a home: a host that tablets of the home's network reach and trust.
#include <sys/stat.h>

#include <regex>

#include "tests/run/SupervisedHome.h"
#include "tests/support/process/RunProgram.h"

namespace test {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kAddress[] = "192.168.77.10";
constexpr char kOther[] = "192.168.78.20";

std::string Ask(const std::string& method, const std::string& path, const std::string& place,
                const std::string& headers = {}) {
    return method + " " + path + " HTTP/1.1\r\nHost: " + place + "\r\nConnection: close\r\n" + headers +
           "\r\n";
}

/// The network has an address, which is not this machine's own.
class LanTest : public SupervisedHome {
protected:
    void SetUp() override {
        SupervisedHome::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        const ProgramResult made =
            Shell("ip link add lan0 type veth peer name lan1 && ip link set lan0 up && ip address add " +
                  std::string(kAddress) + "/24 dev lan0");
        if (made.status != 0) return SkipFor("there can be no network here: " + made.errors);
        environment_["SUPERVISE_ADDRESS_SECONDS"] = "0.2";
    }

    void TearDown() override {
        SupervisedHome::TearDown();
        Shell("ip link del lan0");
    }

    static ProgramResult Shell(const std::string& command,
                               const std::map<std::string, std::string>& environment = {}) {
        return RunProgram({"bash", "-c", command}, environment);
    }

    /// The host alone, which is enough for most.
    void StartHost(const Words& options = {}) {
        Words words = {"--simulated", "--listen-lan"};
        words.insert(words.end(), options.begin(), options.end());
        Start(words);
        ASSERT_TRUE(Comes("Ctrl-C here ends everything")) << Log();
    }

    /// The answer; nothing when the host is not the one that the home's authority vouches for at that
    /// address.
    std::string AskTls(const std::string& request, const std::string& address = kAddress) const {
        return Shell("printf %s \"$REQUEST\" | openssl s_client -quiet -verify_return_error -CAfile " +
                         Lan("authority.pem") + " -verify_ip " + address + " -connect " + address + ":8443",
                     {{"REQUEST", request}})
            .output;
    }
    static std::string AskPlain(const std::string& request) {
        return Shell(
                   "exec 3<>/dev/tcp/" + std::string(kAddress) + "/8080; printf %s \"$REQUEST\" >&3; cat <&3",
                   {{"REQUEST", request}})
            .output;
    }
    std::string Get(const std::string& path, const std::string& token = {}) const {
        return AskTls(Ask("GET", path, std::string(kAddress) + ":8443",
                          token.empty() ? "" : "Authorization: Bearer " + token + "\r\n"));
    }

    std::string Lan(const std::string& name) const { return folder_ / ("run-state/lan/" + name); }
    std::string Tokens() const { return ReadFile(Lan("tokens")); }
    /// The token of a line that begins so.
    std::string TokenOf(const std::string& role) const {
        std::smatch found;
        const std::string tokens = Tokens();
        return std::regex_search(tokens, found, std::regex("\n" + role + " ([a-z2-9]{20})\n")) ? found.str(1)
                                                                                               : "";
    }
    mode_t ModeOf(const std::string& name) const {
        struct stat status {};
        EXPECT_EQ(0, stat(Lan(name).c_str(), &status)) << name;
        return status.st_mode & 07777;
    }
    ProgramResult Show(const std::map<std::string, std::string>& environment = {}) const {
        return RunProgram({SCRIPTS "/supervise", BIN_FOLDER, folder_ / "run-state", "--show"}, environment);
    }

    /// A folder with links to the machine's programs but this one.
    std::string PathWithout(const std::string& program) const {
        const std::string place = folder_ / ("without-" + program);
        Shell("mkdir " + place + " && ln -s /usr/bin/* /usr/sbin/* " + place + " 2>/dev/null; rm " + place +
              "/" + program);
        return place;
    }
};

TEST_F(LanTest, ATabletsPageComesFromAHostThatTheHomesAuthorityVouchesFor) {
    StartHost();
    EXPECT_THAT(Get("/tablet/tablet-kitchen"), HasSubstr("<html"));
    EXPECT_EQ("",
              AskTls(Ask("GET", "/tablet/tablet-kitchen", kAddress), "127.0.0.1"));  // in the network alone
    EXPECT_THAT(AskPlain(Ask("GET", "/ca.pem", std::string(kAddress) + ":8080")),
                HasSubstr(ReadFile(Lan("authority.pem"))));
}

TEST_F(LanTest, WhoHasNoTokenIsRefusedAndEachTokenGivesItsRole) {
    StartHost();
    for (const std::string& token : {std::string(), std::string("guessed"), TokenOf("admin").substr(1)})
        EXPECT_THAT(Get("/drivers", token), StartsWith("HTTP/1.1 401 "));
    EXPECT_THAT(Get("/drivers", TokenOf("admin")), HasSubstr("<name>tablet-kitchen</name>"));
    EXPECT_THAT(Get("/session", TokenOf("household")), HasSubstr("<session role=\"household\"/>"));
    EXPECT_THAT(Get("/drivers", TokenOf("tablet tablet-kitchen")), StartsWith("HTTP/1.1 403 "));
}

TEST_F(LanTest, ATabletSignsInWithTheTokenOfItsAddress) {
    StartHost();
    const std::string signIn = ReadFile(Lan("sign-in"));
    std::smatch address;
    ASSERT_TRUE(std::regex_search(
        signIn, address, std::regex("Kitchen tablet\thttps://(.*)/tablet/tablet-kitchen#(token=.*)\n")));
    const std::string form = address.str(2);
    const std::string answer =
        AskTls(Ask("POST", "/session", address.str(1),
                   "Origin: https://" + address.str(1) +
                       "\r\nContent-Type: application/x-www-form-urlencoded\r\nContent-Length: " +
                       std::to_string(form.size()) + "\r\n") +
               form);
    EXPECT_THAT(answer, HasSubstr("<session role=\"tablet\"><tablet name=\"tablet-kitchen\"/></session>"));
    EXPECT_THAT(answer, HasSubstr("Set-Cookie: __Host-intercom="));
}

TEST_F(LanTest, AuthorityAndTokensAreMadeOnceForTheirOwnerAlone) {
    StartHost();
    const std::string tokens = Tokens();
    EXPECT_TRUE(std::regex_match(tokens, std::regex("# .*\nadmin [a-z2-9]{20}\nhousehold [a-z2-9]{20}\n"
                                                    "tablet tablet-kitchen [a-z2-9]{20}\n"
                                                    "tablet tablet-hall [a-z2-9]{20}\n")))
        << tokens;
    EXPECT_EQ(0700U, ModeOf("."));
    for (const char* const secret : {"tokens", "sign-in", "authority.key", "host.key"})
        EXPECT_EQ(0600U, ModeOf(secret)) << secret;
    const std::string authority = ReadFile(Lan("authority.pem"));
    const std::string certificate = ReadFile(Lan("host.pem"));
    EXPECT_EQ(1U, Count("run: a certificate was made, since there was no authority; it is for "));
    EXPECT_EQ(1U, Count("run: a token was made for: Kitchen tablet, Hall tablet\n"));
    EXPECT_EQ(0, End());
    std::filesystem::remove(LogFile());
    StartHost();
    EXPECT_EQ(tokens, Tokens());
    EXPECT_EQ(authority, ReadFile(Lan("authority.pem")));
    EXPECT_EQ(certificate, ReadFile(Lan("host.pem")));
    EXPECT_EQ(0U, Count("was made"));
}

TEST_F(LanTest, NoTokenIsInALogOrAnotherFileOrACommandLine) {
    StartWhole({"--listen-lan"});
    EXPECT_TRUE(Comes("sipproxy --status"));
    EXPECT_THAT(Log(), HasSubstr("./run --listen-lan --show"));
    std::string tellable = Log();
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.Path()))
        if (entry.is_regular_file() && entry.path() != Lan("tokens") && entry.path() != Lan("sign-in"))
            tellable += ReadFile(entry.path());
    for (const pid_t id : Left())
        tellable += ReadFile("/proc/" + std::to_string(id) + "/cmdline") +
                    ReadFile("/proc/" + std::to_string(id) + "/environ");
    for (const char* const role : {"admin", "household", "tablet tablet-kitchen", "tablet tablet-hall"}) {
        ASSERT_NE("", TokenOf(role)) << role;
        EXPECT_THAT(tellable, Not(HasSubstr(TokenOf(role)))) << role;
    }
    EXPECT_EQ(0, End());
}

TEST_F(LanTest, TheAddressesAreShownWithCodesWhenAskedFor) {
    EXPECT_THAT(Show().errors, HasSubstr("no tablet has an address yet; ./run --listen-lan makes them"));
    StartHost();
    const ProgramResult shown = Show();
    EXPECT_EQ(0, shown.status) << shown.errors;
    const std::string address =
        "https://192.168.77.10:8443/tablet/tablet-kitchen#token=" + TokenOf("tablet tablet-kitchen");
    const std::string code = Shell("printf %s '" + address + "' | qrencode -t ANSIUTF8 -m 2").output;
    EXPECT_THAT(shown.output, HasSubstr("Kitchen tablet:\n\n    " + address + "\n\n" + code));
    EXPECT_THAT(shown.output, HasSubstr("/tablet/tablet-hall#token=" + TokenOf("tablet tablet-hall")));
    EXPECT_THAT(shown.output, Not(HasSubstr(TokenOf("admin"))));
    EXPECT_THAT(shown.output, HasSubstr("open http://192.168.77.10:8080/ on it"));
    const std::string fingerprint =
        RunProgram({"openssl", "x509", "-in", Lan("authority.pem"), "-noout", "-fingerprint", "-sha256"})
            .output;
    EXPECT_THAT(shown.output, HasSubstr(fingerprint.substr(fingerprint.find('=') + 1)));
}

TEST_F(LanTest, ATerminalIsShownThemAtTheStart) {
    environment_["TERM"] = "dumb";
    run_ = std::make_unique<Process>(
        Process::Command{{"/usr/bin/script", "-qefc",
                          "exec " SCRIPTS "/supervise " BIN_FOLDER " " + (folder_ / "run-state").string() +
                              " --home " + HomeFile().string() + " --simulated --listen-lan",
                          "/dev/null"},
                         environment_,
                         LogFile()});
    EXPECT_TRUE(Comes("Hall tablet:\r\n")) << Log();
    EXPECT_TRUE(
        Comes("/tablet/tablet-hall#token=" + TokenOf("tablet tablet-hall") + "\r\n\r\n\x1b[40;37;1m"));
    EXPECT_THAT(Log(), Not(HasSubstr("--show")));
}

TEST_F(LanTest, WithoutQrencodeALineSaysSoAndTheAddressesAreShown) {
    environment_["PATH"] = PathWithout("qrencode");
    StartHost();
    EXPECT_EQ(1U, Count("qrencode is missing (package qrencode)\n"));
    const ProgramResult shown = Show({{"PATH", environment_["PATH"]}});
    EXPECT_EQ(0, shown.status) << shown.errors;
    EXPECT_THAT(shown.output, HasSubstr("#token=" + TokenOf("tablet tablet-hall") + "\n"));
}

TEST_F(LanTest, WithoutOpensslOneLineSaysSoAndNothingIsStarted) {
    environment_["PATH"] = PathWithout("openssl");
    Start({"--simulated", "--listen-lan"});
    EXPECT_EQ(1, run_->Wait(kPatience));
    EXPECT_EQ(
        "run: --listen-lan makes certificates with openssl, which is missing; install the package openssl\n",
        Log());
}

TEST_F(LanTest, ANewTabletGetsATokenAndTheOthersKeepTheirs) {
    StartHost();
    const std::string before = Tokens();
    const std::string home = ReadFile(HomeFile());
    WriteFile(HomeFile(), home.substr(0, home.rfind("</home>")) +
                              "<driver><id>303</id><name>Front &amp; back</name><library>tablet</library>"
                              "<config><key>both</key><name>Both doors</name></config></driver></home>");
    run_->Signal(SIGHUP);
    EXPECT_TRUE(Comes("run: a token was made for: Both doors\n"));
    EXPECT_TRUE(Comes("the home file was read again: driver Front & back is new"));
    EXPECT_THAT(Tokens(), StartsWith(before));
    EXPECT_THAT(Tokens().substr(before.size()), ContainsRegex("^tablet Front%20%26%20back [a-z2-9]{20}\n$"));
    EXPECT_THAT(ReadFile(Lan("sign-in")),
                HasSubstr("Both doors\thttps://192.168.77.10:8443/tablet/Front%20%26%20back#token=" +
                          TokenOf("tablet Front%20%26%20back") + "\n"));
}

TEST_F(LanTest, ATokenWhoseLineIsDeletedIsMadeAnew) {
    StartHost();
    const std::string former = TokenOf("tablet tablet-kitchen");
    const std::string hall = TokenOf("tablet tablet-hall");
    WriteFile(Lan("tokens"), std::regex_replace(Tokens(), std::regex("tablet tablet-kitchen .*\n"), ""));
    run_->Signal(SIGHUP);
    EXPECT_TRUE(Comes("run: a token was made for: Kitchen tablet\n"));
    EXPECT_NE(former, TokenOf("tablet tablet-kitchen"));
    EXPECT_TRUE(WaitUntil([&] { return Get("/session", former).starts_with("HTTP/1.1 401 "); }));
    EXPECT_THAT(Get("/session", TokenOf("tablet tablet-kitchen")), HasSubstr("tablet-kitchen"));
    EXPECT_EQ(hall, TokenOf("tablet tablet-hall"));
    EXPECT_TRUE(WaitUntil([&] { return ReadFile(Lan("sign-in")).find(former) == std::string::npos; }));
}

TEST_F(LanTest, AnotherAddressGetsACertificateAndTheTabletsOtherAddresses) {
    StartHost();
    const std::string authority = ReadFile(Lan("authority.pem"));
    Shell("ip address del " + std::string(kAddress) + "/24 dev lan0; ip address add " + std::string(kOther) +
          "/24 dev lan0");
    EXPECT_TRUE(Comes("run: a certificate was made, since the former one was not for 192.168.78.20"));
    EXPECT_TRUE(Comes("listening on https://192.168.78.20:8443"));
    EXPECT_THAT(ReadFile(Lan("sign-in")),
                HasSubstr("https://192.168.78.20:8443/tablet/tablet-kitchen#token="));
    EXPECT_EQ(authority, ReadFile(Lan("authority.pem")));
    const std::string request = Ask("GET", "/drivers", std::string(kOther) + ":8443",
                                    "Authorization: Bearer " + TokenOf("admin") + "\r\n");
    EXPECT_TRUE(WaitUntil([&] { return AskTls(request, kOther).starts_with("HTTP/1.1 200 "); }));
}

TEST_F(LanTest, ACertificateThatEndsSoonIsMadeAnewWhileTheHostRuns) {
    environment_["SUPERVISE_CERTIFICATE_SECONDS"] = "0";
    StartHost();
    const auto remake =
        "cd " + Lan("") +
        " && openssl req -new -key host.key -subj /CN=x | openssl x509 -req -CA authority.pem "
        "-CAkey authority.key -days 29 -out soon.pem -extfile <(openssl x509 -in host.pem -noout "
        "-ext subjectAltName | sed -n 's/IP Address/IP/g; 2s/^ */subjectAltName=/p') && mv soon.pem "
        "host.pem";
    ASSERT_EQ(0, Shell(remake).status);
    EXPECT_TRUE(Comes("run: a certificate was made, since the former one ends within 30 days"));
    EXPECT_TRUE(Comes("the certificate was read again; it ends on "));
}

TEST_F(LanTest, CertificateAndTokensOfOnesOwnAreLeftAsTheyAre) {
    ASSERT_EQ(0, RunProgram({SCRIPTS "/certificate", folder_ / "own", kAddress}).status);
    WriteFile(folder_ / "token", "0wn\n");
    std::filesystem::permissions(folder_ / "token", std::filesystem::perms(0600));
    StartHost({"--tls-certificate", folder_ / "own/host.pem", "--tls-key", folder_ / "own/host.key",
               "--tls-authority", folder_ / "own/authority.pem", "--token-file", folder_ / "token"});
    EXPECT_EQ("0wn\n", ReadFile(folder_ / "token"));
    EXPECT_FALSE(std::filesystem::exists(Lan("authority.pem")));
    EXPECT_FALSE(std::filesystem::exists(Lan("tokens")));
    EXPECT_TRUE(Comes("Kitchen tablet has no token: " + (folder_ / "token").string()));
}

}  // namespace
}  // namespace test
