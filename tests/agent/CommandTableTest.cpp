// The whole vocabulary: names, kinds, order, and that every command is answered.
#include "tests/support/AgentFixture.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

struct UiCommand {
    const char* name;
    /// What a new agent answers when the commands are sent from top to bottom without parameters.
    const char* reply;
};

constexpr UiCommand kUiCommands[] = {
    {"addGroup", "<group><groupId>1</groupId><name/></group>"},
    {"copyGroup", "<fail/>"},
    {"deleteGroup", "<fail/>"},
    {"getGroupList",
     "<groups><group><groupId>0</groupId><name>All</name></group><group><groupId>1</groupId><name/></group>"
     "</groups>"},
    {"getGroup", "<group><groupId>0</groupId><name>All</name></group>"},
    {"getDeviceList", "<devices/>"},
    {"setDeviceOrder", "<fail/>"},
    {"getDeviceState", "<fail/>"},
    {"setDeviceState", "<fail/>"},
    {"getPopupTimeout", "<timeout>20</timeout>"},
    {"setPopupTimeout", "<success/>"},
    {"getIsExternal", "<external>false</external>"},
    {"setGroupState", "<fail/>"},
    {"getSipUserGroup", "<SipGroup><GroupName/></SipGroup>"},
    {"getCustomButtons", "(none)"},
    {"addUser", "<success/>"},
    {"eraseUser", "<success/>"},
    {"getUser", "<fail>OnReqGetUser: Invalid parameters</fail>"},
    {"addRoute", "<success/>"},
    {"eraseRoute", "<success/>"},
    {"getRoute", "(none)"},
    {"addAcl", "<success/>"},
    {"eraseAcl", "<success/>"},
    {"getAcl", "(none)"},
    {"addConfig", "<success/>"},
    {"eraseConfig", "<success/>"},
    {"getConfig", "(none)"},
    {"getSipProxyIP", "<sipProxyIP/>"},
    {"setSipProxyIP", "<success/>"},
    {"applySIPProxyChanges", "(none)"},
    {"editService", "<success/>"},
    {"getServiceList", "<services><service><name/><host/><username/><password/></service></services>"},
    {"removeService", "<success/>"},
    {"addContact", "<success/>"},
    {"deleteContact", "<success/>"},
    {"editContact", "<fail/>"},
    {"getContactList", "<contacts/>"},
    {"getRecentContactList", "<recentContacts/>"},
    {"deleteRecentContact", "<fail/>"},
    {"clearRecentContactList", "<success/>"},
};

constexpr const char* kPlainCommands[] = {"SIP_EXTERNAL_CALL", "SIP_REGULAR_CALL", "SIP_MONITOR_CALL",
                                          "SIP_BROADCAST_CALL", "CUSTOM_BUTTON"};

std::vector<std::string> Names(const std::vector<CommandInfo>& commands) {
    std::vector<std::string> names;
    for (const CommandInfo& command : commands)
        names.push_back(command.name);
    return names;
}

class Commands : public test::AgentFixture {
protected:
    bool IsUi(const std::string& name) {
        dv::auto_com<DvXML::INode> reply;
        return Agent().GetUICmdDispatcher().Dispatch(*test::Message(name, {}), reply);
    }
    bool IsPlain(const std::string& name) {
        return Agent().GetCmdDispatcher().Dispatch(*test::Message(name, {}));
    }
};

TEST_F(Commands, TheFortyUiCommandsAreRegisteredInTheirOrder) {
    Start();
    std::vector<std::string> expected;
    for (const UiCommand& command : kUiCommands)
        expected.emplace_back(command.name);
    EXPECT_EQ(40U, expected.size());
    EXPECT_EQ(expected, Names(Agent().GetUICmdDispatcher().Commands()));
}

TEST_F(Commands, TheFivePlainCommandsAreRegisteredInTheirOrder) {
    Start();
    const std::vector<std::string> expected(std::begin(kPlainCommands), std::end(kPlainCommands));
    EXPECT_EQ(5U, expected.size());
    EXPECT_EQ(expected, Names(Agent().GetCmdDispatcher().Commands()));
}

TEST_F(Commands, EveryUiCommandIsAnsweredEvenWithoutParameters) {
    Start();
    for (const UiCommand& command : kUiCommands)
        EXPECT_EQ(command.reply, Ui(command.name)) << command.name;
}

TEST_F(Commands, PlainCommandsWithoutParametersDoNothing) {
    Start();
    for (const char* const name : kPlainCommands)
        Plain(name);
    EXPECT_THAT(Take(), IsEmpty());
}

TEST_F(Commands, EachCommandIsOfOneKindOnly) {
    Start();
    EXPECT_TRUE(IsUi("getPopupTimeout"));
    EXPECT_FALSE(IsPlain("getPopupTimeout"));
    EXPECT_TRUE(IsPlain("SIP_REGULAR_CALL"));
    EXPECT_FALSE(IsUi("SIP_REGULAR_CALL"));
    for (const char* const name : kPlainCommands)
        EXPECT_FALSE(IsUi(name)) << name;
    for (const UiCommand& command : kUiCommands)
        EXPECT_FALSE(IsPlain(command.name)) << command.name;
}

TEST_F(Commands, NamesAreMatchedExactly) {
    Start();
    for (const char* const name : {"applySipProxyChanges", "AddGroup", "addGroup ", "", "sip_regular_call",
                                   "GET_CUSTOM_BUTTON", "getgroup"}) {
        EXPECT_FALSE(IsUi(name)) << name;
        EXPECT_FALSE(IsPlain(name)) << name;
    }
}

TEST_F(Commands, EveryCommandHasOneLineOfHelp) {
    Start();
    std::vector<CommandInfo> commands = Agent().GetUICmdDispatcher().Commands();
    for (const CommandInfo& plain : Agent().GetCmdDispatcher().Commands())
        commands.push_back(plain);
    for (const CommandInfo& command : commands) {
        EXPECT_THAT(command.help, Not(IsEmpty())) << command.name;
        EXPECT_THAT(command.help, Not(HasSubstr("\n"))) << command.name;
    }
}

TEST_F(Commands, HelpEndsWithTheNamesOfTheParameters) {
    Start();
    const auto& commands = Agent().GetUICmdDispatcher().Commands();
    EXPECT_EQ("addGroup", commands.at(0).name);
    EXPECT_THAT(commands.at(0).help, testing::EndsWith(" (name)"));
    EXPECT_EQ("copyGroup", commands.at(1).name);
    EXPECT_THAT(commands.at(1).help, testing::EndsWith(" (groupId name)"));
    EXPECT_EQ("getGroupList", commands.at(3).name);
    EXPECT_THAT(commands.at(3).help, Not(HasSubstr("(")));
}

}  // namespace
