// The very first user of a process. The only test of its program, so that no other one makes users.
#include "tests/support/AgentFixture.h"

namespace {

using testing::Contains;

class FirstUser : public test::AgentFixture {};

TEST_F(FirstUser, HasTheIdThatDeviceListAndAddressLookupLeaveOut) {
    Start();
    AddDevice(5);
    EXPECT_EQ("<success/>", Ui("addUser", {{"key", "ann"}}));
    EXPECT_THAT(Take("ui "), Contains("ui <DeviceAdded><id>99999</id></DeviceAdded>"));

    EXPECT_EQ("<devices><device><id>5</id><prop>0</prop></device></devices>", Ui("getDeviceList"));
    EXPECT_EQ("", Drivers().GetDeviceAOR(99999));

    EXPECT_EQ(Agent().getIntercomDevice("ann"), Drivers().GetIntercomDevice(99999));
    EXPECT_THAT(Ui("getUser", {{"key", "ann"}}), testing::StartsWith("<device><id>99999</id><key>ann</key>"));
    EXPECT_EQ("<key>ann</key>", Ui("getUser", {{"index", "1"}}));

    EXPECT_EQ("<success/>", Ui("addUser", {{"key", "bob"}}));
    EXPECT_THAT(Take("ui "), Contains("ui <DeviceAdded><id>100000</id></DeviceAdded>"));
    EXPECT_EQ("bob", Drivers().GetDeviceAOR(100000));
    EXPECT_THAT(Ui("getDeviceList"), testing::HasSubstr("<device><id>100000</id><key>bob</key>"));
}

}  // namespace
