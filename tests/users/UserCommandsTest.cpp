// The commands on SIP users, which see every device of the registry.
#include <memory>
#include <stdexcept>

#include "host/glue/LiveObjects.h"
#include "tests/support/AgentFixture.h"

namespace {

using test::FakeDevice;
using test::Message;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Shared by the fixtures below.
class UserFixture : public test::AgentFixture {
protected:
    /// A new user; what adding it recorded is forgotten.
    ISupportIntercom& NewUser(const std::string& key) {
        const unsigned long id = NextUserId();
        EXPECT_EQ("<success/>", Ui("addUser", {{"key", key}}));
        Take();
        return *Agent().getIntercomDevice(id);
    }
    /// The id of the next user; asking uses up one id.
    static unsigned long NextUserId() { return ReproUser(*Message("addUser", {})).getDeviceId() + 1; }

    FakeDevice& AddKey(unsigned long id, const std::string& key) {
        FakeDevice& device = AddDevice(id);
        device.deviceKey = key;
        return device;
    }
    std::string Erase(const std::string& key) { return Ui("eraseUser", {{"key", key}}); }
    std::string GetKey(const std::string& key) { return Ui("getUser", {{"key", key}}); }
    std::string GetIndex(const std::string& index) { return Ui("getUser", {{"index", index}}); }
    static std::string Event(const std::string& name, unsigned long id) {
        return "ui <" + name + "><id>" + std::to_string(id) + "</id></" + name + ">";
    }
    static std::string NotThatMany(const std::string& index) {
        return "<fail>No entity located at index " + index + ".  Not that many items</fail>";
    }
};

class AddUser : public UserFixture {};
class EraseUser : public UserFixture {};
class GetUser : public UserFixture {};
class UserLifetime : public UserFixture {
protected:
    const long aliveBefore_ = dv::LiveObjects::Count();
    long NewObjects() const { return dv::LiveObjects::Count() - aliveBefore_; }
};

TEST_F(AddUser, StartsTheProxyAnnouncesTheDeviceAndThenMarksTheState) {
    Start();
    const unsigned long id = NextUserId();
    EXPECT_EQ("<success/>", Ui("addUser", {{"key", "ann"}, {"user", "a"}}));
    EXPECT_THAT(Take(), ElementsAre("sysman enable sipproxy", "log 6 IntercomAgent enable sipproxy",
                                    Event("DeviceAdded", id), "mark"));
    EXPECT_EQ(Agent().getIntercomDevice(id), Agent().getIntercomDevice("ann"));
    EXPECT_EQ("a", Agent().getIntercomDevice(id)->getIntercomName());
}

TEST_F(AddUser, InSipModeLeavesTheProxyAlone) {
    Start();
    AddDevice(5, 2);
    const unsigned long id = NextUserId();
    Ui("addUser", {{"key", "ann"}});
    EXPECT_THAT(Take(), ElementsAre(Event("DeviceAdded", id), "mark"));
}

TEST_F(AddUser, AnnouncesAndMarksBeforeItPassesOnWhatAnotherDriverThrows) {
    Start();
    AddDevice(5).Next("getVersion", [] { throw std::runtime_error("no line"); });
    const unsigned long id = NextUserId();
    EXPECT_THROW(Ui("addUser", {{"key", "ann"}}), std::runtime_error);
    EXPECT_THAT(Take(), ElementsAre(Event("DeviceAdded", id), "mark"));
    EXPECT_EQ(Agent().getIntercomDevice(id), Agent().getIntercomDevice("ann"));
}

TEST_F(AddUser, WithAKeyThatIsTakenAddsAnother) {
    Start();
    const ISupportIntercom& first = NewUser("ann");
    const ISupportIntercom& second = NewUser("ann");
    EXPECT_NE(first.getDeviceId(), second.getDeviceId());
    EXPECT_EQ("<key>ann</key>", GetIndex("0"));
    EXPECT_EQ("<key>ann</key>", GetIndex("1"));
    EXPECT_EQ(&first, Agent().getIntercomDevice("ann"));
}

TEST_F(AddUser, WithoutParametersAddsAUserWithAnEmptyKey) {
    Start();
    const unsigned long id = NextUserId();
    EXPECT_EQ("<success/>", Ui("addUser"));
    ASSERT_NE(nullptr, Agent().getIntercomDevice(""));
    EXPECT_EQ(id, Agent().getIntercomDevice("")->getDeviceId());
}

TEST_F(AddUser, PutsTheUserAtTheEndOfTheDisplayOrder) {
    Start();
    AddDevice(5);
    const std::string id = std::to_string(NewUser("ann").getDeviceId());
    EXPECT_THAT(State(),
                HasSubstr("<devices><idDevice>5</idDevice><idDevice>" + id + "</idDevice></devices>"));
}

TEST_F(AddUser, MakesNoUserThatOutlivesTheAgent) {
    Start();
    const unsigned long first = NewUser("ann").getDeviceId();
    Restart();
    EXPECT_EQ(nullptr, Agent().getIntercomDevice("ann"));
    EXPECT_EQ("<fail>Unable to find sip entity ann.</fail>", GetKey("ann"));
    EXPECT_LT(first, NewUser("ann").getDeviceId());
}

TEST_F(EraseUser, StopsTheProxyAnnouncesItAndMarksNothing) {
    Start();
    const unsigned long id = NewUser("ann").getDeviceId();
    EXPECT_EQ("<success/>", Erase("ann"));
    EXPECT_THAT(Take(), ElementsAre("sysman disable sipproxy", "log 6 IntercomAgent disable sipproxy",
                                    Event("DeviceRemoved", id)));
    EXPECT_EQ(nullptr, Agent().getIntercomDevice(id));
}

TEST_F(EraseUser, OfAnUnknownKeyFailsAndSendsNothing) {
    Start();
    AddKey(5, "hall");
    EXPECT_EQ("<fail>Unable to erase sip entity Hall, entity not found.</fail>", Erase("Hall"));
    EXPECT_EQ("<fail>Unable to erase sip entity a&lt;b, entity not found.</fail>", Erase("a<b"));
    EXPECT_EQ("<fail>Unable to erase sip entity , entity not found.</fail>", Ui("eraseUser"));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(EraseUser, UnregistersADriversDeviceJustTheSame) {
    Start();
    FakeDevice& device = AddKey(5, "hall");
    EXPECT_EQ("<success/>", Erase("hall"));
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceRemoved><id>5</id></DeviceRemoved>"));
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
    EXPECT_EQ("hall", device.getKey());
}

TEST_F(EraseUser, WithoutAKeyUnregistersADeviceThatHasNone) {
    Start();
    AddKey(3, "hall");
    AddKey(5, "");
    EXPECT_EQ("<success/>", Ui("eraseUser"));
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
    EXPECT_NE(nullptr, Drivers().GetIntercomDevice(3));
}

TEST_F(EraseUser, OfTwoDevicesWithOneKeyTakesTheLowerId) {
    Start();
    AddKey(9, "hall");
    AddKey(5, "hall");
    EXPECT_EQ("<success/>", Erase("hall"));
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(5));
    EXPECT_NE(nullptr, Drivers().GetIntercomDevice(9));
}

TEST_F(EraseUser, TakesTheDeviceOutOfEveryGroup) {
    Start();
    AddKey(5, "hall");
    Ui("addGroup", {{"name", "Up"}});
    Agent().SetGroupState(1, "Up", {5, 3});
    Erase("hall");
    EXPECT_EQ("<group><groupId>1</groupId><name>Up</name><devices><device>3</device></devices></group>",
              Ui("getGroup", {{"groupId", "1"}}));
}

TEST_F(EraseUser, RemovesTheIdThatTheDeviceGivesItself) {
    Start();
    AddKey(5, "hall").id = 9;
    AddKey(9, "attic");
    EXPECT_EQ("<success/>", Erase("hall"));
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceRemoved><id>9</id></DeviceRemoved>"));
    EXPECT_NE(nullptr, Drivers().GetIntercomDevice(5));
}

TEST_F(EraseUser, OfADeviceThatRemovesAndDeletesItselfMeanwhileSucceeds) {
    Start();
    FakeDevice& device = AddKey(5, "hall");
    device.Next("getDeviceId", [&] { RemoveAndDelete(device); });
    EXPECT_EQ("<success/>", Erase("hall"));
    EXPECT_THAT(Take(), ElementsAre("ui <DeviceRemoved><id>5</id></DeviceRemoved>"));
}

TEST_F(EraseUser, PassesOverADeviceThatGoesWhenItIsAskedForItsKey) {
    Start();
    FakeDevice& device = AddKey(5, "hall");
    AddKey(9, "hall");
    device.Next("getKey", [&] { RemoveAndDelete(device); });
    EXPECT_EQ("<success/>", Erase("hall"));
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(9));
}

