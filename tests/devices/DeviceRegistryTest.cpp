// The registry: what device drivers report, and look-ups.
#include <stdexcept>

#include "agent/UiEvents.h"
#include "tests/support/AgentFixture.h"

namespace {

using dvIntercom::DeviceProps;
using test::FakeDevice;
using test::Text;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned long kBeyondSigned = 3000000000UL;
constexpr unsigned long kHighestId = 4294967295UL;

class AddedDevice : public test::AgentFixture {};
class RemovedDevice : public test::AgentFixture {
protected:
    std::vector<unsigned long> Members(int groupId) {
        std::vector<unsigned long> ids;
        Drivers().GetDeviceListByGroup(ids, groupId);
        return ids;
    }
};
class ChangedDevice : public test::AgentFixture {};
class DeviceLookup : public test::AgentFixture {};

TEST_F(AddedDevice, IsGivenTheSipProxyAddressAndAnnouncedLast) {
    Start();
    Ui("setSipProxyIP", {{"address", "10.0.0.2"}});
    FakeDevice& device = NewDevice(5);
    Take();
    Drivers().AddIntercomDevice(5, &device);
    EXPECT_THAT(Take(), ElementsAre("device 5 updateSipInfoFromDriver 10.0.0.2",
                                    "ui <DeviceAdded><id>5</id></DeviceAdded>"));
    EXPECT_EQ(&device, Drivers().GetIntercomDevice(5));
}

TEST_F(AddedDevice, OfVersionTwoStartsTheSipProxyBeforeItIsToldTheAddress) {
    Start();
    FakeDevice& device = NewDevice(5, 2);
    Drivers().AddIntercomDevice(5, &device);
    EXPECT_THAT(Take(),
                ElementsAre("sysman enable sipproxy", "log 6 IntercomAgent enable sipproxy",
                            "device 5 updateSipInfoFromDriver", "ui <DeviceAdded><id>5</id></DeviceAdded>"));
}

TEST_F(AddedDevice, IsInTheRegistryAndInTheOrderBeforeItIsCalled) {
    Start();
    FakeDevice& device = NewDevice(5);
    ISupportIntercom* found = nullptr;
    std::string list;
    device.Next("getVersion", [&] {
        found = Drivers().GetIntercomDevice(5);
        list = Text(Drivers().GetDeviceList());
    });
    Drivers().AddIntercomDevice(5, &device);
    EXPECT_EQ(&device, found);
    EXPECT_EQ("<devices><device><id>5</id><prop>0</prop></device></devices>", list);
}

TEST_F(AddedDevice, ThatIsNullIsRefusedWithALogLine) {
    Start();
    Drivers().AddIntercomDevice(5, nullptr);
    EXPECT_THAT(Take(), ElementsAre("log 3 Unable to add intercom device 5l"));
    EXPECT_EQ("<devices/>", Ui("getDeviceList"));
}

TEST_F(AddedDevice, ThatIsNullLeavesTheDeviceUnderThatIdAlone) {
    Start();
    FakeDevice& device = AddDevice(5);
    Drivers().AddIntercomDevice(5, nullptr);
    EXPECT_EQ(&device, Drivers().GetIntercomDevice(5));
}

TEST_F(AddedDevice, ThatIsNullIsLoggedWithAnUnsignedId) {
    Start();
    Drivers().AddIntercomDevice(kBeyondSigned, nullptr);
    EXPECT_THAT(Take(), ElementsAre("log 3 Unable to add intercom device 3000000000l"));
}

TEST_F(AddedDevice, UnderATakenIdReplacesTheOtherWithoutTouchingIt) {
    Start();
    FakeDevice& old = AddDevice(5);
    FakeDevice& replacement = NewDevice(5, 1, "new");
    old.Show("");
    Drivers().AddIntercomDevice(5, &replacement);
    EXPECT_EQ(&replacement, Drivers().GetIntercomDevice(5));
    EXPECT_THAT(Take(), ElementsAre("device new updateSipInfoFromDriver",
                                    "ui <DeviceAdded><id>5</id></DeviceAdded>"));
}

TEST_F(AddedDevice, TwiceIsAnnouncedTwiceAndListedOnce) {
    Start();
    FakeDevice& device = NewDevice(5);
    Drivers().AddIntercomDevice(5, &device);
    Drivers().AddIntercomDevice(5, &device);
    EXPECT_THAT(Take("ui "), ElementsAre("ui <DeviceAdded><id>5</id></DeviceAdded>",
                                         "ui <DeviceAdded><id>5</id></DeviceAdded>"));
    EXPECT_EQ("<devices><device><id>5</id><prop>0</prop></device></devices>", Ui("getDeviceList"));
}

TEST_F(AddedDevice, DoesNotMarkTheState) {
    Start();
    Drivers().AddIntercomDevice(5, &NewDevice(5, 2));
    EXPECT_THAT(Take(), testing::Not(testing::Contains("mark")));
}

TEST_F(AddedDevice, BeyondTheSignedRangeIsAnnouncedAsASignedNumber) {
    Start();
    Drivers().AddIntercomDevice(kBeyondSigned, &NewDevice(kBeyondSigned));
    EXPECT_THAT(Take("ui "), ElementsAre("ui <DeviceAdded><id>-1294967296</id></DeviceAdded>"));
}

TEST_F(AddedDevice, WithTheHighestIdIsAnnouncedWithoutId) {
    Start();
    Drivers().AddIntercomDevice(kHighestId, &NewDevice(kHighestId));
    EXPECT_THAT(Take("ui "), ElementsAre("ui <DeviceAdded/>"));
}

TEST_F(AddedDevice, MayRemoveAndDeleteItselfWhenAskedForItsVersion) {
    Start();
    FakeDevice& device = NewDevice(5, 2);
    device.Next("getVersion", [&] { RemoveAndDelete(device); });
    Drivers().AddIntercomDevice(5, &device);
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
    EXPECT_THAT(Take("device "), IsEmpty());
}

TEST_F(AddedDevice, MayRemoveAndDeleteItselfWhenTheModeIsWorkedOut) {
    Start();
    FakeDevice& device = NewDevice(5, 2);
    int asked = 0;
    device.Every("getVersion", [&] {
        if (++asked == 2) RemoveAndDelete(device);
    });
    Drivers().AddIntercomDevice(5, &device);
    EXPECT_EQ(2, asked);
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceRemoved><id>5</id></DeviceRemoved>",
                                    "ui <DeviceAdded><id>5</id></DeviceAdded>"));
}

