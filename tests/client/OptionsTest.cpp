#include "client/Options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "client/Failure.h"
#include "tests/support/process/TempFolder.h"

using testing::ElementsAre;
using testing::Pair;

namespace {

class CommandLine : public testing::Test {
protected:
    void SetUp() override {
        for (const char* const variable :
             {"INTERCOMCTL_URL", "INTERCOMCTL_TOKEN_FILE", "INTERCOMCTL_AUTHORITY"})
            ::unsetenv(variable);
    }

    static Options Read(std::vector<const char*> words) {
        words.insert(words.begin(), "intercomctl");
        return Options::Read(static_cast<int>(words.size()), words.data());
    }

    test::TempFolder folder;
};

}  // namespace

TEST_F(CommandLine, HasDefaults) {
    const Options options = Read({"getDeviceList"});
    EXPECT_EQ("http://127.0.0.1:8350", options.url.text);
    EXPECT_EQ("agent", options.driver);
    EXPECT_EQ("", options.token);
    EXPECT_FALSE(options.raw);
    EXPECT_EQ("getDeviceList", options.command);
    EXPECT_THAT(options.arguments, ElementsAre());
}

TEST_F(CommandLine, OptionsMayStandBehindTheCommandToo) {
    const Options options = Read({"--driver", "kitchen", "openSession", "remote=a", "--raw", "session=-1"});
    EXPECT_EQ("kitchen", options.driver);
    EXPECT_TRUE(options.raw);
    EXPECT_EQ("openSession", options.command);
    EXPECT_THAT(options.arguments, ElementsAre("remote=a", "session=-1"));
}

TEST_F(CommandLine, TheUrlIsTheOptionElseTheEnvironments) {
    ::setenv("INTERCOMCTL_URL", "http://hub:1", 1);
    EXPECT_EQ("http://hub:1", Read({"x"}).url.text);
    EXPECT_EQ("http://hub:2", Read({"--url=http://hub:2", "x"}).url.text);
    ::setenv("INTERCOMCTL_URL", "", 1);
    EXPECT_EQ("http://127.0.0.1:8350", Read({"x"}).url.text);
}

TEST_F(CommandLine, TheTokenIsTheWordInTheFile) {
    const std::string file = folder / "token";
    test::WriteFile(file, "s3cret\n");
    EXPECT_EQ("s3cret", Read({"--token-file", file.c_str(), "x"}).token);
}

TEST_F(CommandLine, OfAFileWithRolesTheTokenIsTheAdministrators) {
    const std::string file = folder / "tokens";
    for (const char* const content :
         {"# of this home\n\nhousehold h0use\ntablet Front%20door d00r\nadmin s3cret\nadmin other\n",
          "household h0use\n  s3cret  \n", "\tadmin\ts3cret"}) {
        test::WriteFile(file, content);
        EXPECT_EQ("s3cret", Read({"--token-file", file.c_str(), "x"}).token) << content;
    }
}

TEST_F(CommandLine, AFileThatHoldsNoAdministratorsTokenIsRefused) {
    const std::string file = folder / "token";
    for (const char* const content : {"", "\n", "# s3cret\n", "two words\n", "household h0use\n",
                                      "tablet hall d00r\n", "admin hall d00r\n", "caf\xC3\xA9"}) {
        test::WriteFile(file, content);
        EXPECT_THROW(Read({"--token-file", file.c_str(), "x"}), WrongUse) << content;
    }
    EXPECT_THROW(Read({"--token-file", (folder / "absent").c_str(), "x"}), WrongUse);
    EXPECT_THROW(Read({"--token-file", "", "x"}), WrongUse);
}

TEST_F(CommandLine, TokenFileAndAuthorityAreTheOptionsElseTheEnvironments) {
    test::WriteFile(folder / "one", "s3cret\n");
    test::WriteFile(folder / "other", "0ther\n");
    ::setenv("INTERCOMCTL_TOKEN_FILE", (folder / "one").c_str(), 1);
    ::setenv("INTERCOMCTL_AUTHORITY", "/a.pem", 1);
    EXPECT_EQ("s3cret", Read({"x"}).token);
    EXPECT_EQ("/a.pem", Read({"x"}).authority);
    EXPECT_EQ("0ther", Read({"--token-file", (folder / "other").c_str(), "x"}).token);
    EXPECT_EQ("/b.pem", Read({"--authority", "/b.pem", "x"}).authority);
}

TEST_F(CommandLine, AnAuthorityBesideTheTokenFileIsTheDefault) {
    const std::string file = folder / "tokens";
    test::WriteFile(file, "admin s3cret\n");
    EXPECT_EQ("", Read({"--token-file", file.c_str(), "x"}).authority);
    test::WriteFile(folder / "authority.pem", "");
    EXPECT_EQ((folder / "authority.pem").string(), Read({"--token-file", file.c_str(), "x"}).authority);
    EXPECT_EQ("", Read({"x"}).authority);
}

TEST_F(CommandLine, UnknownAndAbbreviatedOptionsAreRefused) {
    EXPECT_THROW(Read({"--bogus", "x"}), WrongUse);
    EXPECT_THROW(Read({"--dri", "kitchen", "x"}), WrongUse);
    EXPECT_THROW(Read({"x", "--url"}), WrongUse);
}

TEST_F(CommandLine, ParametersAreNamesAndValues) {
    EXPECT_THAT(ReadParameters({"a=1", "b=", "a=x=y", "c d=e f"}),
                ElementsAre(Pair("a", "1"), Pair("b", ""), Pair("a", "x=y"), Pair("c d", "e f")));
}

TEST_F(CommandLine, AWordWithoutNameOrValueIsRefused) {
    EXPECT_THROW(ReadParameters({"Kitchen"}), WrongUse);
    EXPECT_THROW(ReadParameters({"=Kitchen"}), WrongUse);
    EXPECT_THROW(ReadParameters({""}), WrongUse);
}

TEST_F(CommandLine, AValueCanBeAWholeFile) {
    const std::string file = folder / "ids.xml";
    test::WriteFile(file, "<ids>\n<id>1</id>\n</ids>\n");
    EXPECT_THAT(ReadParameters({"xml=@" + file}), ElementsAre(Pair("xml", "<ids>\n<id>1</id>\n</ids>\n")));
    test::WriteFile(file, "");
    EXPECT_THAT(ReadParameters({"xml=@" + file}), ElementsAre(Pair("xml", "")));
}

TEST_F(CommandLine, AFileThatCannotBeReadIsRefused) {
    EXPECT_THROW(ReadParameters({"xml=@" + (folder / "absent").string()}), WrongUse);
    EXPECT_THROW(ReadParameters({"xml=@" + folder.Path().string()}), WrongUse);
}

TEST_F(CommandLine, TwoAtSignsStandForOne) {
    EXPECT_THAT(ReadParameters({"address=@@home", "b=x@y"}),
                ElementsAre(Pair("address", "@home"), Pair("b", "x@y")));
}