TEST_F(EraseUser, PassesOnWhatADeviceThrowsAndErasesNothing) {
    Start();
    FakeDevice& device = AddKey(5, "hall");
    for (const std::string question : {"getKey", "getDeviceId"}) {
        device.Next(question, [] { throw std::runtime_error("no line"); });
        EXPECT_THROW(Erase("hall"), std::runtime_error) << question;
    }
    EXPECT_NE(nullptr, Drivers().GetIntercomDevice(5));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(GetUser, ByKeyAnswersTheDevicesFullDescription) {
    Start();
    AddKey(5, "hall");
    ISupportIntercom& user = NewUser("ann");
    EXPECT_EQ("<device><id>5</id><prop>0</prop></device>", GetKey("hall"));
    EXPECT_EQ(test::Text(user.toXml(dvIntercom::DEVICE_CHANGED)), GetKey("ann"));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(GetUser, ByKeyTakesTheLowerIdOfTwo) {
    Start();
    AddKey(9, "hall");
    AddKey(5, "hall");
    EXPECT_EQ("<device><id>5</id><prop>0</prop></device>", GetKey("hall"));
}

TEST_F(GetUser, ByAnUnknownKeyFails) {
    Start();
    AddKey(5, "hall");
    EXPECT_EQ("<fail>Unable to find sip entity Hall.</fail>", GetKey("Hall"));
    EXPECT_EQ("<fail>Unable to find sip entity .</fail>", GetKey(""));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(GetUser, ByIndexAnswersKeysOfEveryDeviceByAscendingIdUntilItFails) {
    Start();
    AddKey(3000000000UL, "last");
    AddKey(9, "attic");
    AddKey(5, "");
    NewUser("ann");
    EXPECT_EQ("<key/>", GetIndex("0"));
    EXPECT_EQ("<key>attic</key>", GetIndex("1"));
    EXPECT_EQ("<key>ann</key>", GetIndex("2"));
    EXPECT_EQ("<key>last</key>", GetIndex("3"));
    EXPECT_EQ(NotThatMany("4"), GetIndex("4"));
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(GetUser, WithoutDevicesHasNoIndexAtAll) {
    Start();
    EXPECT_EQ(NotThatMany("0"), GetIndex("0"));
    EXPECT_EQ(NotThatMany("0"), GetIndex(""));
}

TEST_F(GetUser, ReadsAnIndexUpToTheFirstOtherCharacter) {
    Start();
    AddKey(5, "hall");
    AddKey(9, "attic");
    EXPECT_EQ("<key>hall</key>", GetIndex("abc"));
    EXPECT_EQ("<key>hall</key>", GetIndex(""));
    EXPECT_EQ("<key>attic</key>", GetIndex(" +1x"));
}

TEST_F(GetUser, TakesAnIndexModulo32BitsBelowZeroAndSaturatedAbove) {
    Start();
    AddKey(5, "hall");
    EXPECT_EQ(NotThatMany("4294967295"), GetIndex("-1"));
    EXPECT_EQ(NotThatMany("2147483648"), GetIndex("-2147483648"));
    EXPECT_EQ(NotThatMany("2147483648"), GetIndex("2147483648"));
    EXPECT_EQ(NotThatMany("4294967295"), GetIndex("4294967296"));
    EXPECT_EQ(NotThatMany("4294967295"), GetIndex("99999999999999999999"));
}

TEST_F(GetUser, NeverTakesAnIndexFarBelowZeroForASmallOne) {
    Start();
    AddKey(5, "hall");
    AddKey(9, "attic");
    for (const std::string index : {"-2147483649", "-4294967295", "-4294967296", "-99999999999999999999"})
        EXPECT_EQ(NotThatMany("2147483648"), GetIndex(index)) << index;
}

TEST_F(GetUser, AskedForKeyAndIndexLooksAtTheKeyOnly) {
    Start();
    AddKey(5, "hall");
    AddKey(9, "attic");
    EXPECT_EQ("<device><id>9</id><prop>0</prop></device>", Ui("getUser", {{"index", "0"}, {"key", "attic"}}));
    EXPECT_EQ("<fail>Unable to find sip entity .</fail>", Ui("getUser", {{"key", ""}, {"index", "0"}}));
}

TEST_F(GetUser, AskedForNeitherKeyNorIndexFails) {
    Start();
    AddKey(5, "hall");
    EXPECT_EQ("<fail>OnReqGetUser: Invalid parameters</fail>", Ui("getUser"));
    EXPECT_EQ("<fail>OnReqGetUser: Invalid parameters</fail>", Ui("getUser", {{"Key", "hall"}}));
}

TEST_F(GetUser, AnswersThoughTheDeviceRemovesAndDeletesItselfMeanwhile) {
    Start();
    FakeDevice& first = AddKey(5, "hall");
    FakeDevice& second = AddKey(9, "attic");
    first.Next("toXml", [&] { RemoveAndDelete(first); });
    EXPECT_EQ("<device><id>5</id><prop>0</prop></device>", GetKey("hall"));
    second.Next("getKey", [&] { RemoveAndDelete(second); });
    EXPECT_EQ("<key>attic</key>", GetIndex("0"));
    EXPECT_EQ(NotThatMany("0"), GetIndex("0"));
}

TEST_F(GetUser, PassesOnWhatADeviceThrows) {
    Start();
    FakeDevice& device = AddKey(5, "hall");
    device.Next("toXml", [] { throw std::runtime_error("no line"); });
    EXPECT_THROW(GetKey("hall"), std::runtime_error);
    device.Next("getKey", [] { throw std::runtime_error("no line"); });
    EXPECT_THROW(GetIndex("0"), std::runtime_error);
    EXPECT_EQ("<key>hall</key>", GetIndex("0"));
}

TEST_F(UserLifetime, LastsUntilTheAgentEndsThoughTheUserIsErased) {
    Start();
    const long before = NewObjects();
    const ISupportIntercom& user = NewUser("ann");
    Erase("ann");
    EXPECT_EQ(before + 1, NewObjects());
    EXPECT_EQ(2, user.getVersion());
    Stop();
    EXPECT_EQ(before, NewObjects());
}

TEST_F(UserLifetime, LastsUntilTheAgentEndsThoughAnotherDeviceTakesItsId) {
    Start();
    const long before = NewObjects();
    const ISupportIntercom& user = NewUser("ann");
    AddDevice(user.getDeviceId());
    EXPECT_EQ(before + 1, NewObjects());
    EXPECT_EQ(2, user.getVersion());
    Stop();
    EXPECT_EQ(before, NewObjects());
}

TEST_F(UserLifetime, OfAUserRegisteredAgainAfterItWasErasedEndsOnce) {
    Start();
    const long before = NewObjects();
    ISupportIntercom& user = NewUser("ann");
    Erase("ann");
    Drivers().AddIntercomDevice(4, &user);
    Stop();
    EXPECT_EQ(before, NewObjects());
}

TEST_F(UserLifetime, OfAnotherOnesUserThatIsNotRegisteredAnyMoreIsNotTheAgents) {
    Start();
    const auto user = std::make_unique<ReproUser>(*Message("addUser", {{"key", "ann"}}));
    const long before = NewObjects();
    Drivers().AddIntercomDevice(4, user.get());
    Drivers().OnDeviceRemoved(4);
    Stop();
    EXPECT_EQ(before, NewObjects());
    EXPECT_EQ("ann", user->getKey());
}

TEST_F(UserLifetime, EndsWithTheAgentThatIsDeletedWithoutItsEnd) {
    Create();
    const auto config = DvXML::CreateXmlNode("config", "");
    Agent().Initialize(kDriverId, *config, nullptr);
    AddDevice(5);
    NewUser("ann");
    Erase("ann");
    NewUser("bob");
    Take();
    Delete();
    EXPECT_EQ(1, NewObjects());  // the config element
    EXPECT_THAT(Take(), ElementsAre("withdraw all"));
}

}  // namespace