TEST_F(AddedDevice, MayRemoveAndDeleteItselfWhenToldTheSipProxyAddress) {
    Start();
    FakeDevice& device = NewDevice(5, 2);
    device.Next("updateSipInfoFromDriver", [&] { RemoveAndDelete(device); });
    Drivers().AddIntercomDevice(5, &device);
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
    EXPECT_THAT(Take("sysman "), ElementsAre("sysman enable sipproxy", "sysman disable sipproxy"));
}

TEST_F(AddedDevice, MayRemoveAnotherOne) {
    Start();
    FakeDevice& other = AddDevice(3);
    FakeDevice& device = NewDevice(5);
    device.Next("updateSipInfoFromDriver", [&] { RemoveAndDelete(other); });
    Drivers().AddIntercomDevice(5, &device);
    EXPECT_THAT(Take("ui "), ElementsAre("ui <DeviceRemoved><id>3</id></DeviceRemoved>",
                                         "ui <DeviceAdded><id>5</id></DeviceAdded>"));
}

TEST_F(AddedDevice, MayAddAnotherOne) {
    Start();
    FakeDevice& other = NewDevice(3);
    FakeDevice& device = NewDevice(5);
    device.Next("updateSipInfoFromDriver", [&] { Agent().AddIntercomDevice(3, &other); });
    Drivers().AddIntercomDevice(5, &device);
    EXPECT_EQ(&other, Drivers().GetIntercomDevice(3));
    EXPECT_EQ(
        "<devices><device><id>5</id><prop>0</prop></device><device><id>3</id><prop>0</prop></device>"
        "</devices>",
        Ui("getDeviceList"));
}

TEST_F(AddedDevice, ReplacedWhileItIsAskedForItsVersionIsNotCalledAgain) {
    Start();
    FakeDevice& device = NewDevice(5);
    FakeDevice& replacement = NewDevice(5, 1, "5b");
    device.Next("getVersion", [&] { ReplaceAndDelete(device, replacement); });
    Drivers().AddIntercomDevice(5, &device);
    EXPECT_EQ(&replacement, Drivers().GetIntercomDevice(5));
    EXPECT_THAT(Take("device 5 "), IsEmpty());
}

TEST_F(AddedDevice, MayReportAChangeOfItselfMeanwhile) {
    Start();
    FakeDevice& device = NewDevice(5);
    device.Next("updateSipInfoFromDriver", [&] { Agent().OnDeviceChanged(5, dvIntercom::DEVICE_UPDATED); });
    Drivers().AddIntercomDevice(5, &device);
    EXPECT_THAT(Take("ui "),
                ElementsAre("ui <DeviceUpdated><device><id>5</id><prop>1</prop></device></DeviceUpdated>",
                            "ui <DeviceAdded><id>5</id></DeviceAdded>"));
}

