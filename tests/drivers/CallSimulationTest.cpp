#include "tests/drivers/PanelFixture.h"

using namespace dvIntercom;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

/// A door (101) and a kitchen panel (102) in one host, registered, with nothing recorded yet.
class SimulatedCall : public test::PanelFixture {
protected:
    void SetUp() override {
        StartAgent();
        door_ = &NewPanel(101, "<key>door</key><name>Front door</name>");
        kitchen_ = &NewPanel(102, "<key>kitchen</key><name>Kitchen</name>");
        Take();
    }

    Panel& Door() { return *door_; }
    Panel& Kitchen() { return *kitchen_; }

    static void Call(Panel& from, const std::string& address) {
        from.StartSipCall(MEDIA_SEND_RECEIVE, MEDIA_NONE, address);
    }
    static void Request(Panel& panel, const std::string& name, const std::string& value) {
        panel.setDeviceState(*test::Message("setDeviceState", {{name, value}}));
    }
    static void Set(Panel& panel, const std::string& name, const std::string& value) {
        EXPECT_EQ("<success/>", test::Ui(panel, "setProperty", {{"name", name}, {"value", value}}));
    }
    /// Number of the session that one panel holds with another.
    static unsigned char Session(Panel& panel, Panel& other) { return panel.Sessions().Find(other.getKey()); }

    static std::string State(unsigned long id, int state) {
        const std::string number = std::to_string(id);
        return "agent OnDeviceChanged " + number + " 5 <device><id>" + number + "</id><state>" +
               std::to_string(state) + "</state></device>";
    }

private:
    Panel* door_ = nullptr;
    Panel* kitchen_ = nullptr;
};

}  // namespace

TEST_F(SimulatedCall, RingsAtThePanelOfThatNameWithASessionOnBothSides) {
    Call(Door(), "Kitchen@10.0.0.2");
    EXPECT_TRUE(Door().ActiveSipSession(Session(Door(), Kitchen())));
    EXPECT_TRUE(Kitchen().ActiveSipSession(Session(Kitchen(), Door())));
    EXPECT_THAT(Take("agent"), ElementsAre(State(101, STATE_CALLING), State(102, STATE_RINGING)));
}

TEST_F(SimulatedCall, IsConnectedWhenTheOtherSideAnswers) {
    Call(Door(), "Kitchen@");
    Take();
    Request(Kitchen(), "call", "answer");
    EXPECT_THAT(Take("agent"), ElementsAre(State(102, STATE_CONNECTED), State(101, STATE_CONNECTED)));
}

TEST_F(SimulatedCall, IsConnectedAtOnceWhereThePanelAnswersByItself) {
    Set(Kitchen(), "autoAnswer", "true");
    Call(Door(), "Kitchen@10.0.0.2");
    EXPECT_THAT(Take("agent"), ElementsAre(State(101, STATE_CONNECTED), State(102, STATE_CONNECTED)));
}

TEST_F(SimulatedCall, TheCallerHangsUpAndBothSidesReport) {
    Set(Kitchen(), "autoAnswer", "true");
    Call(Door(), "Kitchen@10.0.0.2");
    Take();
    Door().HangupSipSession(Session(Door(), Kitchen()));
    const std::string time = R"(\[20[0-9][0-9]-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9]Z\])";
    EXPECT_THAT(Take("agent"), ElementsAre(State(101, 0), State(102, 0),
                                           MatchesRegex(R"(agent AddRecentContact \[Kitchen\] \[kitchen\] )" +
                                                        time + R"( \[[0-9]+\] false true)"),
                                           MatchesRegex(R"(agent AddRecentContact \[Front door\] \[door\] )" +
                                                        time + R"( \[[0-9]+\] true true)")));
    EXPECT_EQ(NO_SESSION, Session(Door(), Kitchen()));
    EXPECT_EQ(NO_SESSION, Session(Kitchen(), Door()));
}

TEST_F(SimulatedCall, TheCalledSideHangsUpBeforeAnsweringAndBothReportACallNotAccepted) {
    Call(Door(), "Kitchen@10.0.0.2");
    Kitchen().HangupSipSession(Session(Kitchen(), Door()));
    EXPECT_THAT(
        Take("agent AddRecentContact"),
        ElementsAre(
            MatchesRegex(R"(agent AddRecentContact \[Front door\] \[door\] \[.*Z\] \[0\] true false)"),
            MatchesRegex(R"(agent AddRecentContact \[Kitchen\] \[kitchen\] \[.*Z\] \[0\] false false)")));
    EXPECT_EQ(0, Door().getCurrentState());
    EXPECT_EQ(0, Kitchen().getCurrentState());
}

