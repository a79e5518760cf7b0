// How the agent comes into being, starts and ends.
#include <stdexcept>

#include "host/glue/LiveObjects.h"
#include "host/interfaces/InterfaceIds.h"
#include "tests/support/AgentFixture.h"

namespace {

using test::FakeDevice;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kRegister[] = "register F2AE00A1-E2AF-4126-8F6F-137A42247E11";
constexpr char kUnregister[] = "unregister F2AE00A1-E2AF-4126-8F6F-137A42247E11";
constexpr char kFind[] = "find 0 06F75521-4342-406b-ACE5-91D6EF4CE431";
constexpr char kNotExternal[] = "ui <AGENT_EXTERNAL><id>77</id><state>0</state></AGENT_EXTERNAL>";
constexpr char kExternal[] = "ui <AGENT_EXTERNAL><id>77</id><state>1</state></AGENT_EXTERNAL>";

class AgentCreation : public test::AgentFixture {};
class AgentStart : public test::AgentFixture {
protected:
    /// A driver that is running already and answers by registering its device.
    FakeDevice& RunningDriver(unsigned long id) {
        FakeDevice& driver = NewDevice(id);
        driver.Every("requestToAddDevice", [&] { Drivers().AddIntercomDevice(driver.id, &driver); });
        host.drivers.push_back(&driver);
        return driver;
    }
};
class AgentInterfaces : public test::AgentFixture {};
class AgentEnd : public test::AgentFixture {};

TEST_F(AgentCreation, RestartsTheSipProxyOnce) {
    Create();
    EXPECT_THAT(Take(), ElementsAre("sysman kill sipproxy", "log 6 IntercomAgent kill sipproxy",
                                    "sysman enable sipproxy", "log 6 IntercomAgent enable sipproxy"));
}

TEST_F(AgentCreation, EnablesTheSipProxyWhateverBecameOfTheKill) {
    sysman.FailToOpen();
    Create();
    EXPECT_THAT(Take(), ElementsAre("sysman kill sipproxy", "log 3 failed to open connection to sysman",
                                    "sysman enable sipproxy", "log 6 IntercomAgent enable sipproxy"));
}

TEST_F(AgentCreation, MakesAnAgentOfWhichAHostHoldsOne) {
    Create();
    EXPECT_EQ(0, Agent().GetMultiplicity());
}

TEST_F(AgentCreation, PassesOnWhatTheConstructorThrowsAndLeavesNothingBehind) {
    const long alive = dv::LiveObjects::Count();
    recorder.Next("sysman kill", [] { throw std::runtime_error("no memory for a process"); });
    EXPECT_THROW(Create(), std::runtime_error);
    EXPECT_EQ(alive, dv::LiveObjects::Count());
    EXPECT_THAT(host.Published(), IsEmpty());
    EXPECT_THAT(host.Listeners(), IsEmpty());
}

TEST_F(AgentStart, PublishesListensAnnouncesAndLooksForDriversInThisOrder) {
    Create();
    Take();
    Initialize();
    EXPECT_THAT(Take(),
                ElementsAre(kRegister, "listen 11 0", "listen 8 0", "listen 12 0", kNotExternal, kFind));
}

TEST_F(AgentStart, SaysSoWhenItCannotBePublished) {
    host.InstanceRegisterInterface(IntercomAgentInterfaceId, this);
    Create();
    Take();
    Initialize();
    EXPECT_THAT(Take("log "),
                ElementsAre("log 3 IntercomAgent: not published (-1), so device drivers will not find it; is "
                            "there another intercom agent in this home?"));
}

TEST_F(AgentStart, HasEveryCommandInPlaceBeforeTheAgentCanBeFound) {
    std::size_t ui = 0;
    std::size_t plain = 0;
    recorder.Next("register", [&] {
        ui = Agent().GetUICmdDispatcher().Commands().size();
        plain = Agent().GetCmdDispatcher().Commands().size();
    });
    Start();
    EXPECT_EQ(40U, ui);
    EXPECT_EQ(5U, plain);
}

TEST_F(AgentStart, IsNotExternalBeforeItHasLookedAtItsServices) {
    Create();
    EXPECT_FALSE(Agent().GetExternal());
}

TEST_F(AgentStart, ReadsTheSavedStateAfterListening) {
    Create();
    int before = 0;
    recorder.Next("listen 12", [&] { before = Agent().GetPopupTimeout(); });
    Initialize("<IntercomState><nextGroupId>1</nextGroupId><popupTimeout>33</popupTimeout></IntercomState>");
    EXPECT_EQ(20, before);
    EXPECT_EQ(33, Agent().GetPopupTimeout());
}

TEST_F(AgentStart, WithSavedServicesIsExternal) {
    Create();
    Take();
    Initialize("<IntercomState><services><service>p<name>p</name></service></services></IntercomState>");
    EXPECT_THAT(Take(), ElementsAre(kRegister, "listen 11 0", "listen 8 0", "listen 12 0",
                                    "log 7 IntercomAgent checking services",
                                    "log 7 IntercomAgent has services", kExternal, kFind));
    EXPECT_TRUE(Agent().GetExternal());
}

TEST_F(AgentStart, GivesTheControllersOwnAddressASipConfigOnPort5060) {
    SetAddress("192.168.1.10");
    Start();
    EXPECT_EQ("<State><key>192.168.1.10</key><domain>192.168.1.10</domain><port>5060</port></State>",
              Ui("getConfig", {{"key", "192.168.1.10"}}));
    EXPECT_EQ("<key>192.168.1.10</key>", Ui("getConfig", {{"index", "0"}}));
    EXPECT_EQ("<fail>No entity located at index 1.  Not that many items</fail>",
              Ui("getConfig", {{"index", "1"}}));
}

TEST_F(AgentStart, KeepsASavedSipConfigOfTheControllersOwnAddress) {
    SetAddress("192.168.1.10");
    Start(
        "<IntercomState><configs><State><key>192.168.1.10</key><domain>home</domain>"
        "<port>5070</port></State></configs></IntercomState>");
    EXPECT_EQ("<State><key>192.168.1.10</key><domain>home</domain><port>5070</port></State>",
              Ui("getConfig", {{"key", "192.168.1.10"}}));
    EXPECT_EQ("<fail>No entity located at index 1.  Not that many items</fail>",
              Ui("getConfig", {{"index", "1"}}));
}

TEST_F(AgentStart, AddsItsOwnSipConfigOnceOverManyRestarts) {
    SetAddress("192.168.1.10");
    Start();
    Restart();
    Restart();
    EXPECT_EQ("<fail>No entity located at index 1.  Not that many items</fail>",
              Ui("getConfig", {{"index", "1"}}));
}

TEST_F(AgentStart, WithoutAnAddressAddsNoSipConfig) {
    SetAddress("");
    Start();
    EXPECT_EQ("<fail>No entity located at index 0.  Not that many items</fail>",
              Ui("getConfig", {{"index", "0"}}));
}

TEST_F(AgentStart, WithoutSavedStateUsesTheDefaults) {
    Start();
    EXPECT_EQ(20, Agent().GetPopupTimeout());
    for (int call = 0; call < 51; ++call)
        Drivers().AddRecentContact("n", "a", "t", "l", true, true);
    EXPECT_EQ("<fail/>", Ui("deleteRecentContact", {{"id", "0"}}));
    EXPECT_EQ("<success/>", Ui("deleteRecentContact", {{"id", "1"}}));
    EXPECT_EQ("<group><groupId>1</groupId><name>Hall</name></group>", Ui("addGroup", {{"name", "Hall"}}));
}

TEST_F(AgentStart, AsksRunningDriversInTheOrderInWhichTheHostFindsThem) {
    host.drivers = {&NewDevice(8), &NewDevice(3), &NewDevice(5)};
    Create();
    Initialize();
    EXPECT_THAT(Take("device "), ElementsAre("device 8 requestToAddDevice", "device 3 requestToAddDevice",
                                             "device 5 requestToAddDevice"));
}

TEST_F(AgentStart, DriversThatAnswerAreRegisteredAfterTheExternalEvent) {
    RunningDriver(8);
    RunningDriver(3);
    Create();
    Initialize();
    EXPECT_THAT(Take("ui "), ElementsAre(kNotExternal, "ui <DeviceAdded><id>8</id></DeviceAdded>",
                                         "ui <DeviceAdded><id>3</id></DeviceAdded>"));
    EXPECT_NE(nullptr, Drivers().GetIntercomDevice(8));
    EXPECT_NE(nullptr, Drivers().GetIntercomDevice(3));
}

TEST_F(AgentStart, ADriverEndedByAnotherOneIsNotAsked) {
    FakeDevice& first = RunningDriver(3);
    FakeDevice& second = RunningDriver(5);
    first.Next("requestToAddDevice", [&] {
        host.drivers.pop_back();
        DeleteDevice(second);
    });
    Create();
    Initialize();
    EXPECT_THAT(Take("ui <DeviceAdded>"), ElementsAre("ui <DeviceAdded><id>3</id></DeviceAdded>"));
}

TEST_F(AgentStart, ADriverMayEndItselfWhileItIsAsked) {
    FakeDevice& first = NewDevice(3);
    host.drivers = {&first, &NewDevice(5)};
    first.Next("requestToAddDevice", [&] {
        Drivers().AddIntercomDevice(3, &first);
        Drivers().OnDeviceRemoved(3);
        host.drivers.erase(host.drivers.begin());
        DeleteDevice(first);
    });
    Create();
    Initialize();
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(3));
    EXPECT_THAT(Take("device 5"), ElementsAre("device 5 requestToAddDevice"));
}

