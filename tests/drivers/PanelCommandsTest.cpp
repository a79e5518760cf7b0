#include "tests/drivers/PanelFixture.h"

using test::Ui;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class PanelCommand : public test::PanelFixture {
protected:
    /// A panel 101 "hall", registered, with nothing recorded yet.
    Panel& Registered() {
        StartAgent();
        Panel& panel = NewPanel(101, "<key>hall</key><name>Hall</name>");
        Take();
        panel.Recorded().Clear();
        return panel;
    }
};

}  // namespace

TEST_F(PanelCommand, ElevenAreRegisteredInOrderEachWithHelp) {
    std::vector<std::string> names;
    for (const CommandInfo& command : NewPanel(101).GetUICmdDispatcher().Commands()) {
        names.push_back(command.name);
        EXPECT_NE("", command.help) << command.name;
    }
    EXPECT_THAT(names, ElementsAre("getOperations", "clearOperations", "setProperty", "openSession",
                                   "closeSession", "addToAgent", "removeFromAgent", "notifyChanged",
                                   "reportCall", "endOfflineSession", "askAgent"));
}

TEST_F(PanelCommand, SetPropertyChangesOneValueSilently) {
    Panel& panel = Registered();
    EXPECT_EQ("<success/>", Ui(panel, "setProperty", {{"name", "dnd"}, {"value", "true"}}));
    EXPECT_TRUE(panel.getDnD());
    EXPECT_THAT(Take("agent"), IsEmpty());
    EXPECT_EQ("<operations/>", Ui(panel, "getOperations"));
}

TEST_F(PanelCommand, SetPropertyKnowsEveryConfigValueButTheButtons) {
    Panel& panel = NewPanel(101);
    const PanelConfig& config = panel.Config();
    const test::Parameters values = {{"key", "k"},
                                     {"name", ""},
                                     {"version", "3"},
                                     {"doorStation", "1"},
                                     {"thirdParty", "true"},
                                     {"camera", "true"},
                                     {"display", "true"},
                                     {"answerWithVideo", "true"},
                                     {"dnd", "true"},
                                     {"autoAnswer", "true"},
                                     {"monitorMode", "true"},
                                     {"excludeFromNav", "true"},
                                     {"ringDoorbell", "true"},
                                     {"speakerVolume", "12"},
                                     {"currentState", "-1"},
                                     {"registerAtStart", "false"},
                                     {"answerRequests", "false"},
                                     {"simulateCalls", "false"}};
    for (const auto& [name, value] : values)
        EXPECT_EQ("<success/>", Ui(panel, "setProperty", {{"name", name}, {"value", value}})) << name;
    EXPECT_EQ("k", panel.getKey());
    EXPECT_EQ("", panel.getIntercomName());
    EXPECT_EQ(3, panel.getVersion());
    EXPECT_TRUE(config.doorStation && config.thirdParty && config.camera && config.display &&
                config.answerWithVideo && config.dnd && config.autoAnswer && config.monitorMode &&
                config.excludeFromNav && config.ringDoorbell);
    EXPECT_EQ(12, panel.getSpeakerVol());
    EXPECT_EQ(-1, panel.getCurrentState());
    EXPECT_FALSE(config.registerAtStart || config.answerRequests || config.simulateCalls);
}

TEST_F(PanelCommand, SetPropertyRefusesWhatItDoesNotKnowWithTheReason) {
    Panel& panel = NewPanel(101);
    EXPECT_THAT(Ui(panel, "setProperty", {{"name", "buttons"}, {"value", "x"}}),
                StartsWith("<fail>no config value \"buttons\" can be set; these can: key, name, version, "));
    EXPECT_EQ("<fail>speakerVolume must be a number from 0 to 65535, not \"loud\"</fail>",
              Ui(panel, "setProperty", {{"name", "speakerVolume"}, {"value", "loud"}}));
    EXPECT_EQ("<fail>parameter name is missing</fail>", Ui(panel, "setProperty", {{"value", "x"}}));
    EXPECT_EQ("<fail>parameter value is missing</fail>", Ui(panel, "setProperty", {{"name", "key"}}));
    EXPECT_EQ(0, panel.getSpeakerVol());
}

TEST_F(PanelCommand, OpenSessionDecidesWhatFindSessionIdAnswers) {
    Panel& panel = NewPanel(101);
    EXPECT_EQ("<success/>", Ui(panel, "openSession", {{"remote", "kitchen"}, {"session", "0"}}));
    EXPECT_EQ("<success/>", Ui(panel, "openSession", {{"remote", ""}, {"session", "254"}}));
    EXPECT_EQ(0, panel.findSessionId("kitchen"));
    EXPECT_EQ(254, panel.findSessionId(""));
    EXPECT_EQ(dvIntercom::NO_SESSION, panel.findSessionId("Kitchen"));
}