TEST_F(AddedDevice, ThatThrowsGetsItsExceptionBackAndStays) {
    Start();
    FakeDevice& device = NewDevice(5);
    device.Next("updateSipInfoFromDriver", [] { throw std::runtime_error("busy"); });
    EXPECT_THROW(Drivers().AddIntercomDevice(5, &device), std::runtime_error);
    EXPECT_EQ(&device, Drivers().GetIntercomDevice(5));
    EXPECT_EQ("<devices><device><id>5</id><prop>0</prop></device></devices>", Ui("getDeviceList"));
}

TEST_F(AddedDevice, IsToldTheSipProxyAddressAndAnnouncedThoughAnotherOneThrows) {
    Start();
    AddDevice(3).Next("getVersion", [] { throw std::runtime_error("no version"); });
    EXPECT_THROW(AddDevice(5, 2), std::runtime_error);
    EXPECT_THAT(Take(),
                ElementsAre("device 5 updateSipInfoFromDriver", "ui <DeviceAdded><id>5</id></DeviceAdded>"));
}

TEST_F(AddedDevice, IsAnnouncedThoughItThrows) {
    Start();
    FakeDevice& device = NewDevice(5);
    const auto fail = [] { throw std::runtime_error("busy"); };
    device.Next("getVersion", fail);
    device.Next("updateSipInfoFromDriver", [] { throw std::logic_error("the second one"); });
    EXPECT_THROW(Drivers().AddIntercomDevice(5, &device), std::runtime_error);
    EXPECT_THAT(Take("ui "), ElementsAre("ui <DeviceAdded><id>5</id></DeviceAdded>"));
}

TEST_F(AddedDevice, MayChangeTheSipProxyAddressWhenToldIt) {
    Start();
    FakeDevice& device = NewDevice(5);
    device.Next("updateSipInfoFromDriver", [&] { Ui("setSipProxyIP", {{"address", "10.0.0.9"}}); });
    Drivers().AddIntercomDevice(5, &device);
    EXPECT_THAT(Take("device "),
                ElementsAre("device 5 updateSipInfoFromDriver", "device 5 updateSipInfoFromDriver 10.0.0.9"));
}

TEST_F(RemovedDevice, IsAnnouncedAndLeavesItsGroupsThoughAnotherOneThrows) {
    Start();
    FakeDevice& other = AddDevice(3);
    AddDevice(5);
    Ui("addGroup", {{"name", "Kitchen"}});
    Agent().SetGroupState(1, "Kitchen", {3, 5});
    Take();
    other.Next("getVersion", [] { throw std::runtime_error("no version"); });
    EXPECT_THROW(Drivers().OnDeviceRemoved(5), std::runtime_error);
    EXPECT_THAT(Take("ui "), ElementsAre("ui <DeviceRemoved><id>5</id></DeviceRemoved>"));
    EXPECT_THAT(Members(1), ElementsAre(3));
}

