// How a panel meets the agent and leaves it.
#include "host/interfaces/InterfaceIds.h"
#include "tests/drivers/PanelFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {
class PanelLife : public test::PanelFixture {};
}  // namespace

TEST_F(PanelLife, RegistersWithAnAgentThatRuns) {
    StartAgent();
    Panel& panel = NewPanel(101);
    EXPECT_THAT(Take("agent"), ElementsAre("agent AddIntercomDevice 101"));
    EXPECT_EQ(&panel, agent.GetIntercomDevice(101));
}

TEST_F(PanelLife, RegistersWithAnAgentThatStartsLater) {
    Panel& panel = NewPanel(101);
    StartAgent();
    panel.requestToAddDevice();
    EXPECT_THAT(Take("agent"), ElementsAre("agent AddIntercomDevice 101"));
}

TEST_F(PanelLife, WithoutRegisterAtStartItWaitsToBeAsked) {
    StartAgent();
    Panel& panel = NewPanel(101, "<registerAtStart>false</registerAtStart>");
    EXPECT_THAT(Take("agent"), IsEmpty());
    panel.requestToAddDevice();
    EXPECT_THAT(Take("agent"), ElementsAre("agent AddIntercomDevice 101"));
}

TEST_F(PanelLife, WithoutAnswerRequestsItStaysAwayWhenAsked) {
    StartAgent();
    Panel& panel =
        NewPanel(101, "<registerAtStart>false</registerAtStart><answerRequests>false</answerRequests>");
    panel.requestToAddDevice();
    EXPECT_THAT(Take("agent"), IsEmpty());
    EXPECT_EQ("<requestToAddDevice/>", OperationsOf(panel));
}

// The agent's first request is the only sign of its start.
TEST_F(PanelLife, RegisterAtStartHoldsForAnAgentThatStartsLaterAlsoWithoutAnswerRequests) {
    Panel& panel = NewPanel(101, "<answerRequests>false</answerRequests>");
    StartAgent();
    panel.requestToAddDevice();
    EXPECT_THAT(Take("agent"), ElementsAre("agent AddIntercomDevice 101"));
    panel.requestToAddDevice();
    EXPECT_THAT(Take("agent"), IsEmpty());
}

TEST_F(PanelLife, ARequestBeforeInitializeDoesNotRegisterAnUnknownId) {
    StartAgent();
    Panel& panel = CreatePanel();
    panel.requestToAddDevice();
    EXPECT_THAT(Take("agent"), IsEmpty());
}

TEST_F(PanelLife, AnswersTheIdOfIntercomDevicesWithThatInterface) {
    Panel& panel = NewPanel(101);
    void* found = nullptr;
    EXPECT_EQ(0, panel.QueryInterface(IntercomDeviceInterfaceId, &found));
    EXPECT_EQ(static_cast<ISupportIntercom*>(&panel), found);
    EXPECT_GT(0, panel.QueryInterface(IntercomAgentInterfaceId, &found));
    EXPECT_EQ(nullptr, found);
    EXPECT_GT(0, panel.QueryInterface(IntercomDeviceInterfaceId, nullptr));
}

TEST_F(PanelLife, TakesItsDeviceOutOfTheAgentWhenItEnds) {
    StartAgent();
    Panel& panel = NewPanel(101);
    Take();
    DeletePanel(panel);
    EXPECT_THAT(Take("agent"), ElementsAre("agent OnDeviceRemoved 101"));
}

TEST_F(PanelLife, LeavesAnAgentAloneThatHasForgottenIt) {
    StartAgent();
    Panel& panel = NewPanel(101);
    StopAgent();
    StartAgent();
    Take();
    DeletePanel(panel);
    EXPECT_THAT(Take("agent"), IsEmpty());
}

TEST_F(PanelLife, EndsQuietlyWithoutAnAgent) {
    Panel& panel = NewPanel(101);
    DeletePanel(panel);
    EXPECT_THAT(Take("agent"), IsEmpty());
}

TEST_F(PanelLife, LeavesADeviceAloneThatReplacedItsOwn) {
    StartAgent();
    Panel& first = NewPanel(101);
    Panel& second = NewPanel(102);
    test::Ui(second, "addToAgent", {{"id", "101"}});
    Take();
    DeletePanel(first);
    EXPECT_THAT(Take("agent"), IsEmpty());
    DeletePanel(second);
    EXPECT_THAT(Take("agent"), ElementsAre("agent OnDeviceRemoved 101", "agent OnDeviceRemoved 102"));
}

TEST_F(PanelLife, ThatFailedToStartIsTakenOutOfTheAgentWhenItIsDeleted) {
    test::FakeHost host(recorder);
    host.InstanceRegisterInterface(IntercomAgentInterfaceId, static_cast<IIntercomAgent*>(&agent));
    {
        Panel panel(host);
        recorder.Next("agent AddIntercomDevice", [] { throw std::runtime_error("no version"); });
        EXPECT_THROW(panel.Initialize(101, *test::Element("<config/>"), nullptr), std::runtime_error);
        EXPECT_EQ(&panel, agent.GetIntercomDevice(101));
    }
    EXPECT_EQ(nullptr, agent.GetIntercomDevice(101));
}

TEST_F(PanelLife, IsTakenOutUnderEveryIdThoughAnotherDriverFails) {
    test::FakeHost host(recorder);
    host.InstanceRegisterInterface(IntercomAgentInterfaceId, static_cast<IIntercomAgent*>(&agent));
    {
        Panel panel(host);
        panel.Initialize(101, *test::Element("<config/>"), nullptr);
        for (const char* const id : {"102", "103"})
            test::Ui(panel, "addToAgent", {{"id", id}});
        const auto fail = [] { throw std::runtime_error("no version"); };
        recorder.Next("agent OnDeviceRemoved 101", fail);
        EXPECT_THROW(panel.OnDestroy(), std::runtime_error);
        Take();
        recorder.Next("agent OnDeviceRemoved 102", fail);
    }
    EXPECT_THAT(Take("agent"), ElementsAre("agent OnDeviceRemoved 102", "agent OnDeviceRemoved 103"));
}

TEST_F(PanelLife, KeepsNoState) {
    EXPECT_FALSE(NewPanel(101).GetPersistState(0));
}