TEST_F(PanelCommand, OpenSessionReplacesTheEarlierOneWithThatRemote) {
    Panel& panel = NewPanel(101);
    Ui(panel, "openSession", {{"remote", "kitchen"}, {"session", "1"}});
    Ui(panel, "openSession", {{"remote", "kitchen"}, {"session", "2"}});
    EXPECT_EQ(2, panel.findSessionId("kitchen"));
    EXPECT_FALSE(panel.ActiveSipSession(1));
}

TEST_F(PanelCommand, OpenSessionRefusesNumbersThatAreNoSession) {
    Panel& panel = NewPanel(101);
    for (const char* const number : {"255", "-1", "x", ""})
        EXPECT_EQ("<fail>session must be a number from 0 to 254, not \"" + std::string(number) + "\"</fail>",
                  Ui(panel, "openSession", {{"remote", "kitchen"}, {"session", number}}));
    EXPECT_EQ("<fail>parameter session is missing</fail>", Ui(panel, "openSession", {{"remote", "kitchen"}}));
    EXPECT_EQ("<fail>parameter remote is missing</fail>", Ui(panel, "openSession", {{"session", "1"}}));
    EXPECT_EQ(dvIntercom::NO_SESSION, panel.findSessionId("kitchen"));
}

TEST_F(PanelCommand, CloseSessionNeedsTheRemoteAlone) {
    Panel& panel = NewPanel(101);
    Ui(panel, "openSession", {{"remote", "kitchen"}, {"session", "1"}});
    EXPECT_EQ("<success/>", Ui(panel, "closeSession", {{"remote", "kitchen"}}));
    EXPECT_EQ(dvIntercom::NO_SESSION, panel.findSessionId("kitchen"));
    EXPECT_EQ("<fail>no session with \"kitchen\" is open</fail>",
              Ui(panel, "closeSession", {{"remote", "kitchen"}}));
}

TEST_F(PanelCommand, AddToAgentRegistersUnderItsOwnIdOrAnother) {
    Panel& panel = Registered();
    EXPECT_EQ("<success/>", Ui(panel, "addToAgent"));
    EXPECT_EQ("<success/>", Ui(panel, "addToAgent", {{"id", "4294967295"}}));
    EXPECT_EQ("<success/>", Ui(panel, "addToAgent", {{"id", "7"}, {"null", "false"}}));
    EXPECT_THAT(Take("agent"),
                ElementsAre("agent AddIntercomDevice 101", "agent AddIntercomDevice 4294967295",
                            "agent AddIntercomDevice 7"));
    EXPECT_EQ(&panel, agent.GetIntercomDevice(7));
}

TEST_F(PanelCommand, AddToAgentCanPassNoDevice) {
    Panel& panel = Registered();
    EXPECT_EQ("<success/>", Ui(panel, "addToAgent", {{"id", "9"}, {"null", "true"}}));
    EXPECT_THAT(Take("agent"), ElementsAre("agent AddIntercomDevice 9 null"));
}

TEST_F(PanelCommand, RemoveFromAgentTakesOutItsOwnIdOrAnother) {
    Panel& panel = Registered();
    EXPECT_EQ("<success/>", Ui(panel, "removeFromAgent", {{"id", "55"}}));
    EXPECT_EQ("<success/>", Ui(panel, "removeFromAgent"));
    EXPECT_THAT(Take("agent"), ElementsAre("agent OnDeviceRemoved 55", "agent OnDeviceRemoved 101"));
    DeletePanel(panel);
    EXPECT_THAT(Take("agent"), IsEmpty());
}

TEST_F(PanelCommand, NotifyChangedTellsAnyPropertyOfAnyId) {
    Panel& panel = Registered();
    EXPECT_EQ("<success/>", Ui(panel, "notifyChanged", {{"property", "1"}}));
    EXPECT_EQ("<success/>", Ui(panel, "notifyChanged", {{"property", "-1"}, {"id", "3000000000"}}));
    EXPECT_THAT(Take("agent"), ElementsAre("agent OnDeviceChanged 101 1 <device><id>101</id></device>",
                                           "agent OnDeviceChanged 3000000000 -1"));
}

TEST_F(PanelCommand, ReportCallPassesEverythingOnAsItStands) {
    Panel& panel = Registered();
    EXPECT_EQ("<success/>", Ui(panel, "reportCall",
                               {{"displayName", "A  b"},
                                {"address", "a@x"},
                                {"callTime", "noon"},
                                {"callLength", "long"},
                                {"received", "true"},
                                {"accepted", "false"}}));
    EXPECT_EQ("<success/>", Ui(panel, "reportCall", {{"accepted", "1"}}));
    EXPECT_THAT(Take("agent"), ElementsAre("agent AddRecentContact [A  b] [a@x] [noon] [long] true false",
                                           "agent AddRecentContact [] [] [] [] false true"));
}

