// The intercom mode, the external flag and the pop-up time-out.
#include <stdexcept>

#include "tests/support/AgentFixture.h"

namespace {

using test::FakeDevice;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kEnable[] = "sysman enable sipproxy";
constexpr char kDisable[] = "sysman disable sipproxy";

class IntercomMode : public test::AgentFixture {
protected:
    /// What the change of mode asked of the system manager.
    std::vector<std::string> Asked() { return Take("sysman "); }
    FakeDevice& Add(unsigned long id, int version, const std::string& label = "") {
        FakeDevice& device = NewDevice(id, version, label);
        Agent().AddIntercomDevice(id, &device);
        return device;
    }
};
class ExternalMode : public test::AgentFixture {};
class PopupTimeout : public test::AgentFixture {};

TEST_F(IntercomMode, ClassicDevicesNeverTouchTheSipProxy) {
    Start();
    Add(3, 1);
    Add(5, 1);
    Drivers().OnDeviceRemoved(3);
    Drivers().OnDeviceRemoved(5);
    EXPECT_THAT(Asked(), IsEmpty());
}

TEST_F(IntercomMode, TheFirstSipDeviceStartsTheProxyAndTheSecondDoesNot) {
    Start();
    Add(3, 2);
    EXPECT_THAT(Asked(), ElementsAre(kEnable));
    Add(5, 2);
    EXPECT_THAT(Asked(), IsEmpty());
}

TEST_F(IntercomMode, ClassicDevicesBesideASipDeviceChangeNothing) {
    Start();
    Add(3, 2);
    Asked();
    Add(5, 1);
    Drivers().OnDeviceRemoved(5);
    EXPECT_THAT(Asked(), IsEmpty());
}

TEST_F(IntercomMode, TheLastSipDeviceThatGoesStopsTheProxy) {
    Start();
    Add(3, 2);
    Add(5, 2);
    Add(9, 1);
    Asked();
    Drivers().OnDeviceRemoved(3);
    EXPECT_THAT(Asked(), IsEmpty());
    Drivers().OnDeviceRemoved(5);
    EXPECT_THAT(Asked(), ElementsAre(kDisable));
}

TEST_F(IntercomMode, FollowsASipDeviceThatIsReplacedByAClassicOne) {
    Start();
    Add(3, 2);
    Asked();
    Add(3, 1, "3b");
    EXPECT_THAT(Asked(), ElementsAre(kDisable));
}

TEST_F(IntercomMode, FollowsTheVersionThatADeviceReportsWhenAnotherOneComesOrGoes) {
    Start();
    FakeDevice& device = Add(3, 1);
    device.version = 2;
    EXPECT_THAT(Asked(), IsEmpty());
    Add(5, 1);  // as the mode, which is therefore not worked out again
    EXPECT_THAT(Asked(), IsEmpty());
    Drivers().OnDeviceRemoved(5);
    EXPECT_THAT(Asked(), ElementsAre(kEnable));
}

TEST_F(IntercomMode, IsNotWorkedOutAgainForADeviceOfTheSameVersion) {
    Start();
    FakeDevice& first = Add(3, 1);
    first.Show("getVersion");
    Take();
    Add(5, 1);
    EXPECT_THAT(Take("device 3"), IsEmpty());
}

TEST_F(IntercomMode, FromOneToThreeAndBackToOneOnlyStopsTheProxy) {
    Start();
    Add(3, 3);
    EXPECT_THAT(Asked(), IsEmpty());
    Drivers().OnDeviceRemoved(3);
    EXPECT_THAT(Asked(), ElementsAre(kDisable));
}

TEST_F(IntercomMode, FromTwoToThreeAsksNothingAndBackToTwoStartsTheProxyAgain) {
    Start();
    Add(3, 2);
    Asked();
    Add(5, 3);
    EXPECT_THAT(Asked(), IsEmpty());
    Drivers().OnDeviceRemoved(5);
    EXPECT_THAT(Asked(), ElementsAre(kEnable));
}

TEST_F(IntercomMode, VersionsBelowOneCountAsOne) {
    Start();
    Add(3, 0);
    Add(5, -7);
    EXPECT_THAT(Asked(), IsEmpty());
    Add(9, 2);
    Asked();
    Drivers().OnDeviceRemoved(9);
    EXPECT_THAT(Asked(), ElementsAre(kDisable));
}

TEST_F(IntercomMode, IsKeptThoughTheSystemManagerFails) {
    Start();
    sysman.FailToOpen();
    Add(3, 2);
    Add(5, 2);
    EXPECT_THAT(Asked(), ElementsAre(kEnable));
}

TEST_F(IntercomMode, DevicesMayRemoveThemselvesWhenAskedForTheirVersion) {
    Start();
    FakeDevice& first = AddDevice(3);
    AddDevice(5);
    first.Next("getVersion", [&] { RemoveAndDelete(first); });
    Drivers().OnDeviceRemoved(5);
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(3));
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceRemoved><id>3</id></DeviceRemoved>",
                                    "ui <DeviceRemoved><id>5</id></DeviceRemoved>"));
}