TEST_F(AgentStart, ADriverMayAddAndRemoveDevicesOfOthersWhileItIsAsked) {
    FakeDevice& first = RunningDriver(3);
    FakeDevice& second = NewDevice(5);
    host.drivers.push_back(&second);
    second.Next("requestToAddDevice", [&] {
        Drivers().OnDeviceRemoved(first.id);
        Drivers().AddIntercomDevice(9, &second);
    });
    Create();
    Initialize();
    EXPECT_EQ(nullptr, Drivers().GetIntercomDevice(3));
    EXPECT_EQ(&second, Drivers().GetIntercomDevice(9));
}

TEST_F(AgentStart, OneDriverThatThrowsDoesNotKeepTheOthersOut) {
    FakeDevice& first = NewDevice(3);
    host.drivers.push_back(&first);
    RunningDriver(5);
    first.Next("requestToAddDevice", [] { throw std::runtime_error("no line"); });
    Create();
    Take();
    Initialize();
    EXPECT_NE(nullptr, Drivers().GetIntercomDevice(5));
    EXPECT_THAT(Take("log "),
                ElementsAre("log 3 IntercomAgent: a device driver failed to add its device: no line"));
}

TEST_F(AgentStart, OneDriverThatThrowsNoExceptionObjectDoesNotKeepTheOthersOut) {
    FakeDevice& first = NewDevice(3);
    host.drivers.push_back(&first);
    RunningDriver(5);
    first.Next("requestToAddDevice", [] { throw 7; });
    Create();
    Take();
    Initialize();
    EXPECT_NE(nullptr, Drivers().GetIntercomDevice(5));
    EXPECT_THAT(Take("log "), ElementsAre("log 3 IntercomAgent: a device driver failed to add its device"));
}

