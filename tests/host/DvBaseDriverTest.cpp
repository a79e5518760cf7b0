#include "host/glue/DvBaseDriver.h"

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>

#include "host/glue/Log.h"
#include "tests/host/Xml.h"
#include "tests/support/FakeHost.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Callback final : public ISystemEventCallback {
public:
    void OnSystemEvent(DvXML::INode&) override {}
};

// Opens up what deriving classes may do.
class Driver : public DvBaseAgentDriver {
public:
    explicit Driver(IInstanceManager& host) : DvBaseAgentDriver(host, DRIVER_SINGLE) {}

    void RegisterCommands() override {
        idAtRegistration = GetDeviceId();
        ++registrations;
    }

    using DvBaseDriver::ConSendDataToUI;
    using DvBaseDriver::CreateCommandMessageFromName;
    using DvBaseDriver::DmInvalidateState;
    using DvBaseDriver::GetDeviceId;
    using DvBaseDriver::GetDriverManager;
    using DvBaseDriver::GetInstanceManager;
    using DvBaseDriver::LogXMessage;
    using DvBaseDriver::RegisterListener;
    using DvBaseDriver::UnregisterListener;

    int registrations = 0;
    unsigned long idAtRegistration = 0;
};

class BaseDriver : public testing::Test {
protected:
    test::Recorder recorder;
    test::FakeHost host{recorder};
    std::unique_ptr<Driver> driver = std::make_unique<Driver>(host);
};

TEST_F(BaseDriver, ConstructionAsksNothingOfTheHost) {
    EXPECT_THAT(recorder.Take(), IsEmpty());
    EXPECT_EQ(0U, driver->GetDeviceId());
    EXPECT_EQ(DRIVER_SINGLE, driver->GetMultiplicity());
    EXPECT_EQ(DRIVER_MULTIPLE, DvBaseDriver(host, DRIVER_MULTIPLE).GetMultiplicity());
}

TEST_F(BaseDriver, InitializeKeepsTheIdThenRegistersTheCommandsOnce) {
    const auto config = test::NewNode("config");
    EXPECT_EQ(0, driver->Initialize(4294967295UL, *config, nullptr));
    EXPECT_EQ(4294967295UL, driver->GetDeviceId());
    EXPECT_EQ(4294967295UL, driver->idAtRegistration);
    EXPECT_EQ(1, driver->registrations);
}

TEST_F(BaseDriver, UnknownInterfaceFailsAndStoresNull) {
    int somewhere = 0;
    void* out = &somewhere;
    EXPECT_LT(driver->QueryInterface("no such id", &out), 0);
    EXPECT_EQ(nullptr, out);
    EXPECT_LT(driver->QueryInterface("no such id", nullptr), 0);
}

TEST_F(BaseDriver, KeepsNoStateOfItsOwn) {
    EXPECT_FALSE(driver->GetPersistState(0));
}

TEST_F(BaseDriver, HandsOutTheHostsManagers) {
    EXPECT_EQ(static_cast<IInstanceManager*>(&host), &driver->GetInstanceManager());
    EXPECT_EQ(static_cast<IDriverManager*>(&host), &driver->GetDriverManager());
}

TEST_F(BaseDriver, PassesListenersOnWithTheHostsResult) {
    Callback callback;
    EXPECT_EQ(0, driver->RegisterListener(callback, 8, 3));
    EXPECT_THAT(host.Listeners(), ElementsAre(test::FakeHost::Listener{&callback, 8, 3}));
    EXPECT_LT(driver->RegisterListener(callback, 8, 3), 0);
    EXPECT_EQ(0, driver->UnregisterListener(callback, 8, 3));
    EXPECT_LT(driver->UnregisterListener(callback, 8, 3), 0);
}

TEST_F(BaseDriver, PassesUiDataAndMarksOn) {
    driver->ConSendDataToUI(*test::NewNode("GroupAdded"));
    driver->DmInvalidateState();
    EXPECT_THAT(recorder.Take(), ElementsAre("ui <GroupAdded/>", "mark"));
}

TEST_F(BaseDriver, MakesEmptyMessagesOfAnyName) {
    const auto message = driver->CreateCommandMessageFromName("GET_CUSTOM_BUTTON");
    EXPECT_EQ("GET_CUSTOM_BUTTON", message->GetName());
    EXPECT_EQ("<GET_CUSTOM_BUTTON/>", message->ToXml()->NodeToText());
}

TEST_F(BaseDriver, LogLinesAreFormattedAndNeverCutShort) {
    const std::string text(100'000, 'x');
    driver->LogXMessage(3, "%d %s", -1, "%s%n");
    driver->LogXMessage(7, "%s", text.c_str());
    EXPECT_THAT(recorder.Take(), ElementsAre("log 3 -1 %s%n", "log 7 " + text));
}

TEST_F(BaseDriver, DestructorWithdrawsWhatIsLeft) {
    Callback callback;
    driver->RegisterListener(callback, 8, 0);
    host.InstanceRegisterInterface("id", &callback);
    recorder.Take();
    driver.reset();
    EXPECT_THAT(recorder.Take(), ElementsAre("withdraw all"));
    EXPECT_THAT(host.Listeners(), IsEmpty());
    EXPECT_THAT(host.Published(), IsEmpty());
}

TEST_F(BaseDriver, HostThatThrowsFromWithdrawingIsNamedInTheLog) {
    std::string logged;
    dv::SetLogSink(
        [&](unsigned int level, const std::string& text) { logged = std::to_string(level) + " " + text; });
    recorder.Next("withdraw all", [] { throw std::runtime_error("host"); });
    driver->Initialize(5, *test::NewNode("config"), nullptr);
    driver.reset();
    dv::SetLogSink({});
    EXPECT_EQ("3 host: WithdrawAll threw while driver 5 was destroyed", logged);
}

}  // namespace
