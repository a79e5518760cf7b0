// Pages as a browser gets them, and paths by which somebody might try to get more.
#include "driverhost/http/web/WebPages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libdeflate.h>

#include "tests/driverhost/support/ServerFixture.h"
#include "tests/support/process/RunProgram.h"
#include "tests/support/process/TempFolder.h"

namespace driverhost {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class WebPagesTest : public ServerFixture {
protected:
    WebPagesTest() {
        Put("web/index.html", "the start");
        Put("web/tablet/index.html", "the tablet");
        Put("web/tablet/tablet.js", kScript);
        Put("web/shared/xml.js", "the reader");
        Put("secret.html", "secret");
        test::RunProgram({"gzip", "--keep", folder_ / "web/tablet/tablet.js"});
        webFolder_ = folder_ / "web";
        Add("lamp", "probe");
    }

    void Put(const std::string& path, const std::string& text) const {
        fs::create_directories((folder_ / path).parent_path());
        test::WriteFile(folder_ / path, text);
    }

    HttpAnswer Get(const std::string& path, const std::string& headers = "") {
        return With([&] { return AskOnce(port_, "GET", path, "", headers); });
    }

    static std::string Unpacked(const std::string& packed) {
        std::string text(10'000, '\0');
        std::size_t size = 0;
        libdeflate_decompressor* const unpacker = libdeflate_alloc_decompressor();
        const auto result = libdeflate_gzip_decompress(unpacker, packed.data(), packed.size(), text.data(),
                                                       text.size(), &size);
        libdeflate_free_decompressor(unpacker);
        text.resize(size);
        return result == LIBDEFLATE_SUCCESS ? text : "it cannot be unpacked";
    }

    const std::string kScript = "let tablet = '" + std::string(2000, 't') + "';";
    test::TempFolder folder_;
};

TEST_F(WebPagesTest, PagesLieUnderTheirPathsAndTheStartAtTheRoot) {
    Listen();
    EXPECT_EQ(Get("/").body, "the start");
    EXPECT_EQ(Get("/index.html").body, "the start");
    EXPECT_EQ(Get("/shared/xml.js").body, "the reader");
    EXPECT_EQ(Get("/shared/xml.js").headers.at("content-type"), "text/javascript; charset=utf-8");
}

TEST_F(WebPagesTest, EveryTabletHasThePageUnderItsName) {
    Listen();
    for (const char* name : {"kitchen", "Front%20door", "K%C3%BCche", "a%2Fb", "105", "room.2"})
        EXPECT_EQ(Get(std::string("/tablet/") + name).body, "the tablet") << name;
    EXPECT_EQ(Get("/tablet/").body, "the tablet");
    EXPECT_EQ(Get("/tablet/kitchen/more").status, 404);
    EXPECT_EQ(Get("/tablet/missing.js").status, 404) << "a script that is not there is no tablet";
}

TEST_F(WebPagesTest, ABrowserIsToldWhatAPageMustNotDo) {
    Listen();
    const auto headers = Get("/").headers;
    EXPECT_EQ(headers.at("content-security-policy"),
              "default-src 'self'; base-uri 'none'; object-src 'none'; form-action 'self'; "
              "frame-ancestors 'none'");
    EXPECT_EQ(headers.at("x-content-type-options"), "nosniff");
    EXPECT_EQ(headers.at("referrer-policy"), "same-origin");
    EXPECT_EQ(headers.at("cache-control"), "no-cache");
}

TEST_F(WebPagesTest, OnlyTabletsMayUseMicrophoneAndCamera) {
    Listen();
    const std::string allowed = "camera=(self), microphone=(self), geolocation=(), display-capture=()";
    const std::string refused = "camera=(), microphone=(), geolocation=(), display-capture=()";
    EXPECT_EQ(Get("/tablet/kitchen").headers.at("permissions-policy"), allowed);
    EXPECT_EQ(Get("/tablet/tablet.js").headers.at("permissions-policy"), allowed);
    EXPECT_EQ(Get("/").headers.at("permissions-policy"), refused);
    EXPECT_EQ(Get("/shared/xml.js").headers.at("permissions-policy"), refused);
}

TEST_F(WebPagesTest, APageThatHasNotChangedIsNotSentAgain) {
    Listen();
    const std::string tag = Get("/").headers.at("etag");
    EXPECT_THAT(tag, testing::MatchesRegex("\"[0-9a-f]+\""));
    for (const std::string& known : {tag, "W/" + tag, "\"other\", " + tag, std::string("*")})
        EXPECT_EQ(Get("/", "If-None-Match: " + known + "\r\n").status, 304) << known;
    EXPECT_EQ(Get("/", "If-None-Match: \"other\"\r\n").body, "the start");
    EXPECT_EQ(Get("/tablet/kitchen", "If-None-Match: " + tag + "\r\n").body, "the tablet");
}

TEST_F(WebPagesTest, AnAnswerWithoutChangeHasTheTagAndNoBody) {
    Listen();
    const std::string tag = Get("/").headers.at("etag");
    const std::string text = With([&] {
        HttpConnection connection(port_);
        connection.Send(RequestText("GET", "/", "", "If-None-Match: " + tag + "\r\n") +
                        RequestText("GET", "/health", "", "Connection: close\r\n"));
        return connection.ReadToEnd();
    });
    EXPECT_THAT(text, StartsWith("HTTP/1.1 304 Not Modified\r\n"));
    const std::string first = text.substr(0, text.find("HTTP/1.1 200"));
    EXPECT_THAT(first, HasSubstr("ETag: " + tag));
    EXPECT_THAT(first, Not(HasSubstr("Content-Length")));
    EXPECT_THAT(first, testing::EndsWith("\r\n\r\n"));
}

TEST_F(WebPagesTest, WhoUnderstandsPackedPagesGetsThem) {
    Listen();
    const HttpAnswer packed = Get("/tablet/tablet.js", "Accept-Encoding: br, gzip;q=0.5\r\n");
    const HttpAnswer plain = Get("/tablet/tablet.js");
    EXPECT_EQ(packed.headers.at("content-encoding"), "gzip");
    EXPECT_EQ(packed.headers.at("vary"), "Accept-Encoding");
    EXPECT_EQ(plain.headers.at("vary"), "Accept-Encoding");
    EXPECT_FALSE(plain.headers.contains("content-encoding"));
    EXPECT_LT(packed.body.size(), 200U);
    EXPECT_EQ(Unpacked(packed.body), kScript);
    EXPECT_EQ(plain.body, kScript);
    EXPECT_NE(packed.headers.at("etag"), plain.headers.at("etag"));
}

TEST_F(WebPagesTest, TheTagOfOneFormIsNotThatOfTheOther) {
    Listen();
    const std::string plain = "If-None-Match: " + Get("/tablet/tablet.js").headers.at("etag") + "\r\n";
    EXPECT_EQ(Get("/tablet/tablet.js", plain).status, 304);
    EXPECT_EQ(Get("/tablet/tablet.js", plain + "Accept-Encoding: gzip\r\n").status, 200);
}

TEST(AllowsGzip, GzipMustBeNamedAndNotRefused) {
    for (const char* line : {"gzip", "GZIP", "deflate, gzip", "gzip;q=1.0", " gzip ; q=0.001", "br,gzip"})
        EXPECT_TRUE(AllowsGzip(line)) << line;
    for (const char* line : {"", "identity", "gzip;q=0", "gzip; q=0.000", "gzip;Q=0.0", "notgzip", "gzipped",
                             "br;q=1, gzip;q=0", ",,;", "*"})
        EXPECT_FALSE(AllowsGzip(line)) << line;
}

TEST_F(WebPagesTest, WhoAsksForTheHeadGetsNoBodyAndMayGoOn) {
    Listen();
    const std::string text = With([this] {
        HttpConnection connection(port_);
        connection.Send(RequestText("HEAD", "/") + RequestText("HEAD", "/drivers") +
                        RequestText("GET", "/", "", "Connection: close\r\n"));
        return connection.ReadToEnd();
    });
    EXPECT_THAT(text, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(text, HasSubstr("Content-Length: 9\r\n"));
    EXPECT_THAT(text, HasSubstr("\r\n\r\nHTTP/1.1 405 Method Not Allowed\r\n"));
    EXPECT_THAT(text, HasSubstr("\r\n\r\nHTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(text, testing::EndsWith("\r\n\r\nthe start"));
}

TEST_F(WebPagesTest, OtherMethodsAreRefused) {
    Listen();
    for (const char* method : {"POST", "PUT", "DELETE"}) {
        const Response response = Ask(method, "/tablet/kitchen");
        EXPECT_EQ(response.status, 405U) << method;
        EXPECT_EQ(response.headers, "Allow: GET, HEAD\r\n") << method;
    }
}

TEST_F(WebPagesTest, NothingOutsideTheFolderCanBeReached) {
    fs::create_symlink(folder_ / "secret.html", folder_ / "web/link.html");
    fs::create_directory_symlink(folder_.Path(), folder_ / "web/up");
    Listen();
    const std::string absolute = (folder_ / "secret.html").string();
    for (const std::string& path : {std::string("/../secret.html"),
                                    std::string("/..%2fsecret.html"),
                                    std::string("/%2e%2e/secret.html"),
                                    std::string("/%2e%2e%2fsecret.html"),
                                    std::string("/tablet/../../secret.html"),
                                    std::string("/tablet/..%2f..%2fsecret.html"),
                                    std::string("/tablet/%2e%2e/%2e%2e/secret.html"),
                                    std::string("/..%5csecret.html"),
                                    std::string("/..\\secret.html"),
                                    std::string("/%252e%252e/secret.html"),
                                    std::string("/..%c0%afsecret.html"),
                                    std::string("/%c0%ae%c0%ae/secret.html"),
                                    std::string("/....//secret.html"),
                                    std::string("/./../secret.html"),
                                    std::string("//") + absolute,
                                    absolute,
                                    "/tablet/" + absolute,
                                    std::string("/%2f") + absolute.substr(1),
                                    std::string("/link.html"),
                                    std::string("/up/secret.html"),
                                    std::string("/index.html%00.js"),
                                    std::string("/../secret.html%00.html"),
                                    std::string("/..;/secret.html"),
                                    std::string("/tablet/..%2fsecret.html")}) {
        const HttpAnswer answer = Get(path);
        EXPECT_TRUE(answer.status == 404 || answer.status == 400) << path << " " << answer.status;
        EXPECT_THAT(answer.body, StartsWith("<error>")) << path;
    }
}

TEST_F(WebPagesTest, AnEncodedSlashIsNoPath) {
    Listen();
    EXPECT_EQ(Get("/shared%2Fxml.js").status, 404);
    EXPECT_EQ(Get("/tablet%2Fkitchen").status, 404);
}

TEST_F(WebPagesTest, FoldersAreNotListed) {
    Listen();
    for (const char* path : {"/shared", "/shared/", "/tablet", "/shared/xml.js.gz", "/shared//xml.js"})
        EXPECT_EQ(Get(path).status, 404) << path;
}

TEST_F(WebPagesTest, ThePathsOfTheInterfaceComeFirst) {
    Put("web/drivers/index.html", "a page in the way");
    Listen();
    EXPECT_THAT(Get("/drivers").body, StartsWith("<drivers>"));
}

TEST_F(WebPagesTest, AForeignNameGetsNoPage) {
    Listen();
    EXPECT_THAT(ConversationOf("GET / HTTP/1.1\r\nHost: evil.example\r\n\r\n"), StartsWith("HTTP/1.1 403 "));
}

TEST_F(WebPagesTest, WithoutAFolderTheAnswerSaysWhatIsMissing) {
    webFolder_.clear();
    Listen();
    EXPECT_EQ(Get("/").status, 404);
    EXPECT_THAT(Get("/").body, HasSubstr("there are no pages, because driverhost runs without --web-dir"));
}

TEST_F(WebPagesTest, PagesThatAreReadAgainAreServedFromThenOn) {
    Listen();
    const std::string before = Get("/").headers.at("etag");
    Put("web/index.html", "another start");
    EXPECT_EQ(Get("/").body, "the start") << "a page is not half of the one and half of the other";
    pages_->ReadAgain();
    pages_->ReadAgain();
    TurnUntil([this] { return Ask("GET", "/").Body() == "another start"; });
    EXPECT_NE(Get("/").headers.at("etag"), before);
}

TEST_F(WebPagesTest, WhatIsChangedDuringAReadingIsReadToo) {
    Listen();
    pages_->ReadAgain();
    Put("web/new.html", "new");
    pages_->ReadAgain();
    TurnUntil([this] { return Ask("GET", "/new.html").status == 200; });
}

TEST_F(WebPagesTest, AFolderThatIsGoneLeavesThePagesAsTheyWere) {
    Listen();
    fs::rename(folder_ / "web", folder_ / "gone");
    pages_->ReadAgain();
    std::string log;
    EXPECT_TRUE(test::Eventually([&] {
        testing::internal::CaptureStderr();
        Turn(std::chrono::milliseconds(5));
        log += testing::internal::GetCapturedStderr();
        return log.find("they stay as they were") != std::string::npos;
    }));
    EXPECT_EQ(Get("/").body, "the start");
    fs::rename(folder_ / "gone", folder_ / "web");
    Put("web/index.html", "back");
    pages_->ReadAgain();
    TurnUntil([this] { return Ask("GET", "/").Body() == "back"; });
}

}  // namespace
}  // namespace driverhost