TEST_F(RemovedDevice, IsAnnouncedOnceAndNotTouched) {
    Start();
    FakeDevice& device = AddDevice(5);
    device.Show("");
    Drivers().OnDeviceRemoved(5);
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceRemoved><id>5</id></DeviceRemoved>"));
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
    Drivers().OnDeviceRemoved(5);
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(RemovedDevice, OfVersionTwoStopsTheSipProxyBeforeItIsAnnounced) {
    Start();
    AddDevice(5, 2);
    Drivers().OnDeviceRemoved(5);
    EXPECT_THAT(Take(), ElementsAre("sysman disable sipproxy", "log 6 IntercomAgent disable sipproxy",
                                    "ui <DeviceRemoved><id>5</id></DeviceRemoved>"));
}

TEST_F(RemovedDevice, LeavesEveryGroupAfterItWasAnnounced) {
    Start();
    AddDevice(5);
    Ui("addGroup", {{"name", "Hall"}});
    Ui("addGroup", {{"name", "Attic"}});
    Ui("setGroupState", {{"groupId", "1"}, {"name", "Hall"}, {"xml", "<l><i>5</i><i>3</i></l>"}});
    Ui("setGroupState", {{"groupId", "2"}, {"name", "Attic"}, {"xml", "<l><i>3</i><i>5</i></l>"}});
    std::vector<unsigned long> whenAnnounced;
    recorder.Next("ui <DeviceRemoved>", [&] { whenAnnounced = Members(1); });
    Take();
    Drivers().OnDeviceRemoved(5);
    EXPECT_THAT(whenAnnounced, ElementsAre(5, 3));
    EXPECT_THAT(Members(1), ElementsAre(3));
    EXPECT_THAT(Members(2), ElementsAre(3));
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceRemoved><id>5</id></DeviceRemoved>"));
}

TEST_F(RemovedDevice, ThatIsUnknownSendsNothingAndLeavesGroupsAlone) {
    Start();
    Ui("addGroup", {{"name", "Hall"}});
    Ui("setGroupState", {{"groupId", "1"}, {"name", "Hall"}, {"xml", "<l><i>5</i></l>"}});
    Take();
    Drivers().OnDeviceRemoved(5);
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_THAT(Members(1), ElementsAre(5));
}

TEST_F(RemovedDevice, BeyondTheSignedRangeIsAnnouncedAsASignedNumber) {
    Start();
    AddDevice(kBeyondSigned);
    AddDevice(kHighestId);
    Drivers().OnDeviceRemoved(kBeyondSigned);
    Drivers().OnDeviceRemoved(kHighestId);
    EXPECT_THAT(Take(),
                ElementsAre("ui <DeviceRemoved><id>-1294967296</id></DeviceRemoved>", "ui <DeviceRemoved/>"));
}

TEST_F(ChangedDevice, IsReportedUnderTheNameOfEachPropertyButTheVolume) {
    Start();
    AddDevice(5);
    for (int number = 0; number < dvIntercom::DEVICE_VOLUME; ++number) {
        const auto prop = static_cast<DeviceProps>(number);
        const std::string name = UiEvents::NameOfProperty(prop);
        Drivers().OnDeviceChanged(5, prop);
        EXPECT_THAT(Take(), ElementsAre("ui <" + name + "><device><id>5</id><prop>" + std::to_string(number) +
                                        "</prop></device></" + name + ">"));
    }
}

TEST_F(ChangedDevice, SendsNothingForTheVolume) {
    Start();
    AddDevice(5);
    Drivers().OnDeviceChanged(5, dvIntercom::DEVICE_VOLUME);
    Drivers().OnDeviceChanged(6, dvIntercom::DEVICE_VOLUME);
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(ChangedDevice, SendsNothingForAPropertyOutsideTheTable) {
    Start();
    AddDevice(5);
    for (const int prop : {-1, 10, 255, -2147483647 - 1, 2147483647})
        Drivers().OnDeviceChanged(5, static_cast<DeviceProps>(prop));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(ChangedDevice, ThatIsUnknownIsReportedWithItsIdOnly) {
    Start();
    Drivers().OnDeviceChanged(5, dvIntercom::DEVICE_CHANGED);
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceChanged><id>5</id></DeviceChanged>"));
}

TEST_F(ChangedDevice, ThatIsUnknownIsReportedWithAnUnsignedId) {
    Start();
    Drivers().OnDeviceChanged(kBeyondSigned, dvIntercom::DEVICE_DND);
    Drivers().OnDeviceChanged(kHighestId, dvIntercom::DEVICE_DND);
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceDnDChanged><id>3000000000</id></DeviceDnDChanged>",
                                    "ui <DeviceDnDChanged><id>4294967295</id></DeviceDnDChanged>"));
}

TEST_F(ChangedDevice, MayRemoveAndDeleteItselfWhileItIsDescribed) {
    Start();
    FakeDevice& device = AddDevice(5);
    device.Next("toXml", [&] { RemoveAndDelete(device); });
    Drivers().OnDeviceChanged(5, dvIntercom::DEVICE_UPDATED);
    EXPECT_THAT(Take(),
                ElementsAre("ui <DeviceRemoved><id>5</id></DeviceRemoved>",
                            "ui <DeviceUpdated><device><id>5</id><prop>1</prop></device></DeviceUpdated>"));
}

TEST_F(ChangedDevice, ThatThrowsGetsItsExceptionBack) {
    Start();
    AddDevice(5).Next("toXml", [] { throw std::runtime_error("busy"); });
    EXPECT_THROW(Drivers().OnDeviceChanged(5, dvIntercom::DEVICE_UPDATED), std::runtime_error);
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(DeviceLookup, ByIdFindsExactlyThatDevice) {
    Start();
    FakeDevice& device = AddDevice(5);
    FakeDevice& highest = AddDevice(kHighestId);
    EXPECT_EQ(&device, Drivers().GetIntercomDevice(5));
    EXPECT_EQ(&device, Agent().getIntercomDevice(5));
    EXPECT_EQ(&highest, Drivers().GetIntercomDevice(kHighestId));
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(6));
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(0));
}