TEST_F(IntercomMode, DevicesMayRemoveOthersWhenAskedForTheirVersion) {
    Start();
    FakeDevice& first = AddDevice(3);
    FakeDevice& second = AddDevice(5);
    AddDevice(9);
    first.Next("getVersion", [&] { RemoveAndDelete(second); });
    Drivers().OnDeviceRemoved(9);
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
    EXPECT_EQ(&first, Drivers().GetIntercomDevice(3));
}

TEST_F(IntercomMode, FollowsTheDevicesThatAreLeftWhenOneRemovesAnother) {
    Start();
    FakeDevice& sip = AddDevice(3, 2);
    AddDevice(9);
    AddDevice(5).Next("getVersion", [&] { RemoveAndDelete(sip); });
    Drivers().OnDeviceRemoved(9);
    EXPECT_THAT(Asked(), ElementsAre(kDisable));
    Add(4, 1);
    EXPECT_THAT(Asked(), IsEmpty());
}

TEST_F(IntercomMode, DevicesMayAddOthersWhenAskedForTheirVersion) {
    Start();
    FakeDevice& late = NewDevice(4, 2);
    AddDevice(3).Next("getVersion", [&] { Agent().AddIntercomDevice(4, &late); });
    AddDevice(5);
    Drivers().OnDeviceRemoved(5);
    EXPECT_EQ(&late, Drivers().GetIntercomDevice(4));
    EXPECT_EQ(kEnable, Asked().at(0));
}

TEST_F(IntercomMode, WhatADeviceThrowsWhenAskedForItsVersionReachesTheCaller) {
    Start();
    AddDevice(3).Next("getVersion", [] { throw std::runtime_error("no version"); });
    AddDevice(5);
    EXPECT_THROW(Drivers().OnDeviceRemoved(5), std::runtime_error);
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
    EXPECT_NE(nullptr, Drivers().GetIntercomDevice(3));
}

TEST_F(IntercomMode, FollowsTheDeviceThatTookAnothersPlaceWhileItWasWorkedOut) {
    Start();
    FakeDevice& sip = AddDevice(3, 2);
    FakeDevice& classic = NewDevice(3, 1, "new");
    AddDevice(9);
    AddDevice(5).Next("getVersion", [&] { ReplaceAndDelete(sip, classic); });
    Drivers().OnDeviceRemoved(9);
    EXPECT_THAT(Asked(), IsEmpty()) << "the classic one has stopped the proxy";
    Add(4, 2);
    EXPECT_THAT(Asked(), ElementsAre(kEnable));
}

TEST_F(ExternalMode, IsFalseWithoutServicesAndLogsNothing) {
    Start();
    EXPECT_EQ("<external>false</external>", Ui("getIsExternal"));
    EXPECT_THAT(Take(), ElementsAre("ui <AGENT_EXTERNAL><id>77</id><state>0</state></AGENT_EXTERNAL>"));
}

TEST_F(ExternalMode, IsTrueWithServices) {
    Start();
    Ui("editService", {{"name", "p"}});
    Take();
    EXPECT_EQ("<external>true</external>", Ui("getIsExternal"));
    EXPECT_THAT(Take(),
                ElementsAre("log 7 IntercomAgent checking services", "log 7 IntercomAgent has services",
                            "ui <AGENT_EXTERNAL><id>77</id><state>1</state></AGENT_EXTERNAL>"));
}