TEST_F(AgentInterfaces, TheAgentIsPublishedAsIIntercomAgent) {
    Start();
    EXPECT_EQ(static_cast<IIntercomAgent*>(&Agent()), host.InstanceFindInterface(IntercomAgentInterfaceId));
}

TEST_F(AgentInterfaces, TheAgentAnswersForItsInterfaceId) {
    Start();
    void* found = nullptr;
    EXPECT_EQ(0, Agent().QueryInterface("F2AE00A1-E2AF-4126-8F6F-137A42247E11", &found));
    EXPECT_EQ(static_cast<IIntercomAgent*>(&Agent()), found);
}

TEST_F(AgentInterfaces, TheSameIdInLowerCaseIsUnknown) {
    Start();
    void* found = this;
    EXPECT_GT(0, Agent().QueryInterface("f2ae00a1-e2af-4126-8f6f-137a42247e11", &found));
    EXPECT_EQ(nullptr, found);
}

TEST_F(AgentInterfaces, OtherIdsAreUnknown) {
    Start();
    for (const std::string id : {"", "F2AE00A1-E2AF-4126-8F6F-137A42247E1", IntercomDeviceInterfaceId}) {
        void* found = this;
        EXPECT_GT(0, Agent().QueryInterface(id, &found)) << id;
        EXPECT_EQ(nullptr, found) << id;
    }
}

