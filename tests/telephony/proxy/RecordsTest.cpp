// Records as they are stored for a start without the host.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/telephony/proxy/support/SampleRecords.h"

using testing::HasSubstr;
using testing::Not;

namespace proxy {
namespace {

// RFC 2617 calls it HA1; the value is md5sum's of "hall:intercom:secret".
TEST(Records, ADigestIsThatOfUserRealmAndPassword) {
    EXPECT_EQ("bf3f2e468986388fb1ab7c1fd4b53d97", DigestOf("hall", "secret"));
}

TEST(Records, WithoutAPasswordThereIsNoDigest) {
    EXPECT_EQ("", DigestOf("hall", ""));
}

TEST(Records, AreReadAsTheyWereWrittenWhateverTheyHold) {
    std::mt19937 random(7);
    for (int round = 0; round < 50; ++round) {
        const Records records = HostileHome("127.0.0.1", random);
        const Records read = FromJson(ToJson(records));
        EXPECT_EQ(ToJson(records), ToJson(read));
        EXPECT_EQ(records.routes.back().pattern, read.routes.back().pattern);
        EXPECT_EQ(records.accounts.back().intercomName, read.accounts.back().intercomName);
    }
}

TEST(Records, AreNotReadFromWhatIsNoSuchDocument) {
    for (const char* const text : {"", "{", "[]", "{\"domains\":1}"})
        EXPECT_ANY_THROW(FromJson(text)) << text;
}

}  // namespace
}  // namespace proxy