TEST_F(DeviceLookup, ByKeyComparesEveryByte) {
    Start();
    FakeDevice& device = AddDevice(5);
    device.deviceKey = "hall";
    EXPECT_EQ(&device, Agent().getIntercomDevice(std::string("hall")));
    for (const std::string key : {"Hall", "hal", "hall ", ""})
        EXPECT_EQ(nullptr, Agent().getIntercomDevice(key));
    EXPECT_EQ(nullptr, Agent().getIntercomDevice(std::string("hall\0x", 6)));
}

TEST_F(DeviceLookup, ByKeyFindsTheLowestIdOfThoseThatShareIt) {
    Start();
    AddDevice(9).deviceKey = "hall";
    FakeDevice& lower = AddDevice(3);
    lower.deviceKey = "hall";
    AddDevice(2).deviceKey = "attic";
    EXPECT_EQ(&lower, Agent().getIntercomDevice(std::string("hall")));
}

TEST_F(DeviceLookup, ByEmptyKeyFindsTheFirstDeviceWithoutOne) {
    Start();
    AddDevice(3).deviceKey = "hall";
    FakeDevice& keyless = AddDevice(5);
    EXPECT_EQ(&keyless, Agent().getIntercomDevice(std::string()));
}

TEST_F(DeviceLookup, ByKeyNeverAnswersADeviceThatWentAwayMeanwhile) {
    Start();
    FakeDevice& device = AddDevice(5);
    device.deviceKey = "hall";
    device.Next("getKey", [&] { RemoveAndDelete(device); });
    EXPECT_EQ(nullptr, Agent().getIntercomDevice(std::string("hall")));
}

TEST_F(DeviceLookup, ByKeyPassesOverDevicesRemovedByAnotherOne) {
    Start();
    FakeDevice& first = AddDevice(3);
    FakeDevice& second = AddDevice(5);
    second.deviceKey = "hall";
    FakeDevice& third = AddDevice(9);
    third.deviceKey = "hall";
    first.Next("getKey", [&] { RemoveAndDelete(second); });
    EXPECT_EQ(&third, Agent().getIntercomDevice(std::string("hall")));
}

TEST_F(DeviceLookup, ByKeySurvivesDevicesAddedMeanwhile) {
    Start();
    FakeDevice& late = NewDevice(4);
    AddDevice(3).Next("getKey", [&] { Agent().AddIntercomDevice(4, &late); });
    FakeDevice& wanted = AddDevice(5);
    wanted.deviceKey = "hall";
    EXPECT_EQ(&wanted, Agent().getIntercomDevice(std::string("hall")));
}

TEST_F(DeviceLookup, ByKeyPassesOnWhatADeviceThrows) {
    Start();
    AddDevice(3).Next("getKey", [] { throw std::runtime_error("no key"); });
    EXPECT_THROW(Agent().getIntercomDevice(std::string("hall")), std::runtime_error);
}

TEST_F(DeviceLookup, OfTheAddressOfRecordAnswersTheKey) {
    Start();
    AddDevice(5).deviceKey = "hall";
    EXPECT_EQ("hall", Drivers().GetDeviceAOR(5));
    EXPECT_EQ("", Drivers().GetDeviceAOR(6));
}

TEST_F(DeviceLookup, OfTheAddressOfRecordIsEmptyForTheFirstUserId) {
    Start();
    FakeDevice& device = AddDevice(99999);
    device.deviceKey = "ann";
    device.Show("getKey");
    EXPECT_EQ("", Drivers().GetDeviceAOR(99999));
    EXPECT_THAT(Take(), IsEmpty());
    AddDevice(100000).deviceKey = "bob";
    EXPECT_EQ("bob", Drivers().GetDeviceAOR(100000));
}

TEST_F(DeviceLookup, OfTheAddressOfRecordSurvivesADeviceThatGoesAwayMeanwhile) {
    Start();
    FakeDevice& device = AddDevice(5);
    device.deviceKey = "hall";
    device.Next("getKey", [&] { RemoveAndDelete(device); });
    EXPECT_EQ("hall", Drivers().GetDeviceAOR(5));
    EXPECT_EQ("", Drivers().GetDeviceAOR(5));
}

TEST_F(DeviceLookup, ChangesNothing) {
    Start();
    AddDevice(5);
    Drivers().GetIntercomDevice(5);
    Drivers().GetDeviceAOR(5);
    Agent().getIntercomDevice(std::string("hall"));
    Text(Drivers().GetDeviceList());
    EXPECT_THAT(Take(), IsEmpty());
}

}  // namespace