TEST_F(ExternalMode, IsWorkedOutOnlyWhenItIsAskedFor) {
    Start();
    Ui("editService", {{"name", "p"}});
    EXPECT_FALSE(Agent().GetExternal());
    Ui("getIsExternal");
    EXPECT_TRUE(Agent().GetExternal());
    Ui("removeService", {{"name", "p"}});
    EXPECT_TRUE(Agent().GetExternal());
    EXPECT_EQ("<external>false</external>", Ui("getIsExternal"));
    EXPECT_FALSE(Agent().GetExternal());
}

TEST_F(ExternalMode, IsAnnouncedEveryTimeItIsAskedFor) {
    Start();
    Ui("getIsExternal");
    Ui("getIsExternal");
    EXPECT_THAT(Take(), ElementsAre("ui <AGENT_EXTERNAL><id>77</id><state>0</state></AGENT_EXTERNAL>",
                                    "ui <AGENT_EXTERNAL><id>77</id><state>0</state></AGENT_EXTERNAL>"));
}

TEST_F(PopupTimeout, IsOfferedToUserInterfacesAndDrivers) {
    Start();
    EXPECT_EQ("<timeout>20</timeout>", Ui("getPopupTimeout"));
    EXPECT_EQ(20, Drivers().GetPopupTimeout());
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(PopupTimeout, IsSetAndAnnouncedWithoutMarkingTheState) {
    Start();
    EXPECT_EQ("<success/>", Ui("setPopupTimeout", {{"timeout", "45"}}));
    EXPECT_THAT(Take(),
                ElementsAre("ui <PopupTimeoutChanged><id>77</id><state>45</state></PopupTimeoutChanged>"));
    EXPECT_EQ("<timeout>45</timeout>", Ui("getPopupTimeout"));
    EXPECT_EQ(45, Drivers().GetPopupTimeout());
}

TEST_F(PopupTimeout, IsInPlaceBeforeItIsAnnounced) {
    Start();
    int announced = 0;
    recorder.Next("ui <PopupTimeoutChanged>", [&] { announced = Drivers().GetPopupTimeout(); });
    Ui("setPopupTimeout", {{"timeout", "45"}});
    EXPECT_EQ(45, announced);
}

TEST_F(PopupTimeout, IsAnnouncedThoughItDidNotChange) {
    Start();
    Ui("setPopupTimeout", {{"timeout", "20"}});
    EXPECT_THAT(Take(),
                ElementsAre("ui <PopupTimeoutChanged><id>77</id><state>20</state></PopupTimeoutChanged>"));
}

TEST_F(PopupTimeout, TakesAnyInteger) {
    Start();
    const std::pair<const char*, const char*> texts[] = {{"0", "0"},
                                                         {"-5", "-5"},
                                                         {" 12abc", "12"},
                                                         {"junk", "0"},
                                                         {"99999999999", "2147483647"},
                                                         {"-99999999999", "-2147483648"}};
    for (const auto& [text, value] : texts) {
        Ui("setPopupTimeout", {{"timeout", text}});
        EXPECT_EQ("<timeout>" + std::string(value) + "</timeout>", Ui("getPopupTimeout")) << text;
    }
    Ui("setPopupTimeout");
    EXPECT_EQ("<timeout>0</timeout>", Ui("getPopupTimeout"));
}

TEST_F(PopupTimeout, MinusOneIsTakenAndLeavesTheStateOutOfTheEvent) {
    Start();
    Ui("setPopupTimeout", {{"timeout", "-1"}});
    EXPECT_THAT(Take(), ElementsAre("ui <PopupTimeoutChanged><id>77</id></PopupTimeoutChanged>"));
    EXPECT_EQ(-1, Drivers().GetPopupTimeout());
}

TEST_F(PopupTimeout, ReachesTheSavedState) {
    Start();
    Ui("setPopupTimeout", {{"timeout", "45"}});
    Restart();
    EXPECT_EQ(45, Drivers().GetPopupTimeout());
}

}  // namespace