TEST_F(AgentInterfaces, AnAnswerWithoutAPlaceIsAFailure) {
    Start();
    EXPECT_GT(0, Agent().QueryInterface(IntercomAgentInterfaceId, nullptr));
    EXPECT_GT(0, Agent().QueryInterface("other", nullptr));
}

TEST_F(AgentEnd, UndoesTheStartDisconnectsEveryDeviceAndStopsTheSipProxy) {
    Start();
    AddDevice(5);
    AddDevice(3);
    Stop();
    EXPECT_THAT(Take(), ElementsAre("unlisten 11 0", "unlisten 8 0", "unlisten 12 0", kUnregister,
                                    "device 3 disconnectAgent", "device 5 disconnectAgent",
                                    "sysman disable sipproxy", "log 6 IntercomAgent disable sipproxy"));
    EXPECT_EQ(nullptr, Agent().GetIntercomDevice(3));
    EXPECT_EQ(nullptr, Agent().GetIntercomDevice(5));
}

TEST_F(AgentEnd, DisconnectsEveryDeviceOnceAndFreesEveryUser) {
    Start();
    const long alive = dv::LiveObjects::Count();
    AddDevice(5);
    Ui("addUser", {{"key", "ann"}});
    Ui("addUser", {{"key", "bob"}});
    EXPECT_EQ(alive + 2, dv::LiveObjects::Count());
    Take();
    Stop();
    EXPECT_THAT(Take("device "), ElementsAre("device 5 disconnectAgent"));
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(AgentEnd, FreesUsersThatWereErasedToo) {
    Start();
    const long alive = dv::LiveObjects::Count();
    Ui("addUser", {{"key", "ann"}});
    Ui("eraseUser", {{"key", "ann"}});
    EXPECT_EQ(alive + 1, dv::LiveObjects::Count());
    Stop();
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(AgentEnd, FreesUsersThatWereReplacedToo) {
    Start();
    const long alive = dv::LiveObjects::Count();
    Ui("addUser", {{"key", "ann"}});
    const auto user = Agent().getIntercomDevice("ann");
    ASSERT_NE(nullptr, user);
    AddDevice(user->getDeviceId());
    Stop();
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(AgentEnd, FreesAUserRegisteredUnderTwoIdsOnce) {
    Start();
    const long alive = dv::LiveObjects::Count();
    Ui("addUser", {{"key", "ann"}});
    Drivers().AddIntercomDevice(4, Agent().getIntercomDevice("ann"));
    Stop();
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(AgentEnd, FreesAUserThatSomebodyElseRegistered) {
    Start();
    const long alive = dv::LiveObjects::Count();
    auto user = std::make_unique<ReproUser>(*test::Message("addUser", {{"key", "ann"}}));
    Drivers().AddIntercomDevice(4, user.get());
    Drivers().AddIntercomDevice(6, user.release());
    Stop();
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(AgentEnd, ADeviceRegisteredUnderTwoIdsIsDisconnectedForEach) {
    Start();
    FakeDevice& device = AddDevice(5);
    Drivers().AddIntercomDevice(9, &device);
    Take();
    Stop();
    EXPECT_THAT(Take("device "), ElementsAre("device 5 disconnectAgent", "device 5 disconnectAgent"));
}

TEST_F(AgentEnd, MarksNoStateAndSendsNothingOfItsOwn) {
    Start();
    AddDevice(5);
    Ui("addUser", {{"key", "ann"}});
    Take();
    Stop();
    const auto lines = Take();
    EXPECT_THAT(lines, testing::Not(testing::Contains("mark")));
    EXPECT_THAT(lines, testing::Not(testing::Contains(testing::StartsWith("ui "))));
}

TEST_F(AgentEnd, TheBaseWithdrawsWhatIsLeftWhenAnAgentIsDeletedWithoutItsEnd) {
    Create();
    const auto config = DvXML::CreateXmlNode("config", "");
    Agent().Initialize(kDriverId, *config, nullptr);
    Delete();
    EXPECT_THAT(host.Published(), IsEmpty());
    EXPECT_THAT(host.Listeners(), IsEmpty());
}

TEST_F(AgentEnd, DevicesMayRemoveThemselvesWhenDisconnected) {
    Start();
    for (const unsigned long id : {3UL, 5UL, 9UL})
        AddDevice(id).Next("disconnectAgent", [this, id] { Agent().OnDeviceRemoved(id); });
    Stop();
    EXPECT_THAT(Take("device "), ElementsAre("device 3 disconnectAgent", "device 5 disconnectAgent",
                                             "device 9 disconnectAgent"));
}

TEST_F(AgentEnd, DevicesMayRemoveAndDeleteThemselvesWhenDisconnected) {
    Start();
    for (const unsigned long id : {3UL, 5UL, 9UL}) {
        FakeDevice& device = AddDevice(id, 2);
        device.Next("disconnectAgent", [this, &device] { RemoveAndDelete(device); });
    }
    Stop();
    EXPECT_THAT(Take("device "), ElementsAre("device 3 disconnectAgent", "device 5 disconnectAgent",
                                             "device 9 disconnectAgent"));
}

TEST_F(AgentEnd, ADeviceRemovedByAnotherOneIsNotDisconnected) {
    Start();
    FakeDevice& first = AddDevice(3);
    FakeDevice& second = AddDevice(5);
    first.Next("disconnectAgent", [&] { RemoveAndDelete(second); });
    Stop();
    EXPECT_THAT(Take("device "), ElementsAre("device 3 disconnectAgent"));
}

TEST_F(AgentEnd, ADeviceReplacedByAnotherOneIsDisconnectedInItsPlace) {
    Start();
    FakeDevice& first = AddDevice(3);
    FakeDevice& old = AddDevice(5);
    FakeDevice& replacement = NewDevice(5, 1, "5b");
    first.Next("disconnectAgent", [&] { ReplaceAndDelete(old, replacement); });
    Stop();
    EXPECT_THAT(Take("device "), ElementsAre("device 5b disconnectAgent"));
}

TEST_F(AgentEnd, NoDeviceStaysThatWasAddedMeanwhile) {
    Start();
    FakeDevice& late = NewDevice(9);
    AddDevice(3).Next("disconnectAgent", [&] { Agent().AddIntercomDevice(9, &late); });
    Stop();
    EXPECT_EQ(nullptr, Agent().GetIntercomDevice(9));
}

TEST_F(AgentEnd, RunsToItsEndWhenDevicesThrowAndPassesTheFirstExceptionOn) {
    Start();
    const long alive = dv::LiveObjects::Count();
    Ui("addUser", {{"key", "ann"}});
    AddDevice(3).Next("disconnectAgent", [] { throw std::runtime_error("first"); });
    AddDevice(5).Next("disconnectAgent", [] { throw std::runtime_error("second"); });
    AddDevice(9);
    std::string thrown;
    try {
        Stop();
    } catch (const std::runtime_error& error) {
        thrown = error.what();
    }
    EXPECT_EQ("first", thrown);
    EXPECT_THAT(Take(), ElementsAre("unlisten 11 0", "unlisten 8 0", "unlisten 12 0", kUnregister,
                                    "device 3 disconnectAgent", "device 5 disconnectAgent",
                                    "device 9 disconnectAgent", "sysman disable sipproxy",
                                    "log 6 IntercomAgent disable sipproxy"));
    EXPECT_EQ(nullptr, Agent().GetIntercomDevice(3));
    EXPECT_EQ(alive, dv::LiveObjects::Count());
}

TEST_F(AgentEnd, AThrowingDeviceMayBeGoneAlready) {
    Start();
    FakeDevice& first = AddDevice(3);
    AddDevice(5);
    first.Next("disconnectAgent", [&] {
        RemoveAndDelete(first);
        throw std::runtime_error("gone");
    });
    EXPECT_THROW(Stop(), std::runtime_error);
    EXPECT_THAT(Take("device "), ElementsAre("device 3 disconnectAgent", "device 5 disconnectAgent"));
}

TEST_F(AgentEnd, AnAgentThatWasEndedCanBeFollowedByAnotherOne) {
    Start();
    Stop();
    Delete();
    Start();
    EXPECT_EQ("<timeout>20</timeout>", Ui("getPopupTimeout"));
}

}  // namespace
