#include "driverhost/http/Trust.h"

#include <gtest/gtest.h>

namespace driverhost {
namespace {

class TrustTest : public testing::Test {
protected:
    /// The status of the refusal; 0 when there is none.
    static unsigned int StatusFor(const Trust& trust, std::string_view host,
                                  std::optional<std::string_view> origin = {}) {
        Request request;
        request.hosts = 1;
        request.host = host;
        request.origin = origin;
        const auto refusal = trust.Refuse(request);
        return refusal ? refusal->status : 0;
    }

    const Trust loopback_{{"127.0.0.1", 8350}, "box"};
    const Trust open_{{"0.0.0.0", 8350}, "box"};
};

TEST_F(TrustTest, ARequestNeedsOneHost) {
    Request request;
    EXPECT_EQ(loopback_.Refuse(request)->status, 400U);
    request.hosts = 2;
    request.host = "localhost";
    EXPECT_EQ(loopback_.Refuse(request)->status, 400U);
}

TEST_F(TrustTest, TheNamesOfThisMachineAreItsOwnUnderAnyPort) {
    for (const char* host :
         {"localhost", "LOCALHOST:8350", "127.0.0.1", "127.0.0.1:9000", "[::1]", "[::1]:8350"})
        EXPECT_EQ(StatusFor(loopback_, host), 0U) << host;
}

TEST_F(TrustTest, ForeignNamesAreRefused) {
    for (const char* host :
         {"", "evil.example", "evil.example:8350", "127.0.0.1.evil.example", "localhost.evil", "192.168.1.10",
          "box", "::1", "[127.0.0.1]", "localhost@evil", "[::1]evil", ":8350"})
        EXPECT_EQ(StatusFor(loopback_, host), 403U) << host;
}

TEST_F(TrustTest, TheListenAddressItselfIsOwn) {
    const Trust trust({"127.0.0.2", 80}, "");
    EXPECT_EQ(StatusFor(trust, "127.0.0.2"), 0U);
    EXPECT_EQ(StatusFor(trust, "127.0.0.3"), 403U);
}

TEST_F(TrustTest, AHostThatOthersReachIsNamedByAddressOrMachineName) {
    for (const char* host : {"192.168.1.10:8350", "[fe80::1]", "box", "Box.local:8350", "localhost"})
        EXPECT_EQ(StatusFor(open_, host), 0U) << host;
    for (const char* host : {"evil.example", "box.evil", "fe80::1", "[192.168.1.10]", "999.1.1.1"})
        EXPECT_EQ(StatusFor(open_, host), 403U) << host;
}

TEST_F(TrustTest, PagesOfThisHostMayAsk) {
    EXPECT_EQ(StatusFor(loopback_, "localhost:8350", "http://localhost:8350"), 0U);
    EXPECT_EQ(StatusFor(loopback_, "localhost", "http://localhost:80"), 0U);
}

TEST_F(TrustTest, PagesOfOtherOriginsAreRefused) {
    for (const char* origin : {"http://evil.example", "https://localhost:8350", "http://localhost:3000",
                               "http://127.0.0.1:8350", "null", "", "localhost:8350"})
        EXPECT_EQ(StatusFor(loopback_, "localhost:8350", origin), 403U) << origin;
}

}  // namespace
}  // namespace driverhost
