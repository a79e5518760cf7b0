// Records whose every text would like to be configuration, in a running proxy.
#include "tests/telephony/proxy/support/ProxyFixture.h"
#include "tests/telephony/proxy/support/SampleRecords.h"

using testing::HasSubstr;
using testing::Not;

namespace proxy {
namespace {

class HostileRecords : public ProxyFixture {};

TEST_F(HostileRecords, AreTextsToARunningProxyToo) {
    environment_["INTERCOM_HOST_SOCKET"] = "";
    std::mt19937 random(13);
    for (int round = 0; round < 5; ++round) {
        std::filesystem::create_directory(folder_ / "state");
        std::filesystem::permissions(folder_ / "state", std::filesystem::perms::owner_all);
        test::WriteFile(folder_ / "state/records.json", ToJson(HostileHome(address_, random)));
        Launch();
        WaitUntilRunning();
        EXPECT_EQ(200, Phone("hall")->Register()) << "round " << round;
        EXPECT_EQ(0, Stop());
    }
    EXPECT_THAT(Log(), Not(HasSubstr("ERROR")));
    EXPECT_THAT(Log(), Not(HasSubstr("started again")));
}

}  // namespace
}  // namespace proxy
