#include "driverhost/http/server/RequestReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace driverhost {
namespace {

using Progress = RequestReader::Progress;

constexpr std::size_t kHead = 200;
constexpr std::size_t kBody = 100;

class RequestReaderTest : public testing::Test {
protected:
    void Give(std::string_view bytes) {
        while (!bytes.empty()) {
            const auto room = reader_.Prepare();
            const std::size_t part = std::min(room.size(), bytes.size());
            std::memcpy(room.data(), bytes.data(), part);
            reader_.Commit(part);
            bytes.remove_prefix(part);
        }
    }

    /// Goes on until the reader needs more bytes, is done, or has failed.
    Progress Go() {
        Progress progress = reader_.Advance();
        if (progress == Progress::HeadDone) progress = reader_.Advance();
        return progress;
    }

    unsigned int FailureOf(std::string_view bytes) {
        Give(bytes);
        EXPECT_EQ(Go(), Progress::Failed);
        return reader_.Failure().status;
    }

    RequestReader reader_{kHead, kBody};
};

TEST_F(RequestReaderTest, AWholeRequestIsReadInOneGo) {
    Give(
        "POST /a HTTP/1.1\r\nHost: h\r\nOrigin: o\r\nAuthorization: t\r\nContent-Type: c\r\nlast-event-id: "
        "7\r\n"
        "Content-Length: 3\r\n\r\nxyz");
    EXPECT_EQ(reader_.Advance(), Progress::HeadDone);
    EXPECT_EQ(reader_.Advance(), Progress::Done);
    const Request& request = reader_.Get();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/a");
    EXPECT_EQ(request.hosts, 1U);
    EXPECT_EQ(request.host, "h");
    EXPECT_EQ(request.origin, "o");
    EXPECT_EQ(request.authorization, "t");
    EXPECT_EQ(request.contentType, "c");
    EXPECT_EQ(request.lastEventId, "7");
    EXPECT_EQ(request.body, "xyz");
    EXPECT_TRUE(reader_.KeepAlive());
}

TEST_F(RequestReaderTest, AWholeRequestIsReadByteByByte) {
    const std::string_view text = "POST /a HTTP/1.1\r\nHost: h\r\nContent-Length: 3\r\n\r\nxyz";
    for (const char byte : text.substr(0, text.size() - 1)) {
        Give({&byte, 1});
        EXPECT_TRUE(reader_.HasBegun());
        EXPECT_THAT(Go(), testing::AnyOf(Progress::NeedHead, Progress::NeedBody));
    }
    Give("z");
    EXPECT_EQ(Go(), Progress::Done);
    EXPECT_EQ(reader_.Get().body, "xyz");
}

TEST_F(RequestReaderTest, ChunkedBodiesMayComeByteByByte) {
    const std::string head = "POST /a HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n";
    for (const std::string body : {"0\r\n\r\n", "1\r\nx\r\n0\r\n\r\n", "0;a=b\r\nc: d\r\n\r\n"}) {
        Give(head);
        EXPECT_EQ(Go(), Progress::NeedBody);
        for (const char byte : body.substr(0, body.size() - 1)) {
            Give({&byte, 1});
            EXPECT_EQ(Go(), Progress::NeedBody) << body;
        }
        Give(body.substr(body.size() - 1));
        EXPECT_EQ(Go(), Progress::Done) << body;
        reader_.Next();
    }
}

TEST_F(RequestReaderTest, RequestsMayFollowEachOtherAtOnce) {
    Give("GET /1 HTTP/1.1\r\nHost: h\r\n\r\nPOST /2 HTTP/1.1\r\nContent-Length: 1\r\n\r\nxGET /3 HT");
    EXPECT_EQ(Go(), Progress::Done);
    reader_.Next();
    EXPECT_EQ(Go(), Progress::Done);
    EXPECT_EQ(reader_.Get().target, "/2");
    EXPECT_EQ(reader_.Get().hosts, 0U);
    reader_.Next();
    EXPECT_EQ(Go(), Progress::NeedHead);
    EXPECT_TRUE(reader_.HasBegun());
}

TEST_F(RequestReaderTest, NothingHasBegunBetweenRequests) {
    EXPECT_FALSE(reader_.HasBegun());
    Give("GET / HTTP/1.1\r\n\r\n");
    Go();
    reader_.Next();
    EXPECT_FALSE(reader_.HasBegun());
}

TEST_F(RequestReaderTest, ABodyWithoutLengthIsEmpty) {
    Give("POST / HTTP/1.1\r\n\r\n");
    EXPECT_EQ(Go(), Progress::Done);
    EXPECT_EQ(reader_.Get().body, "");
}

TEST_F(RequestReaderTest, AChunkedBodyIsPutTogether) {
    Give("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n");
    EXPECT_EQ(Go(), Progress::Done);
    EXPECT_EQ(reader_.Get().body, "abcde");
}

TEST_F(RequestReaderTest, AHeadBeyondItsLimitFails) {
    EXPECT_EQ(FailureOf("GET / HTTP/1.1\r\nA: " + std::string(kHead, 'x') + "\r\n\r\n"), 431U);
}

TEST_F(RequestReaderTest, AnEndlessFirstLineFails) {
    EXPECT_EQ(FailureOf("GET /" + std::string(kHead, 'x')), 431U);
}

TEST_F(RequestReaderTest, ManySmallLinesCountTogether) {
    Give("GET / HTTP/1.1\r\n");
    Progress progress = Go();
    int lines = 0;
    for (; lines < 100 && progress == Progress::NeedHead; ++lines) {
        Give("A: x\r\n");
        progress = Go();
    }
    EXPECT_EQ(progress, Progress::Failed);
    EXPECT_EQ(reader_.Failure().status, 431U);
    EXPECT_LT(lines, 40);
}

TEST_F(RequestReaderTest, AnAnnouncedBodyBeyondTheLimitFails) {
    EXPECT_EQ(FailureOf("POST / HTTP/1.1\r\nContent-Length: 101\r\n\r\n"), 413U);
}

TEST_F(RequestReaderTest, AChunkedBodyBeyondTheLimitFails) {
    EXPECT_EQ(FailureOf("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n40\r\n" + std::string(64, 'x') +
                        "\r\n40\r\n"),
              413U);
}

TEST_F(RequestReaderTest, AnEndlessChunkFrameFails) {
    EXPECT_EQ(FailureOf("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n1;" + std::string(500, 'x')),
              431U);
}

TEST_F(RequestReaderTest, ASmallerLimitHoldsForOneRequest) {
    Give("POST / HTTP/1.1\r\nContent-Length: 50\r\n\r\n");
    EXPECT_EQ(reader_.Advance(), Progress::HeadDone);
    EXPECT_FALSE(reader_.LimitBody(49));
    EXPECT_EQ(reader_.Failure().status, 413U);
    EXPECT_TRUE(reader_.LimitBody(50));
}

TEST_F(RequestReaderTest, ASmallerLimitHoldsForChunksToo) {
    Give("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nA\r\n");
    EXPECT_EQ(reader_.Advance(), Progress::HeadDone);
    EXPECT_TRUE(reader_.LimitBody(9));
    EXPECT_EQ(reader_.Advance(), Progress::Failed);
    EXPECT_EQ(reader_.Failure().status, 413U);
}

TEST_F(RequestReaderTest, WhatIsNotHttpFails) {
    EXPECT_EQ(FailureOf("\x16\x03\x01 hello\r\n\r\n"), 400U);
}

TEST_F(RequestReaderTest, ContradictoryLengthsFail) {
    EXPECT_EQ(FailureOf("POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n"), 400U);
}

TEST_F(RequestReaderTest, LengthAndChunksTogetherFail) {
    EXPECT_EQ(FailureOf("POST / HTTP/1.1\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n"), 400U);
}

TEST_F(RequestReaderTest, AnotherTransferEncodingFails) {
    EXPECT_EQ(FailureOf("POST / HTTP/1.1\r\nTransfer-Encoding: gzip\r\n\r\n"), 400U);
}

TEST_F(RequestReaderTest, ALengthStandsOnce) {
    EXPECT_EQ(FailureOf("POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 1\r\n\r\nx"), 400U);
    EXPECT_THAT(reader_.Failure().body, testing::HasSubstr("send it once"));
}

TEST_F(RequestReaderTest, ALengthThatIsAListFails) {
    EXPECT_EQ(FailureOf("POST / HTTP/1.1\r\nContent-Length: 1, 1\r\n\r\nx"), 400U);
}

TEST_F(RequestReaderTest, ATransferEncodingStandsOnce) {
    EXPECT_EQ(FailureOf("POST / HTTP/1.1\r\nTransfer-Encoding: identity\r\n"
                        "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n"),
              400U);
}

TEST_F(RequestReaderTest, ChunksAreNoMatterOfTheOldVersion) {
    EXPECT_EQ(FailureOf("POST / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n"), 400U);
}

TEST_F(RequestReaderTest, TheHeadOfABodyThatIsTooLongCanBeLookedAt) {
    Give("POST /a HTTP/1.1\r\nHost: h\r\nContent-Length: 101\r\n\r\n");
    EXPECT_EQ(reader_.Advance(), Progress::HeadDone);
    EXPECT_EQ(reader_.Get().host, "h");
    EXPECT_EQ(reader_.Advance(), Progress::Failed);
    EXPECT_EQ(reader_.Failure().status, 413U);
    EXPECT_THAT(reader_.Failure().body, testing::HasSubstr("at most 100 bytes"));
}

TEST_F(RequestReaderTest, AClientMayWaitForPermission) {
    Give("POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\n");
    EXPECT_EQ(reader_.Advance(), Progress::HeadDone);
    EXPECT_TRUE(reader_.ExpectsContinue());
}

TEST_F(RequestReaderTest, ConnectionsCloseWhenTheClientSaysSo) {
    Give("GET / HTTP/1.1\r\nConnection: close\r\n\r\n");
    Go();
    EXPECT_FALSE(reader_.KeepAlive());
    reader_.Next();
    Give("GET / HTTP/1.0\r\n\r\n");
    Go();
    EXPECT_FALSE(reader_.KeepAlive());
}

}  // namespace
}  // namespace driverhost
