#include "driverhost/settings/TokenFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "driverhost/runtime/Digest.h"
#include "driverhost/settings/Options.h"
#include "tests/driverhost/support/TemporaryFolder.h"

namespace driverhost {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class TokenFileTest : public testing::Test {
protected:
    std::vector<Token> Read(const std::string& text) const {
        const std::string path = folder_.Write("token", text);
        chmod(path.c_str(), 0600);
        return ReadTokenFile(path);
    }

    std::string FaultOf(const std::string& text) const {
        try {
            Read(text);
        } catch (const OptionError& error) {
            return error.what();
        }
        return "none";
    }

    /// "role name" of each token.
    std::vector<std::string> Given(const std::string& text) const {
        std::vector<std::string> given;
        for (const Token& token : Read(text))
            given.push_back(std::to_string(token.role) + " " + token.tablet);
        return given;
    }

    TemporaryFolder folder_;
};

TEST_F(TokenFileTest, ATokenAloneIsTheAdmins) {
    const auto tokens = Read("secret\n");
    ASSERT_EQ(tokens.size(), 1U);
    EXPECT_EQ(tokens[0].role, ROLE_ADMIN);
    EXPECT_EQ(tokens[0].hash, Sha256("secret"));
    EXPECT_EQ(Read("secret").size(), 1U) << "the last line needs no end";
}

TEST_F(TokenFileTest, EachLineGivesItsRole) {
    EXPECT_THAT(
        Given(
            "# the home\n\nadmin one\n  household\ttwo  \ntablet kitchen three\ntablet Front%20hall four\n"),
        testing::ElementsAre("1 ", "2 ", "4 kitchen", "4 Front hall"));
}

TEST_F(TokenFileTest, AFaultNamesTheLineAndNeverTheToken) {
    for (const char* line :
         {"secret word", "admin secret more", "household", "tablet secret", "tablet a b secret",
          "tablet %GG secret", "tablet %00 secret", "admin secr\xC3\xA9t", "secret\r"}) {
        const std::string fault = FaultOf("admin first\n# a comment\n" + std::string(line) + "\n");
        EXPECT_THAT(fault, HasSubstr("/token: line 3: expected ")) << line;
        EXPECT_THAT(fault, Not(HasSubstr("secr"))) << line;
    }
}

TEST_F(TokenFileTest, ATokenStandsInOneLineOnly) {
    const std::string fault = FaultOf("admin secret\nhousehold other\ntablet kitchen secret\n");
    EXPECT_THAT(fault, EndsWith("/token: line 3: has the token of line 1; each needs its own"));
}

TEST_F(TokenFileTest, AFileWithoutTokensIsRefused) {
    for (const char* text : {"", "\n", "# nothing yet\n"})
        EXPECT_THAT(FaultOf(text), EndsWith("holds no token; expected one in a line of its own"));
}

TEST_F(TokenFileTest, ATokenFitsIntoAHeaderLine) {
    EXPECT_EQ(FaultOf(std::string(1023, 'x')), "none");
    EXPECT_THAT(FaultOf(std::string(1024, 'x')), HasSubstr("fewer than 1024"));
    EXPECT_THAT(FaultOf(std::string(300'000, 'x')), HasSubstr("has more than 262144 bytes"));
}

}  // namespace
}  // namespace driverhost
