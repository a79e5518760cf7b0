// What of a folder becomes pages, and what is left out.
#include "driverhost/http/web/WebFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "driverhost/state/FileSystem.h"
#include "tests/support/process/RunProgram.h"
#include "tests/support/process/TempFolder.h"

namespace driverhost {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class WebFolderTest : public testing::Test {
protected:
    void Put(const std::string& path, const std::string& text) const {
        fs::create_directories((folder_ / path).parent_path());
        test::WriteFile(folder_ / path, text);
    }

    WebFolder Read() const { return ReadWebFolder(folder_ / "web"); }

    /// The paths of the pages, in order.
    std::string Paths() const {
        std::string all;
        for (const auto& [path, file] : Read().files)
            all += path + " ";
        return all;
    }

    void Pack() const {
        const auto packed = test::RunProgram(
            {CMAKE_PROGRAM, "-DFROM=" + (folder_ / "source").string(), "-DTO=" + (folder_ / "web").string(),
             "-DGZIP=gzip", "-DFILES=index.html;tablet/tablet.js;tablet/bell.png", "-P", PACK_SCRIPT});
        ASSERT_EQ(packed.status, 0) << packed.errors;
    }

    test::TempFolder folder_;
};

TEST_F(WebFolderTest, FilesOfKnownTypesArePagesUnderTheirPaths) {
    for (const char* name : {"index.html", "tablet/index.html", "vendor/lit/lit.js"})
        Put(std::string("web/") + name, name);
    const WebFolder read = Read();
    EXPECT_EQ(Paths(), "index.html tablet/index.html vendor/lit/lit.js ");
    EXPECT_EQ(*read.files.at("vendor/lit/lit.js").content, "vendor/lit/lit.js");
    EXPECT_EQ(read.files.at("vendor/lit/lit.js").type, "text/javascript; charset=utf-8");
    EXPECT_THAT(read.faults, IsEmpty());
}

TEST_F(WebFolderTest, OtherFilesAndHiddenOnesAreNone) {
    for (const char* name :
         {"a.html", "LICENSE", "lit.d.ts", "page.html~", "run.sh", ".env.json", ".git/config.json"})
        Put(std::string("web/") + name, "x");
    EXPECT_EQ(Paths(), "a.html ");
}

TEST_F(WebFolderTest, ATypeFollowsFromTheName) {
    EXPECT_EQ(WebTypeOf("a.html"), "text/html; charset=utf-8");
    EXPECT_EQ(WebTypeOf("a.css"), "text/css; charset=utf-8");
    EXPECT_EQ(WebTypeOf("tablet.webmanifest"), "application/manifest+json");
    EXPECT_EQ(WebTypeOf("a.svg"), "image/svg+xml");
    EXPECT_EQ(WebTypeOf("ring.wav"), "audio/wav");
    EXPECT_EQ(WebTypeOf("a.HTML"), "");
    EXPECT_EQ(WebTypeOf("html"), "");
    EXPECT_EQ(WebTypeOf(""), "");
}

TEST_F(WebFolderTest, LinksAreLeftOutWhereverTheyLead) {
    Put("web/a.html", "a");
    Put("outside/secret.html", "secret");
    fs::create_symlink(folder_ / "outside/secret.html", folder_ / "web/file.html");
    fs::create_directory_symlink(folder_ / "outside", folder_ / "web/folder");
    fs::create_symlink("a.html", folder_ / "web/inside.html");
    EXPECT_EQ(Paths(), "a.html ");
    EXPECT_EQ(Read().faults.size(), 3U);
    EXPECT_THAT(Read().faults, testing::Each(HasSubstr("is a link")));
}

TEST_F(WebFolderTest, WhatIsNoFileIsLeftOutAndHoldsNothingUp) {
    Put("web/a.html", "a");
    ASSERT_EQ(mkfifo((folder_ / "web/pipe.html").c_str(), 0600), 0);
    EXPECT_EQ(Paths(), "a.html ");
    EXPECT_THAT(Read().faults, ElementsAre((folder_ / "web/pipe.html").string() + ": is not a file"));
}

TEST_F(WebFolderTest, TheHashFollowsTheContent) {
    Put("web/a.html", "one");
    const std::string one = Read().files.at("a.html").hash;
    Put("web/a.html", "onf");
    EXPECT_NE(Read().files.at("a.html").hash, one);
    Put("web/a.html", "one");
    EXPECT_EQ(Read().files.at("a.html").hash, one);
    EXPECT_EQ(one.size(), 32U);
}

TEST_F(WebFolderTest, TheBuildPacksTextsBesideTheirPages) {
    Put("source/index.html", std::string(5000, 'i'));
    Put("source/tablet/tablet.js", "let a;");
    Put("source/tablet/bell.png", "png");
    Put("web/left.html", "from an earlier build");
    Pack();
    const WebFolder read = Read();
    EXPECT_EQ(Paths(), "index.html tablet/bell.png tablet/tablet.js ");
    EXPECT_LT(read.files.at("index.html").packed->size(), 100U);
    EXPECT_TRUE(read.files.at("tablet/tablet.js").packed);
    EXPECT_FALSE(read.files.at("tablet/bell.png").packed);
    EXPECT_THAT(read.faults, IsEmpty());
}

TEST_F(WebFolderTest, APackedFileThatIsNotItsPageIsLeftOut) {
    Put("source/index.html", "old");
    Put("source/tablet/tablet.js", "old");
    Put("source/tablet/bell.png", "png");
    Pack();
    Put("web/index.html", "new and longer");
    Put("web/tablet/tablet.js.gz", "no gzip at all");
    Put("web/alone.js.gz", "x");
    const WebFolder read = Read();
    EXPECT_FALSE(read.files.at("index.html").packed);
    EXPECT_FALSE(read.files.at("tablet/tablet.js").packed);
    EXPECT_THAT(read.faults,
                ElementsAre("alone.js.gz: packs a file that is not there",
                            "index.html.gz: is not what its name says, packed; pack it anew",
                            "tablet/tablet.js.gz: is not what its name says, packed; pack it anew"));
}

TEST_F(WebFolderTest, AFolderThatIsNotThereOrFarTooLargeIsRefused) {
    EXPECT_THROW(Read(), FileError);
    Put("web/a.wav", "x");
    fs::resize_file(folder_ / "web/a.wav", kMostWebBytes);
    EXPECT_EQ(Paths(), "a.wav ");
    Put("web/b.html", "x");
    EXPECT_THROW(Read(), FileError);
}

}  // namespace
}  // namespace driverhost
