#include "drivers/template/TemplateDriver.h"

#include "host/interfaces/InterfaceIds.h"
#include "tests/drivers/PanelFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Template : public testing::Test {
protected:
    void StartAgent() {
        host.InstanceRegisterInterface(IntercomAgentInterfaceId, static_cast<IIntercomAgent*>(&agent));
    }
    void Initialize() {
        const auto config = test::Element("<config><key>study</key><name>Study</name></config>");
        EXPECT_EQ(0, driver.Initialize(201, *config, nullptr));
    }

    test::Recorder recorder;
    test::FakeAgent agent{recorder};
    test::FakeHost host{recorder};
    TemplateDriver driver{host};
};

}  // namespace

TEST_F(Template, RegistersWithTheAgentAndTakesItsDeviceBack) {
    StartAgent();
    Initialize();
    driver.OnDestroy();
    EXPECT_THAT(recorder.Take("agent"),
                ElementsAre("agent AddIntercomDevice 201", "agent OnDeviceRemoved 201"));
}

TEST_F(Template, RegistersWithAnAgentThatStartsLater) {
    Initialize();
    StartAgent();
    driver.requestToAddDevice();
    EXPECT_THAT(recorder.Take("agent"), ElementsAre("agent AddIntercomDevice 201"));
    driver.disconnectAgent();
    driver.OnDestroy();
    EXPECT_THAT(recorder.Take("agent"), IsEmpty());
}

TEST_F(Template, ThatFailedToStartIsTakenOutOfTheAgentWhenItIsDeleted) {
    StartAgent();
    {
        TemplateDriver failing(host);
        recorder.Next("agent AddIntercomDevice", [] { throw std::runtime_error("no version"); });
        EXPECT_THROW(failing.Initialize(202, *test::Element("<config/>"), nullptr), std::runtime_error);
        EXPECT_EQ(&failing, agent.GetIntercomDevice(202));
        recorder.Next("agent OnDeviceRemoved", [] { throw std::runtime_error("no line"); });
    }
    EXPECT_EQ(nullptr, agent.GetIntercomDevice(202));
    EXPECT_THAT(recorder.Take("log 3"),
                ElementsAre("log 3 withdrawn from the agent, but another driver failed: no line"));
}

TEST_F(Template, IsFoundAsAnIntercomDevice) {
    void* found = nullptr;
    EXPECT_EQ(0, driver.QueryInterface(IntercomDeviceInterfaceId, &found));
    EXPECT_EQ(static_cast<ISupportIntercom*>(&driver), found);
    EXPECT_GT(0, driver.QueryInterface("unknown", &found));
}

TEST_F(Template, DescribesItsDevice) {
    Initialize();
    EXPECT_EQ("study", driver.getKey());
    EXPECT_EQ("Study", driver.getIntercomName());
    EXPECT_EQ("<device><id>201</id><dnd>false</dnd></device>",
              driver.toXml(dvIntercom::DEVICE_DND)->NodeToText());
}

TEST_F(Template, ReportsASettingThatChanged) {
    StartAgent();
    Initialize();
    recorder.Take();
    driver.setDeviceState(*test::Message("setDeviceState", {{"idDevice", "201"}, {"dnd", "1"}}));
    driver.setDeviceState(*test::Message("setDeviceState", {{"idDevice", "201"}, {"dnd", "1"}}));
    EXPECT_THAT(recorder.Take("agent"),
                ElementsAre("agent OnDeviceChanged 201 2 <device><id>201</id><dnd>true</dnd></device>"));
    driver.OnDestroy();
}

TEST_F(Template, AnswersItsOwnCommand) {
    Initialize();
    driver.updateSipInfoFromDriver("10.0.0.2");
    EXPECT_EQ("<sipProxy>10.0.0.2</sipProxy>", test::Ui(driver, "getSipProxy"));
}

TEST_F(Template, LogsTheCallsThatARealDriverWouldPlace) {
    driver.StartSipCall(dvIntercom::MEDIA_WITHOUT_RING, dvIntercom::MEDIA_NONE, "Hall@%s");
    driver.StartSipMonitor(dvIntercom::MEDIA_SEND_RECEIVE, dvIntercom::MEDIA_RECEIVE_ONLY, "Hall@x");
    driver.StartSipBroadcast(dvIntercom::MEDIA_SEND_ONLY, dvIntercom::MEDIA_NONE, {"A@x", "B@x"});
    driver.HangupSipSession(3);
    EXPECT_THAT(
        recorder.Take(),
        ElementsAre("log 6 call to Hall@%s, audio -1, video 3", "log 6 monitor Hall@x, audio 0, video 2",
                    "log 6 broadcast to 2 devices, audio 1, video 3", "log 6 hang up session 3"));
    EXPECT_EQ(dvIntercom::NO_SESSION, driver.findSessionId("hall"));
}
