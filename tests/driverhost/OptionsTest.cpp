#include "driverhost/settings/Options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

#include "tests/driverhost/support/TemporaryFolder.h"

namespace driverhost {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class OptionsTest : public testing::Test {
protected:
    Options Parse(std::vector<std::string> arguments) const {
        std::vector<const char*> argv = {"driverhost"};
        for (const std::string& argument : arguments)
            argv.push_back(argument.c_str());
        return ParseOptions(static_cast<int>(argv.size()), argv.data());
    }

    std::string FaultOf(const std::vector<std::string>& arguments) const {
        try {
            Parse(arguments);
        } catch (const OptionError& error) {
            EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
            return error.what();
        }
        return "none";
    }

    std::string TokenFile(const std::string& text, mode_t mode = 0600) const {
        const std::string path = folder_.Write("token", text);
        chmod(path.c_str(), mode);
        return path;
    }

    TemporaryFolder folder_;
};

TEST_F(OptionsTest, TheHomeFileIsEnough) {
    const Options options = Parse({"--home", "home.xml"});
    EXPECT_EQ(options.home, "home.xml");
    EXPECT_EQ(options.listen.ToText(), "127.0.0.1:8350");
    EXPECT_EQ(options.logLevel, 6U);
    EXPECT_TRUE(options.tokens.empty());
    EXPECT_THAT(options.pluginFolder, testing::EndsWith("/plugins"));
}

TEST_F(OptionsTest, TheStateFolderFollowsTheEnvironment) {
    setenv("STATE_DIRECTORY", "/var/lib/x", 1);
    EXPECT_EQ(Parse({"--home", "h"}).stateFolder, "/var/lib/x");
    unsetenv("STATE_DIRECTORY");
    setenv("XDG_STATE_HOME", "/states", 1);
    EXPECT_EQ(Parse({"--home", "h"}).stateFolder, "/states/driverhost");
    unsetenv("XDG_STATE_HOME");
    EXPECT_EQ(Parse({"--home", "h", "--state-dir", "mine"}).stateFolder, "mine");
}

TEST_F(OptionsTest, ReportsComeFromTheFolderThatIsGivenElseFromTheEnvironmentsElseFromNone) {
    unsetenv("INTERCOM_REPORTS_DIR");
    EXPECT_EQ(Parse({"--home", "h"}).reportsFolder, "");
    setenv("INTERCOM_REPORTS_DIR", "/run/reports", 1);
    EXPECT_EQ(Parse({"--home", "h"}).reportsFolder, "/run/reports");
    const std::string given = Parse({"--home", "h", "--reports-dir", "mine"}).reportsFolder;
    EXPECT_EQ(given, std::filesystem::current_path() / "mine") << "others run in other folders";
    unsetenv("INTERCOM_REPORTS_DIR");
}

TEST_F(OptionsTest, AFolderOfPagesMustBeThereWhenItIsGiven) {
    EXPECT_EQ(Parse({"--home", "h", "--web-dir", folder_.Path().c_str()}).webFolder, folder_.Path());
    EXPECT_EQ(FaultOf({"--home", "h", "--web-dir", "/nowhere/web"}),
              "--web-dir /nowhere/web: there is no such folder");
}

TEST_F(OptionsTest, WhatTlsNeedsComesTogether) {
    const Options options = Parse({"--home", "h", "--tls-certificate", "c", "--tls-key", "k",
                                   "--tls-authority", "a", "--plain-listen", "127.0.0.1:80"});
    EXPECT_EQ(options.tls.certificate + options.tls.key + options.tls.authority, "cka");
    EXPECT_EQ(options.plainListen->ToText(), "127.0.0.1:80");
    EXPECT_THAT(FaultOf({"--home", "h", "--tls-certificate", "c"}), HasSubstr("only together"));
    EXPECT_THAT(FaultOf({"--home", "h", "--tls-key", "k"}), HasSubstr("only together"));
    EXPECT_THAT(FaultOf({"--home", "h", "--tls-authority", "a"}), HasSubstr("needs --tls-certificate"));
    EXPECT_THAT(
        FaultOf({"--home", "h", "--tls-certificate", "c", "--tls-key", "k", "--plain-listen", "1:80"}),
        HasSubstr("without --tls-authority"));
    EXPECT_THAT(FaultOf({"--home", "h", "--tls-certificate", "c", "--tls-key", "k", "--tls-authority", "a",
                         "--plain-listen", "80"}),
                HasSubstr("--plain-listen 80: expected ADDRESS:PORT"));
}

TEST_F(OptionsTest, WithoutHomeItIsMissing) {
    EXPECT_EQ(FaultOf({}), "--home FILE is missing; driverhost --help lists the options");
}

TEST_F(OptionsTest, UnknownAndAbbreviatedOptionsAreRefused) {
    EXPECT_THAT(FaultOf({"--home", "h", "--colour"}), HasSubstr("--colour"));
    EXPECT_THAT(FaultOf({"--home", "h", "--state", "d"}), HasSubstr("--state"));
    EXPECT_NE(FaultOf({"--home", "h", "stray"}), "none");
    EXPECT_NE(FaultOf({"--home"}), "none");
}

TEST_F(OptionsTest, ListenTakesAnAddressAndAPort) {
    EXPECT_EQ(Parse({"--home", "h", "--listen", "localhost:0"}).listen.ToText(), "127.0.0.1:0");
    EXPECT_EQ(Parse({"--home", "h", "--listen", "[::1]:80"}).listen.ToText(), "[::1]:80");
    for (const char* address : {"8350", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536", "::1:80", "box:80",
                                "[127.0.0.1]:80", "127.0.0.1:-1", ":80"})
        EXPECT_THAT(FaultOf({"--home", "h", "--listen", address}), HasSubstr("expected ADDRESS:PORT"))
            << address;
}

TEST_F(OptionsTest, AnAddressThatOthersReachNeedsAToken) {
    for (const char* address : {"0.0.0.0:80", "192.168.1.10:80", "[::]:80", "[fe80::1]:80"})
        EXPECT_THAT(FaultOf({"--home", "h", "--listen", address}), HasSubstr("--token-file is needed"));
    const std::string file = TokenFile("secret\n");
    const Options options = Parse({"--home", "h", "--listen", "0.0.0.0:80", "--token-file", file});
    EXPECT_EQ(options.tokens.size(), 1U);
    EXPECT_EQ(options.tokenFile, file) << "it is read again";
}

TEST_F(OptionsTest, ATokenFileThatOthersMayReadIsRefused) {
    for (const mode_t mode : {0640U, 0604U, 0620U, 0666U})
        EXPECT_THAT(FaultOf({"--home", "h", "--token-file", TokenFile("secret", mode)}),
                    HasSubstr("chmod 600"));
    EXPECT_EQ(FaultOf({"--home", "h", "--token-file", TokenFile("secret", 0400)}), "none");
}

TEST_F(OptionsTest, ATokenFileMustBeThere) {
    EXPECT_EQ(FaultOf({"--home", "h", "--token-file", "/nowhere/token"}),
              "--token-file /nowhere/token: cannot be read: No such file or directory");
    EXPECT_THAT(FaultOf({"--home", "h", "--token-file", folder_.Path()}), HasSubstr("is not a file"));
}

TEST_F(OptionsTest, TheLogLevelIsADigitUpToSeven) {
    EXPECT_EQ(Parse({"--home", "h", "--log-level", "3"}).logLevel, 3U);
    for (const char* level : {"8", "-1", "error", "", "33"})
        EXPECT_NE(FaultOf({"--home", "h", "--log-level", level}), "none") << level;
}

TEST_F(OptionsTest, HelpAndVersionArePrintedWithoutAHome) {
    const std::string help = Parse({"--help"}).printOnly;
    for (const char* option : {"--home", "--state-dir", "--listen", "--token-file", "--plugin-dir",
                               "--web-dir", "--log-level", "Exit status:"})
        EXPECT_THAT(help, HasSubstr(option));
    EXPECT_THAT(Parse({"--rights"}).printOnly, StartsWith("| Request | Driver | Command |"));
    EXPECT_EQ(Parse({"--version"}).printOnly, "driverhost 1.0.0 (driver ABI 3)\n");
}

}  // namespace
}  // namespace driverhost