TEST_F(SimulatedCall, EndsOnRequestOfEitherUser) {
    Call(Door(), "Kitchen@10.0.0.2");
    Request(Kitchen(), "call", "hangup");
    EXPECT_EQ(NO_SESSION, Session(Door(), Kitchen()));
    Take();
    Request(Kitchen(), "call", "hangup");
    Request(Kitchen(), "call", "answer");
    EXPECT_THAT(Take(), ElementsAre("log 6 setDeviceState: no call to hangup",
                                    "log 6 setDeviceState: no call to answer"));
}

TEST_F(SimulatedCall, DoesNotDisturb) {
    Set(Kitchen(), "dnd", "true");
    Set(Kitchen(), "autoAnswer", "true");
    Call(Door(), "Kitchen@10.0.0.2");
    EXPECT_THAT(Take("agent"), IsEmpty());
    EXPECT_EQ(NO_SESSION, Session(Door(), Kitchen()));
    EXPECT_EQ(NO_SESSION, Session(Kitchen(), Door()));
}

TEST_F(SimulatedCall, LogsWhyNobodyTakesIt) {
    Set(Kitchen(), "dnd", "true");
    Call(Door(), "Kitchen@10.0.0.2");
    EXPECT_THAT(Take("log"), ElementsAre("log 6 call to Kitchen@10.0.0.2: kitchen is not to be disturbed",
                                         "log 6 call to Kitchen@10.0.0.2: no panel of this host takes it"));
    Call(Door(), "5551234");
    EXPECT_THAT(Take("log"), ElementsAre("log 6 call to 5551234: no panel of this host takes it"));
}

TEST_F(SimulatedCall, NeedsThePanelsWholeName) {
    for (const char* const address : {"kitchen@x", "Kitchen @x", "Kitche@x", "Kitchen", "@Kitchen"})
        Call(Door(), address);
    EXPECT_THAT(Take("agent"), IsEmpty());
}

TEST_F(SimulatedCall, ANameMayHoldAnAtSign) {
    Set(Kitchen(), "name", "Kitchen@home");
    Call(Door(), "Kitchen@home@10.0.0.2");
    EXPECT_NE(NO_SESSION, Session(Door(), Kitchen()));
}

TEST_F(SimulatedCall, DoesNotReachThePanelItself) {
    Call(Door(), "Front door@10.0.0.2");
    EXPECT_THAT(Take("agent"), IsEmpty());
}

TEST_F(SimulatedCall, DoesNotReachAPanelThatOnlyRecords) {
    Set(Kitchen(), "simulateCalls", "false");
    Call(Door(), "Kitchen@10.0.0.2");
    EXPECT_THAT(Take("log"), ElementsAre("log 6 call to Kitchen@10.0.0.2: kitchen does not simulate calls",
                                         "log 6 call to Kitchen@10.0.0.2: no panel of this host takes it"));
}

TEST_F(SimulatedCall, IsNotStartedByAPanelThatOnlyRecords) {
    Set(Door(), "simulateCalls", "false");
    Call(Door(), "Kitchen@10.0.0.2");
    EXPECT_THAT(Take(), IsEmpty());
    EXPECT_EQ(NO_SESSION, Session(Kitchen(), Door()));
}

TEST_F(SimulatedCall, ASecondOneBetweenTheSameTwoIsNotTaken) {
    Call(Door(), "Kitchen@10.0.0.2");
    Take();
    Call(Kitchen(), "Front door@10.0.0.2");
    EXPECT_THAT(Take("agent"), IsEmpty());
}

TEST_F(SimulatedCall, RingsAtAllPanelsOfOneNameUntilOneAnswers) {
    Panel& second = NewPanel(103, "<key>kitchen2</key><name>Kitchen</name>");
    Call(Door(), "Kitchen@10.0.0.2");
    EXPECT_EQ(STATE_RINGING, Kitchen().getCurrentState());
    EXPECT_EQ(STATE_RINGING, second.getCurrentState());
    Request(second, "call", "answer");
    EXPECT_EQ(0, Kitchen().getCurrentState());
    EXPECT_EQ(STATE_CONNECTED, second.getCurrentState());
    EXPECT_EQ(STATE_CONNECTED, Door().getCurrentState());
    EXPECT_EQ(NO_SESSION, Session(Door(), Kitchen()));
}

TEST_F(SimulatedCall, GoesToTheOneOfSeveralThatAnswersByItself) {
    Panel& second = NewPanel(103, "<key>kitchen2</key><name>Kitchen</name><autoAnswer>true</autoAnswer>");
    Call(Door(), "Kitchen@10.0.0.2");
    EXPECT_EQ(0, Kitchen().getCurrentState());
    EXPECT_EQ(STATE_CONNECTED, second.getCurrentState());
}

