// The display order and the device list that follows it.
#include <stdexcept>

#include "tests/support/AgentFixture.h"

namespace {

using test::FakeDevice;
using test::Text;
using testing::ElementsAre;
using testing::IsEmpty;

class DeviceOrder : public test::AgentFixture {
protected:
    /// "3 5" for <devices> of the devices 3 and 5.
    std::string Listed() { return Ids(Agent().GetDeviceList()); }
    /// The same for the order as it is saved.
    std::string Order() {
        const auto order = Agent().GetDeviceOrder();
        std::string ids;
        for (const DvXML::INode* entry : order->NodeFindChild("devices")->NodeChildren())
            ids.append(ids.empty() ? "" : " ").append(entry->NodeGetText());
        return ids;
    }
    std::string SetOrder(const std::string& xml) { return Ui("setDeviceOrder", {{"xml", xml}}); }

private:
    static std::string Ids(const dv::auto_com<DvXML::INode>& list) {
        std::string ids;
        for (const DvXML::INode* device : list->NodeChildren())
            ids.append(ids.empty() ? "" : " ").append(device->NodeGetNamedValue("id"));
        return ids;
    }
};

TEST_F(DeviceOrder, ListsTheFullDescriptions) {
    Start();
    AddDevice(5);
    AddDevice(3);
    const std::string list =
        "<devices><device><id>5</id><prop>0</prop></device>"
        "<device><id>3</id><prop>0</prop></device></devices>";
    EXPECT_EQ(list, Ui("getDeviceList"));
    EXPECT_EQ(list, Text(Drivers().GetDeviceList()));
}

TEST_F(DeviceOrder, IsEmptyAtFirst) {
    Start();
    EXPECT_EQ("<devices/>", Ui("getDeviceList"));
    EXPECT_EQ("<order><devices/></order>", Text(Agent().GetDeviceOrder()));
}

TEST_F(DeviceOrder, IsSavedAsOneChildPerId) {
    Start();
    AddDevice(4294967295UL);
    AddDevice(3);
    EXPECT_EQ("<order><devices><idDevice>4294967295</idDevice><idDevice>3</idDevice></devices></order>",
              Text(Agent().GetDeviceOrder()));
}

TEST_F(DeviceOrder, HoldsADeviceAnnouncedTwiceOnce) {
    Start();
    AddDevice(5);
    AddDevice(3);
    AddDevice(5);
    EXPECT_EQ("5 3", Order());
}

TEST_F(DeviceOrder, PutsANewDeviceAtTheEndAndAReturningOneInItsOldPlace) {
    Start();
    AddDevice(9);
    AddDevice(3);
    AddDevice(5);
    EXPECT_EQ("9 3 5", Listed());
    Drivers().OnDeviceRemoved(3);
    EXPECT_EQ("9 5", Listed());
    EXPECT_EQ("9 3 5", Order());
    AddDevice(3);
    EXPECT_EQ("9 3 5", Listed());
}

TEST_F(DeviceOrder, IsReplacedMarkedAndAnnouncedInThisOrder) {
    Start();
    AddDevice(3);
    std::string whenMarked;
    recorder.Next("mark", [&] { whenMarked = Order(); });
    EXPECT_EQ("<success/>", SetOrder("<l><i>5</i><i>3</i></l>"));
    EXPECT_EQ("5 3", whenMarked);
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <DeviceOrderChanged/>"));
}

TEST_F(DeviceOrder, KeepsDuplicatesAndListsTheirDeviceForEach) {
    Start();
    AddDevice(1);
    AddDevice(3);
    EXPECT_EQ("<success/>", SetOrder("<l><i>3</i><i>3</i><i>1</i></l>"));
    EXPECT_EQ("3 3 1", Order());
    EXPECT_EQ("3 3 1", Listed());
}

TEST_F(DeviceOrder, HidesADeviceLeftOutUntilItIsAnnouncedAgain) {
    Start();
    AddDevice(3);
    FakeDevice& device = AddDevice(5);
    AddDevice(9);
    SetOrder("<l><i>9</i><i>3</i></l>");
    EXPECT_EQ("9 3", Listed());
    Drivers().AddIntercomDevice(5, &device);
    EXPECT_EQ("9 3 5", Listed());
}

TEST_F(DeviceOrder, MayHoldIdsThatAreNotRegistered) {
    Start();
    AddDevice(3);
    SetOrder("<l><i>7</i><i>3</i><i>8</i></l>");
    EXPECT_EQ("7 3 8", Order());
    EXPECT_EQ("3", Listed());
}

TEST_F(DeviceOrder, ReadsTheChildrenWhateverTheirNames) {
    Start();
    EXPECT_EQ("<success/>", SetOrder("<any><a>5</a><b> 7x</b><c><d>1</d>9</c></any>"));
    EXPECT_EQ("5 7 9", Order());
}

TEST_F(DeviceOrder, DropsZeroMinusOneAndWhatIsNoNumber) {
    Start();
    EXPECT_EQ("<success/>", SetOrder("<l><i>5</i><i>0</i><i>-1</i><i>abc</i><i/><i>7</i></l>"));
    EXPECT_EQ("5 7", Order());
}

TEST_F(DeviceOrder, DropsByTheNumberThatWasReadNotByWhatItBecomes) {
    Start();
    EXPECT_EQ("<success/>", SetOrder("<l><i>4294967295</i><i>-2</i><i>4294967296</i></l>"));
    EXPECT_EQ("4294967295 4294967294 4294967295", Order());
}

TEST_F(DeviceOrder, NeverStoresIdZeroForANumberFarBelowZero) {
    Start();
    EXPECT_EQ("<success/>",
              SetOrder("<l><i>-4294967296</i><i>-4294967297</i><i>-99999999999999999999</i></l>"));
    EXPECT_EQ("2147483648 2147483648 2147483648", Order());
}

TEST_F(DeviceOrder, RefusesAnEmptyListWithoutAWord) {
    Start();
    AddDevice(3);
    const std::string refused[] = {
        "",     "no xml",          "<l>",
        "<l/>", "<l><i>5</i></k>", "<l><i>0</i><i>-1</i><i>abc</i></l>",
        "5",    "<l>5</l>",        "<!DOCTYPE l [<!ENTITY e '5'>]><l><i>&e;</i></l>"};
    for (const std::string& xml : refused)
        EXPECT_EQ("<fail/>", SetOrder(xml)) << xml;
    EXPECT_EQ("<fail/>", Ui("setDeviceOrder"));
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ("3", Order());
}

TEST_F(DeviceOrder, SetByTheOperationIsTakenAsGiven) {
    Start();
    EXPECT_EQ("<success/>", Text(Agent().SetDeviceOrder({0, 4294967295UL, 0})));
    EXPECT_EQ("0 4294967295 0", Order());
    EXPECT_THAT(Take(), ElementsAre("mark", "ui <DeviceOrderChanged/>"));
    EXPECT_EQ("<fail/>", Text(Agent().SetDeviceOrder({})));
    EXPECT_EQ("0 4294967295 0", Order());
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(DeviceOrder, ListsADeviceUnderTheIdItWasAddedWith) {
    Start();
    FakeDevice& device = AddDevice(5);
    Drivers().AddIntercomDevice(9, &device);
    EXPECT_EQ("5 9", Order());
    EXPECT_EQ("5 5", Listed());  // the device describes itself, twice
}

TEST_F(DeviceOrder, NeverListsTheIdOfTheFirstUser) {
    Start();
    AddDevice(99999);
    AddDevice(100000);
    EXPECT_EQ("99999 100000", Order());
    EXPECT_EQ("100000", Listed());
}

TEST_F(DeviceOrder, GrowsWithoutMarkOrEventByUpdateDeviceOrder) {
    Start();
    Agent().UpdateDeviceOrder(5);
    Agent().UpdateDeviceOrder(3);
    Agent().UpdateDeviceOrder(5);
    EXPECT_EQ("5 3", Order());
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(DeviceOrder, OutlivesARestart) {
    Start();
    SetOrder("<l><i>5</i><i>3</i><i>5</i></l>");
    Restart();
    EXPECT_EQ("5 3 5", Order());
    AddDevice(3);
    AddDevice(9);
    AddDevice(5);
    EXPECT_EQ("5 3 5 9", Listed());
}

TEST_F(DeviceOrder, ADeviceMayRemoveAndDeleteItselfWhileItIsListed) {
    Start();
    FakeDevice& device = AddDevice(3);
    AddDevice(5);
    device.Next("toXml", [&] { RemoveAndDelete(device); });
    EXPECT_EQ("3 5", Listed());
    EXPECT_EQ("5", Listed());
}

TEST_F(DeviceOrder, ADeviceRemovedByAnotherOneIsNotListed) {
    Start();
    FakeDevice& first = AddDevice(3);
    FakeDevice& second = AddDevice(5);
    AddDevice(9);
    first.Next("toXml", [&] { RemoveAndDelete(second); });
    EXPECT_EQ("3 9", Listed());
}

TEST_F(DeviceOrder, ADeviceMayAddOthersWhileItIsListed) {
    Start();
    std::vector<FakeDevice*> late;
    for (unsigned long id = 100; id < 120; ++id)
        late.push_back(&NewDevice(id));
    AddDevice(3).Next("toXml", [&] {
        for (FakeDevice* const device : late)
            Agent().AddIntercomDevice(device->id, device);
    });
    AddDevice(5);
    EXPECT_EQ("3 5", Listed().substr(0, 3));
    EXPECT_NE(nullptr, Drivers().GetIntercomDevice(119));
}

TEST_F(DeviceOrder, MayBeReplacedWhileDevicesAreListed) {
    Start();
    AddDevice(3).Next("toXml", [&] { SetOrder("<l><i>5</i></l>"); });
    AddDevice(5);
    Listed();
    EXPECT_EQ("5", Listed());
}

TEST_F(DeviceOrder, WhatADeviceThrowsWhileItIsListedReachesTheCaller) {
    Start();
    AddDevice(3).Next("toXml", [] { throw std::runtime_error("busy"); });
    EXPECT_THROW(Drivers().GetDeviceList(), std::runtime_error);
    EXPECT_EQ("3", Listed());
}

TEST_F(DeviceOrder, IsReadWhateverEncodingItsTextDeclares) {
    Start();
    EXPECT_EQ("<success/>",
              SetOrder("<?xml version=\"1.0\" encoding=\"utf-16\"?><ids><id>3</id><id>9</id></ids>"));
    EXPECT_EQ("3 9", Order());
}

}  // namespace