TEST_F(PanelCommand, EndOfflineSessionPassesBothKeysOn) {
    Panel& panel = Registered();
    EXPECT_EQ("<success/>", Ui(panel, "endOfflineSession", {{"local", "hall"}, {"remote", "down"}}));
    EXPECT_EQ("<success/>", Ui(panel, "endOfflineSession", {{"local", "hall"}}));
    EXPECT_THAT(Take("agent"),
                ElementsAre("agent EndOfflineSession [hall] [down]", "agent EndOfflineSession [hall] []"));
}

TEST_F(PanelCommand, AskAgentRepliesWithTheElementThatTheAgentReturns) {
    Panel& panel = Registered();
    EXPECT_EQ("<groups>false</groups>", Ui(panel, "askAgent", {{"operation", "GetGroupList"}}));
    EXPECT_EQ("<groups>true</groups>",
              Ui(panel, "askAgent", {{"operation", "GetGroupList"}, {"includeAll", "true"}}));
    EXPECT_EQ("<devices/>", Ui(panel, "askAgent", {{"operation", "GetDeviceList"}}));
    EXPECT_EQ("<contacts/>", Ui(panel, "askAgent", {{"operation", "GetContactList"}}));
}

TEST_F(PanelCommand, AskAgentRepliesWithAResultForWhatIsNoElement) {
    Panel& panel = Registered();
    EXPECT_EQ("<result>aor 5</result>", Ui(panel, "askAgent", {{"operation", "GetDeviceAOR"}, {"id", "5"}}));
    EXPECT_EQ("<result>20</result>", Ui(panel, "askAgent", {{"operation", "GetPopupTimeout"}}));
    EXPECT_EQ("<result><device>101</device><device>102</device></result>",
              Ui(panel, "askAgent", {{"operation", "GetDeviceListByGroup"}, {"groupId", "7"}}));
    EXPECT_EQ("<result/>", Ui(panel, "askAgent", {{"operation", "GetDeviceListByGroup"}, {"groupId", "8"}}));
    EXPECT_EQ("<result>hall</result>",
              Ui(panel, "askAgent", {{"operation", "GetIntercomDevice"}, {"id", "101"}}));
    EXPECT_EQ("<result/>", Ui(panel, "askAgent", {{"operation", "GetIntercomDevice"}, {"id", "102"}}));
}

TEST_F(PanelCommand, AskAgentNamesWhatItCanAsk) {
    EXPECT_EQ(
        "<fail>the agent cannot be asked \"getGroupList\"; it can be asked GetGroupList, GetDeviceList, "
        "GetContactList, GetDeviceAOR, GetPopupTimeout, GetDeviceListByGroup, GetIntercomDevice</fail>",
        Ui(Registered(), "askAgent", {{"operation", "getGroupList"}}));
}

TEST_F(PanelCommand, WrongParametersChangeNothingAndTellTheReason) {
    Panel& panel = Registered();
    const std::string id = "<fail>id must be a number from -2147483648 to 4294967295, not \"x\"</fail>";
    EXPECT_EQ(id, Ui(panel, "addToAgent", {{"id", "x"}}));
    EXPECT_EQ(id, Ui(panel, "removeFromAgent", {{"id", "x"}}));
    EXPECT_EQ(id, Ui(panel, "notifyChanged", {{"property", "1"}, {"id", "x"}}));
    EXPECT_EQ(id, Ui(panel, "askAgent", {{"operation", "GetDeviceAOR"}, {"id", "x"}}));
    EXPECT_EQ("<fail>null must be true or false, not \"x\"</fail>", Ui(panel, "addToAgent", {{"null", "x"}}));
    EXPECT_EQ("<fail>parameter property is missing</fail>", Ui(panel, "notifyChanged"));
    EXPECT_EQ("<fail>received must be true or false, not \"x\"</fail>",
              Ui(panel, "reportCall", {{"received", "x"}}));
    EXPECT_EQ("<fail>accepted must be true or false, not \"\"</fail>",
              Ui(panel, "reportCall", {{"accepted", ""}}));
    EXPECT_EQ("<fail>parameter groupId is missing</fail>",
              Ui(panel, "askAgent", {{"operation", "GetDeviceListByGroup"}}));
    EXPECT_EQ("<fail>parameter operation is missing</fail>", Ui(panel, "askAgent"));
    EXPECT_THAT(Take("agent"), IsEmpty());
}

TEST_F(PanelCommand, WithoutAnAgentWhatNeedsOneFails) {
    Panel& panel = NewPanel(101);
    const std::string fail = "<fail>no intercom agent runs in this host</fail>";
    EXPECT_EQ(fail, Ui(panel, "addToAgent"));
    EXPECT_EQ(fail, Ui(panel, "addToAgent", {{"null", "true"}}));
    EXPECT_EQ(fail, Ui(panel, "removeFromAgent"));
    EXPECT_EQ(fail, Ui(panel, "notifyChanged", {{"property", "0"}}));
    EXPECT_EQ(fail, Ui(panel, "reportCall"));
    EXPECT_EQ(fail, Ui(panel, "endOfflineSession"));
    EXPECT_EQ(fail, Ui(panel, "askAgent", {{"operation", "GetDeviceList"}}));
}
