// What groups hold: lists of groups, the computed group of all devices, members and their keys.
#include <stdexcept>

#include "tests/support/AgentFixture.h"

namespace {

using test::FakeDevice;
using test::Text;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kEmptyAll[] = "<group><groupId>0</groupId><name>All</name></group>";

class GroupList : public test::AgentFixture {};

class GroupOfAllDevices : public test::AgentFixture {
protected:
    std::string GetAll() { return Ui("getGroup", {{"groupId", "0"}}); }
    /// The element of the group with these members.
    static std::string All(const std::vector<unsigned long>& ids) {
        std::string xml = "<group><groupId>0</groupId><name>All</name><devices>";
        for (const unsigned long id : ids)
            xml.append("<device>").append(std::to_string(id)).append("</device>");
        return xml + "</devices></group>";
    }
};

class StoredMembers : public test::AgentFixture {
protected:
    std::vector<unsigned long> ids{8, 8};
};

class SipUserGroup : public test::AgentFixture {
protected:
    FakeDevice& AddKey(unsigned long id, const std::string& key) {
        FakeDevice& device = AddDevice(id);
        device.deviceKey = key;
        return device;
    }
    void AddGroup(const std::string& name, const std::vector<unsigned long>& members) {
        Ui("addGroup", {{"name", name}});
        Agent().SetGroupState(++lastGroup_, name, members);
        Take();
    }
    std::string Get(const std::string& name) { return Ui("getSipUserGroup", {{"groupName", name}}); }

private:
    int lastGroup_ = 0;
};

TEST_F(GroupList, OfAFreshAgentHoldsTheGroupOfAllDevicesOnly) {
    Start();
    Take();
    EXPECT_EQ(std::string("<groups>") + kEmptyAll + "</groups>", Ui("getGroupList"));
    EXPECT_EQ("<groups/>", Text(Drivers().GetGroupList(false)));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(GroupList, BeginsWithTheGroupOfAllDevicesAndGoesOnByAscendingId) {
    Start(
        "<IntercomState><groups><group><groupId>10</groupId><name>c</name></group>"
        "<group><groupId>2</groupId><name>b</name></group>"
        "<group><groupId>-5</groupId><name>a</name></group></groups></IntercomState>");
    const std::string stored =
        "<group><groupId>-5</groupId><name>a</name></group><group><groupId>2</groupId><name>b</name></group>"
        "<group><groupId>10</groupId><name>c</name></group></groups>";
    EXPECT_EQ(std::string("<groups>") + kEmptyAll + stored, Ui("getGroupList"));
    EXPECT_EQ(std::string("<groups>") + kEmptyAll + stored, Text(Drivers().GetGroupList(true)));
    EXPECT_EQ("<groups>" + stored, Text(Drivers().GetGroupList(false)));
}

TEST_F(GroupList, ShowsMembersOfEachGroup) {
    Start();
    AddDevice(5);
    Ui("addGroup", {{"name", "Hall"}});
    Agent().SetGroupState(1, "Hall", {7, 5});
    EXPECT_EQ(
        "<groups><group><groupId>0</groupId><name>All</name><devices><device>5</device></devices></group>"
        "<group><groupId>1</groupId><name>Hall</name>"
        "<devices><device>7</device><device>5</device></devices></group></groups>",
        Ui("getGroupList"));
}

TEST_F(GroupList, AStoredGroupOfIdZeroDoesNotHideTheGroupOfAllDevices) {
    Start(
        "<IntercomState><groups><group><groupId>0</groupId><name>z</name></group></groups></IntercomState>");
    EXPECT_EQ(kEmptyAll, Ui("getGroup", {{"groupId", "0"}}));
    EXPECT_EQ(
        std::string("<groups>") + kEmptyAll + "<group><groupId>0</groupId><name>z</name></group></groups>",
        Ui("getGroupList"));
}

TEST_F(GroupList, ShowsGroupsThatADeviceChangedWhenAsked) {
    Start();
    Ui("addGroup", {{"name", "Hall"}});
    AddDevice(5).Next("isDoorStation", [&] {
        Ui("deleteGroup", {{"groupId", "1"}});
        Ui("addGroup", {{"name", "Attic"}});
    });
    EXPECT_EQ(
        "<groups><group><groupId>0</groupId><name>All</name><devices><device>5</device></devices></group>"
        "<group><groupId>2</groupId><name>Attic</name></group></groups>",
        Ui("getGroupList"));
}

TEST_F(GroupList, AnUnknownGroupFails) {
    Start();
    Ui("addGroup", {{"name", "Hall"}});
    Take();
    for (const std::string id : {"2", "-1", "4294967297", "99999999999999999999"})
        EXPECT_EQ("<fail/>", Ui("getGroup", {{"groupId", id}})) << id;
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(GroupList, TheHighestAndLowestIdsCanBeAskedFor) {
    Start(
        "<IntercomState><groups><group><groupId>2147483647</groupId><name>h</name></group>"
        "<group><groupId>-2147483648</groupId><name>l</name></group></groups></IntercomState>");
    EXPECT_EQ("<group><groupId>2147483647</groupId><name>h</name></group>",
              Ui("getGroup", {{"groupId", "4294967296"}}));
    EXPECT_EQ("<group><groupId>-2147483648</groupId><name>l</name></group>",
              Ui("getGroup", {{"groupId", "-4294967296"}}));
}

TEST_F(GroupOfAllDevices, IsWhatAnIdThatIsNoNumberReads) {
    Start();
    EXPECT_EQ(kEmptyAll, Ui("getGroup"));
    EXPECT_EQ(kEmptyAll, Ui("getGroup", {{"groupId", ""}}));
    EXPECT_EQ(kEmptyAll, Ui("getGroup", {{"groupId", "All"}}));
}

TEST_F(GroupOfAllDevices, HoldsEveryDeviceButDoorStationsInAscendingOrder) {
    Start();
    for (const unsigned long id : {9UL, 3UL, 3000000000UL, 5UL})
        AddDevice(id);
    AddDevice(4).doorStation = true;
    EXPECT_EQ(All({3, 5, 9, 3000000000UL}), GetAll());
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(GroupOfAllDevices, IsWorkedOutEachTimeItIsAskedFor) {
    Start();
    FakeDevice& device = AddDevice(5);
    EXPECT_EQ(All({5}), GetAll());
    device.doorStation = true;
    EXPECT_EQ(kEmptyAll, GetAll());
    device.doorStation = false;
    Drivers().OnDeviceRemoved(5);
    EXPECT_EQ(kEmptyAll, GetAll());
}

TEST_F(GroupOfAllDevices, HoldsTheIdsThatDevicesGiveThemselvesEachOnce) {
    Start();
    AddDevice(3).id = 40;
    AddDevice(5).id = 7;
    AddDevice(7);
    AddDevice(9).id = 40;
    EXPECT_EQ(All({40, 7}), GetAll());
}

TEST_F(GroupOfAllDevices, HoldsSipUsers) {
    Start();
    Ui("addUser", {{"key", "ann"}});
    const ISupportIntercom* const user = Agent().getIntercomDevice("ann");
    ASSERT_NE(nullptr, user);
    EXPECT_EQ(All({user->getDeviceId()}), GetAll());
}

TEST_F(GroupOfAllDevices, LeavesOutADeviceThatRemovesAndDeletesItselfWhenAsked) {
    Start();
    for (const std::string question : {"isDoorStation", "getDeviceId"}) {
        FakeDevice& device = AddDevice(3);
        AddDevice(5);
        device.Next(question, [&] { RemoveAndDelete(device); });
        GetAll();
        EXPECT_EQ(All({5}), GetAll()) << question;
    }
}

TEST_F(GroupOfAllDevices, LeavesOutADeviceThatAnotherOneRemovesWhenAsked) {
    Start();
    FakeDevice& gone = AddDevice(5);
    AddDevice(3).Next("isDoorStation", [&] { RemoveAndDelete(gone); });
    AddDevice(9);
    EXPECT_EQ(All({3, 9}), GetAll());
}

TEST_F(GroupOfAllDevices, AsksTheDeviceThatTookAnothersPlace) {
    Start();
    FakeDevice& replaced = AddDevice(5);
    FakeDevice& station = NewDevice(5, 1, "station");
    station.doorStation = true;
    AddDevice(3).Next("isDoorStation", [&] { ReplaceAndDelete(replaced, station); });
    EXPECT_EQ(All({3}), GetAll());
}

TEST_F(GroupOfAllDevices, LeavesOutADeviceThatAnotherOneRemovesWhenAskedForItsId) {
    Start();
    FakeDevice& gone = AddDevice(5);
    AddDevice(3).Next("getDeviceId", [&] { RemoveAndDelete(gone); });
    EXPECT_EQ(All({3}), GetAll());
}

TEST_F(GroupOfAllDevices, PassesOnWhatADeviceThrows) {
    Start();
    for (const std::string question : {"isDoorStation", "getDeviceId"}) {
        AddDevice(3).Next(question, [] { throw std::runtime_error("no line"); });
        EXPECT_THROW(GetAll(), std::runtime_error) << question;
        EXPECT_EQ(All({3}), GetAll()) << question;
    }
}

TEST_F(StoredMembers, ReplaceTheCallersList) {
    Start();
    Ui("addGroup", {{"name", "Hall"}});
    Agent().SetGroupState(1, "Hall", {7, 5, 7});
    Drivers().GetDeviceListByGroup(ids, 1);
    EXPECT_THAT(ids, ElementsAre(7, 5, 7));
}

TEST_F(StoredMembers, OfAnEmptyGroupEmptyTheCallersList) {
    Start();
    Ui("addGroup", {{"name", "Hall"}});
    Drivers().GetDeviceListByGroup(ids, 1);
    EXPECT_THAT(ids, IsEmpty());
}

TEST_F(StoredMembers, OfUnknownGroupsAndOfTheGroupOfAllDevicesLeaveTheCallersListAlone) {
    Start();
    AddDevice(5);
    for (const int group : {1, 0, -1})
        Drivers().GetDeviceListByGroup(ids, group);
    EXPECT_THAT(ids, ElementsAre(8, 8));
}

TEST_F(StoredMembers, LoseADeviceThatIsRemovedFromEveryGroupOnce) {
    Start();
    Ui("addGroup", {{"name", "a"}});
    Ui("addGroup", {{"name", "b"}});
    Agent().SetGroupState(1, "a", {5, 3, 5});
    Agent().SetGroupState(2, "b", {3, 5});
    AddDevice(5);
    Drivers().OnDeviceRemoved(5);
    Drivers().GetDeviceListByGroup(ids, 1);
    EXPECT_THAT(ids, ElementsAre(3, 5));
    Drivers().GetDeviceListByGroup(ids, 2);
    EXPECT_THAT(ids, ElementsAre(3));
}

TEST_F(SipUserGroup, OfAStoredGroupHoldsTheKeysOfItsRegisteredMembersInItsOrder) {
    Start();
    AddKey(3, "hall");
    AddKey(5, "attic").doorStation = true;
    AddKey(7, "other");
    AddGroup("Up", {5, 99, 3, 5});
    EXPECT_EQ("<SipGroup><GroupName>Up</GroupName><key>attic</key><key>hall</key><key>attic</key></SipGroup>",
              Get("Up"));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(SipUserGroup, OfAllHoldsTheKeysOfEveryDeviceButDoorStations) {
    Start();
    AddKey(5, "attic");
    AddKey(3, "");
    AddKey(4, "door").doorStation = true;
    Ui("addUser", {{"key", "ann"}});
    EXPECT_EQ("<SipGroup><GroupName>All</GroupName><key/><key>attic</key><key>ann</key></SipGroup>",
              Get("All"));
}

TEST_F(SipUserGroup, OfAllIsNotAStoredGroupThatWasRenamedSo) {
    Start();
    AddKey(3, "hall");
    AddKey(5, "attic");
    AddGroup("Up", {5});
    Agent().SetGroupState(1, "All", {5});
    EXPECT_EQ("<SipGroup><GroupName>All</GroupName><key>hall</key><key>attic</key></SipGroup>", Get("All"));
}

TEST_F(SipUserGroup, WithoutRegisteredMembersHasNoKeys) {
    Start();
    AddGroup("Up", {5, 3});
    EXPECT_EQ("<SipGroup><GroupName>Up</GroupName></SipGroup>", Get("Up"));
    EXPECT_EQ("<SipGroup><GroupName>All</GroupName></SipGroup>", Get("All"));
}

TEST_F(SipUserGroup, OfTwoGroupsWithOneNameIsTheOneWithTheLowerId) {
    Start();
    AddKey(3, "hall");
    AddKey(5, "attic");
    AddGroup("a", {3});
    AddGroup("b", {5});
    Agent().SetGroupState(1, "b", {3});
    EXPECT_EQ("<SipGroup><GroupName>b</GroupName><key>hall</key></SipGroup>", Get("b"));
}

TEST_F(SipUserGroup, OfAnUnknownNameFails) {
    Start();
    AddGroup("Up", {});
    for (const std::string name : {"up", "Up ", "", "all", "ALL"})
        EXPECT_EQ("<fail/>", Get(name)) << name;
    EXPECT_EQ("<fail/>", Ui("getSipUserGroup"));
}

TEST_F(SipUserGroup, OfTheEmptyNameIsTheGroupWithoutAName) {
    Start();
    AddGroup("", {});
    EXPECT_EQ("<SipGroup><GroupName/></SipGroup>", Ui("getSipUserGroup"));
}

TEST_F(SipUserGroup, LeavesOutDevicesThatGoWhileTheirKeysAreAskedFor) {
    Start();
    FakeDevice& gone = AddKey(5, "attic");
    FakeDevice& first = AddKey(3, "hall");
    AddKey(9, "cellar");
    AddGroup("Up", {3, 5, 9});
    first.Next("getKey", [&] {
        RemoveAndDelete(gone);
        Ui("deleteGroup", {{"groupId", "1"}});
    });
    EXPECT_EQ("<SipGroup><GroupName>Up</GroupName><key>hall</key><key>cellar</key></SipGroup>", Get("Up"));
}

TEST_F(SipUserGroup, OfAllLeavesOutADeviceThatGoesAfterItWasFound) {
    Start();
    AddKey(3, "hall");
    FakeDevice& gone = AddKey(5, "attic");
    gone.Next("isDoorStation", [&] { RemoveAndDelete(gone); });
    EXPECT_EQ("<SipGroup><GroupName>All</GroupName><key>hall</key></SipGroup>", Get("All"));
}

TEST_F(SipUserGroup, PassesOnWhatADeviceThrows) {
    Start();
    AddKey(3, "hall").Next("getKey", [] { throw std::runtime_error("no line"); });
    EXPECT_THROW(Get("All"), std::runtime_error);
    EXPECT_EQ("<SipGroup><GroupName>All</GroupName><key>hall</key></SipGroup>", Get("All"));
}

}  // namespace
