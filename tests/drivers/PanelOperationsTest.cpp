// What getOperations shows of each operation that the agent may call.
#include "tests/drivers/PanelFixture.h"

using namespace dvIntercom;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class PanelOperations : public test::PanelFixture {
protected:
    /// A panel that only records.
    Panel& Recording() { return NewPanel(101, "<key>hall</key><simulateCalls>false</simulateCalls>"); }
};

}  // namespace

TEST_F(PanelOperations, StartOperationsShowTheirModesAndAddresses) {
    Panel& panel = Recording();
    panel.StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_NONE, "Hall@10.0.0.2");
    panel.StartSipMonitor(MEDIA_WITHOUT_RING, MEDIA_RECEIVE_ONLY, "");
    panel.StartSipBroadcast(MEDIA_SEND_ONLY, MEDIA_NONE, {"A@x", "B@x", "A@x"});
    EXPECT_EQ(
        "<operations>"
        "<StartSipCall><audio>0</audio><video>3</video><address>Hall@10.0.0.2</address></StartSipCall>"
        "<StartSipMonitor><audio>-1</audio><video>2</video><address/></StartSipMonitor>"
        "<StartSipBroadcast><audio>1</audio><video>3</video><address>A@x</address><address>B@x</address>"
        "<address>A@x</address></StartSipBroadcast>"
        "</operations>",
        test::Ui(panel, "getOperations"));
}

TEST_F(PanelOperations, SessionOperationsShowTheirNumberOrRemote) {
    Panel& panel = Recording();
    panel.HangupSipSession(254);
    panel.HoldSession(1);
    panel.ResumeSession(1);
    EXPECT_EQ(NO_SESSION, panel.findSessionId("kitchen"));
    EXPECT_EQ(
        "<HangupSipSession><session>254</session></HangupSipSession>"
        "<HoldSession><session>1</session></HoldSession><ResumeSession><session>1</session></ResumeSession>"
        "<findSessionId><remote>kitchen</remote></findSessionId>",
        OperationsOf(panel));
}

TEST_F(PanelOperations, MessagesShowTheirXmlForm) {
    Panel& panel = Recording();
    panel.setDeviceState(*test::Message("setDeviceState", {{"idDevice", "101"}, {"dnd", "true"}}));
    panel.PassToDriver(*test::Message("CUSTOM_BUTTON", {{"idDevice", "101"}, {"a", "1"}, {"a", "2"}}));
    EXPECT_EQ(
        "<setDeviceState><setDeviceState><idDevice>101</idDevice><dnd>true</dnd></setDeviceState></"
        "setDeviceState>"
        "<PassToDriver><CUSTOM_BUTTON><idDevice>101</idDevice><a>1</a><a>2</a></CUSTOM_BUTTON></"
        "PassToDriver>",
        OperationsOf(panel));
}

TEST_F(PanelOperations, MeetingAndLeavingTheAgentIsShown) {
    Panel& panel = Recording();
    panel.requestToAddDevice();
    panel.updateSipInfoFromDriver("10.0.0.2");
    panel.disconnectAgent();
    EXPECT_EQ(
        "<requestToAddDevice/><updateSipInfoFromDriver><address>10.0.0.2</address></updateSipInfoFromDriver>"
        "<disconnectAgent/>",
        OperationsOf(panel));
}

TEST_F(PanelOperations, SettersShowTheirValue) {
    Panel& panel = Recording();
    panel.setDnD(true);
    panel.setCurrentState(4);
    panel.setAutoAnswer(true);
    panel.setMonitorMode(true);
    panel.setAnswerWithVideo(true);
    panel.setSpeakerVol(7, true);
    panel.setExcludeFromNav(true);
    panel.RingDoorChime();
    panel.setRingDoorbell(false);
    EXPECT_EQ(
        "<setDnD><on>true</on></setDnD><setCurrentState><state>4</state></setCurrentState>"
        "<setAutoAnswer><on>true</on></setAutoAnswer><setMonitorMode><on>true</on></setMonitorMode>"
        "<setAnswerWithVideo><on>true</on></setAnswerWithVideo>"
        "<setSpeakerVol><volume>7</volume><notify>true</notify></setSpeakerVol>"
        "<setExcludeFromNav><on>true</on></setExcludeFromNav><RingDoorChime/>"
        "<setRingDoorbell><on>false</on></setRingDoorbell>",
        OperationsOf(panel));
}