TEST_F(SimulatedCall, ABroadcastIsHeardAtOnceByAllWhoMayBeDisturbed) {
    Panel& living = NewPanel(103, "<key>living</key><name>Living room</name>");
    Panel& bedroom = NewPanel(104, "<key>bedroom</key><name>Bedroom</name><dnd>true</dnd>");
    Door().StartSipBroadcast(MEDIA_SEND_ONLY, MEDIA_NONE, {"Kitchen@x", "Living room@x", "Bedroom@x"});
    EXPECT_EQ(STATE_CONNECTED, Kitchen().getCurrentState());
    EXPECT_EQ(STATE_CONNECTED, living.getCurrentState());
    EXPECT_EQ(0, bedroom.getCurrentState());
    EXPECT_NE(Session(Door(), Kitchen()), Session(Door(), living));
    Take();
    Request(Door(), "call", "hangup");
    EXPECT_EQ(4U, Take("agent AddRecentContact").size());
    EXPECT_EQ(0, living.getCurrentState());
}

TEST_F(SimulatedCall, AMonitorIsTakenAtOnce) {
    Kitchen().StartSipMonitor(MEDIA_SEND_RECEIVE, MEDIA_RECEIVE_ONLY, "Front door@10.0.0.2");
    EXPECT_EQ(STATE_CONNECTED, Door().getCurrentState());
    EXPECT_EQ(STATE_CONNECTED, Kitchen().getCurrentState());
}

TEST_F(SimulatedCall, EndsWithThePanelAtItsOtherEnd) {
    Call(Door(), "Kitchen@10.0.0.2");
    Take();
    DeletePanel(Kitchen());
    EXPECT_EQ(0, Door().getCurrentState());
    EXPECT_EQ(2U, Take("agent AddRecentContact").size());
    Door().HangupSipSession(1);
    EXPECT_THAT(Take("agent"), IsEmpty());
}

TEST_F(SimulatedCall, GivesBackTheStateThatWasThereBefore) {
    Set(Door(), "currentState", "9");
    Call(Door(), "Kitchen@10.0.0.2");
    Request(Kitchen(), "call", "hangup");
    EXPECT_EQ(9, Door().getCurrentState());
}

TEST_F(SimulatedCall, ASessionThatTheOtherSideLostIsHungUpWhole) {
    Call(Door(), "Kitchen@10.0.0.2");
    test::Ui(Kitchen(), "closeSession", {{"remote", "door"}});
    EXPECT_EQ(NO_SESSION, Kitchen().findSessionId("door"));
    Door().HangupSipSession(Door().findSessionId("kitchen"));
    EXPECT_EQ(0, Kitchen().getCurrentState());
    EXPECT_EQ(0, Door().getCurrentState());
}

TEST_F(SimulatedCall, NumbersOfSessionsThatWereOpenedByCommandAreNotUsedTwice) {
    test::Ui(Door(), "openSession", {{"remote", "elsewhere"}, {"session", "1"}});
    Call(Door(), "Kitchen@10.0.0.2");
    EXPECT_EQ(2, Session(Door(), Kitchen()));
}

TEST_F(SimulatedCall, KeepsItsNumberThoughACommandClosesOrReplacesItsSession) {
    const std::vector<std::string> commands = {"closeSession", "openSession"};
    Panel& hall = NewPanel(103, "<key>hall</key><name>Hall</name>");
    for (const std::string& command : commands) {
        SCOPED_TRACE(command);
        Call(Door(), "Kitchen@");
        const unsigned char number = Session(Door(), Kitchen());
        EXPECT_EQ("<success/>", test::Ui(Door(), command, {{"remote", "kitchen"}, {"session", "77"}}));
        Call(Door(), "Hall@");
        EXPECT_NE(number, Session(Door(), hall));
        Request(hall, "call", "hangup");
        EXPECT_EQ(STATE_RINGING, Kitchen().getCurrentState());
        Request(Door(), "call", "hangup");
        EXPECT_EQ(NO_SESSION, Session(Kitchen(), Door()));
        EXPECT_EQ(0, Kitchen().getCurrentState());
    }
}

TEST_F(SimulatedCall, IsRefusedWhenNoSessionNumberIsFree) {
    for (int number = 1; number < NO_SESSION; ++number)
        Door().Sessions().Add("elsewhere", static_cast<unsigned char>(number));
    Call(Door(), "Kitchen@10.0.0.2");
    EXPECT_THAT(Take(), ElementsAre(testing::StartsWith("find 0 "),
                                    "log 3 no call to kitchen: all session numbers are taken"));
}

TEST_F(SimulatedCall, IsLoggedWhenThereIsNoAgentToReportTo) {
    Call(Door(), "Kitchen@10.0.0.2");
    StopAgent();
    Take();
    Request(Door(), "call", "hangup");
    EXPECT_THAT(Take("log"), ElementsAre("log 6 call with kitchen not reported: no intercom agent runs",
                                         "log 6 call with door not reported: no intercom agent runs"));
}