TEST_F(PanelOperations, SettersChangeTheirValueAndTellTheAgentOfAChange) {
    StartAgent();
    Panel& panel = NewPanel(101);
    Take();
    panel.setDnD(true);
    panel.setDnD(true);
    panel.setAutoAnswer(true);
    panel.setMonitorMode(true);
    panel.setCurrentState(4);
    panel.setAnswerWithVideo(true);
    panel.setExcludeFromNav(true);
    panel.setRingDoorbell(true);
    panel.setSpeakerVol(7, true);
    panel.setSpeakerVol(8, false);
    EXPECT_THAT(
        Take("agent"),
        ElementsAre(
            "agent OnDeviceChanged 101 2 <device><id>101</id><dnd>true</dnd></device>",
            "agent OnDeviceChanged 101 3 <device><id>101</id><autoAnswer>true</autoAnswer></device>",
            "agent OnDeviceChanged 101 4 <device><id>101</id><monitorMode>true</monitorMode></device>",
            "agent OnDeviceChanged 101 5 <device><id>101</id><state>4</state></device>",
            "agent OnDeviceChanged 101 6 "
            "<device><id>101</id><answerWithVideo>true</answerWithVideo></device>",
            "agent OnDeviceChanged 101 7 <device><id>101</id><excludeFromNav>true</excludeFromNav></device>",
            "agent OnDeviceChanged 101 8 <device><id>101</id><ringDoorbell>true</ringDoorbell></device>",
            "agent OnDeviceChanged 101 9 <device><id>101</id><speakerVolume>7</speakerVolume></device>"));
    EXPECT_EQ(8, panel.getSpeakerVol());
}

TEST_F(PanelOperations, QueriesAreNotShown) {
    Panel& panel = Recording();
    panel.getVersion();
    panel.getKey();
    panel.getIntercomName();
    panel.toXml(DEVICE_CHANGED);
    panel.ActiveSipSession(1);
    EXPECT_EQ("<operations/>", test::Ui(panel, "getOperations"));
}

TEST_F(PanelOperations, ClearedOperationsAreForgotten) {
    Panel& panel = Recording();
    panel.RingDoorChime();
    EXPECT_EQ("<success/>", test::Ui(panel, "clearOperations"));
    EXPECT_EQ("<operations/>", test::Ui(panel, "getOperations"));
}

TEST_F(PanelOperations, BeyondTheBoundTheOldestAreDroppedAndCounted) {
    Operations operations;
    for (std::size_t number = 0; number < Operations::kMaxOperations + 2; ++number)
        operations.Add("o" + std::to_string(number));
    const auto element = operations.ToXml();
    EXPECT_EQ(Operations::kMaxOperations, element->NodeChildCount());
    EXPECT_EQ("o2", element->NodeChildAt(0)->NodeGetName());
    EXPECT_EQ("2", element->NodeGetAttribute("dropped"));
}

TEST_F(PanelOperations, WithoutSimulationAHangUpLeavesTheSessionOpen) {
    Panel& panel = Recording();
    test::Ui(panel, "openSession", {{"remote", "kitchen"}, {"session", "7"}});
    panel.HangupSipSession(7);
    panel.HoldSession(7);
    EXPECT_EQ(7, panel.findSessionId("kitchen"));
    EXPECT_TRUE(panel.ActiveSipSession(7));
}

TEST_F(PanelOperations, WithSimulationAHangUpEndsTheSession) {
    Panel& panel = NewPanel(101);
    test::Ui(panel, "openSession", {{"remote", "kitchen"}, {"session", "7"}});
    panel.HoldSession(7);
    EXPECT_FALSE(panel.ActiveSipSession(7));
    panel.ResumeSession(7);
    EXPECT_TRUE(panel.ActiveSipSession(7));
    panel.HangupSipSession(7);
    EXPECT_FALSE(panel.ActiveSipSession(7));
    EXPECT_EQ(NO_SESSION, panel.findSessionId("kitchen"));
}

TEST_F(PanelOperations, WithoutSimulationSetDeviceStateChangesNothing) {
    StartAgent();
    Panel& panel = Recording();
    Take();
    panel.setDeviceState(*test::Message("setDeviceState", {{"dnd", "true"}}));
    EXPECT_FALSE(panel.getDnD());
    EXPECT_THAT(Take("agent"), IsEmpty());
}

TEST_F(PanelOperations, SetDeviceStateChangesPropertiesByTheirConfigNames) {
    StartAgent();
    Panel& panel = NewPanel(101);
    Take();
    panel.setDeviceState(*test::Message("setDeviceState", {{"idDevice", "101"},
                                                           {"dnd", "true"},
                                                           {"currentState", "5"},
                                                           {"autoAnswer", "false"},
                                                           {"key", "other"}}));
    EXPECT_THAT(Take("agent"),
                ElementsAre("agent OnDeviceChanged 101 2 <device><id>101</id><dnd>true</dnd></device>",
                            "agent OnDeviceChanged 101 5 <device><id>101</id><state>5</state></device>"));
    EXPECT_EQ("", panel.getKey());
    panel.setDeviceState(*test::Message("setDeviceState", {{"state", "6"}}));
    EXPECT_EQ(6, panel.getCurrentState());
}

TEST_F(PanelOperations, SetDeviceStateLogsWhatItCannotRead) {
    Panel& panel = NewPanel(101);
    panel.setDeviceState(
        *test::Message("setDeviceState", {{"dnd", "perhaps"}, {"state", "busy"}, {"call", "forward"}}));
    EXPECT_FALSE(panel.getDnD());
    EXPECT_THAT(Take("log"),
                ElementsAre("log 3 setDeviceState: dnd must be true or false, not \"perhaps\"",
                            "log 3 setDeviceState: currentState must be a number from -2147483648 to "
                            "2147483647, not \"busy\"",
                            "log 3 setDeviceState: call must be answer or hangup, not \"forward\""));
}
