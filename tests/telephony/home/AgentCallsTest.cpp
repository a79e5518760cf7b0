// The agent's four kinds of call by its commands, and what comes of them at real phones.
#include "tests/telephony/home/House.h"

namespace test {
namespace {

using AgentCalls = House;

TEST_F(AgentCalls, ACommandConnectsTwoPhonesThatHearEachOtherAndBothReportTheCall) {
    EXPECT_TRUE(StateBecomes(101, 4));
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    EXPECT_TRUE(StateBecomes(101, 0));
    EXPECT_TRUE(StateBecomes(102, 0));
    Call(101, 102);
    EXPECT_TRUE(StateBecomes(101, 3));
    EXPECT_TRUE(StateBecomes(102, 3));
    Talk(hall, kitchen);
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_TRUE(Hears(kitchen, 440));
    HangUp(102);
    EXPECT_TRUE(StateBecomes(101, 0));
    EXPECT_TRUE(StateBecomes(102, 0));
    const std::string recent = Command("getRecentContactList");
    EXPECT_NE(recent.find("<displayName>Kitchen</displayName><aor>kitchen</aor>"), std::string::npos)
        << recent;
    EXPECT_NE(recent.find("<displayName>Hall</displayName><aor>hall</aor>"), std::string::npos) << recent;
    EXPECT_TRUE(WaitUntil([&] { return home_->Rooms() == 0; }));
}

TEST_F(AgentCalls, ABroadcastIsHeardByAllAndOneListenerLeavesAlone) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    Baresip attic(*home_, "attic", 6120, 880);
    EXPECT_TRUE(StateBecomes(103, 0));
    Command("SIP_BROADCAST_CALL",
            {{"source", "101"}, {"destinations", "<ids><id>102</id><id>103</id></ids>"}, {"video", "3"}});
    for (const unsigned id : {101u, 102u, 103u})
        EXPECT_TRUE(StateBecomes(id, 3));
    Talk(kitchen, attic);
    EXPECT_TRUE(Hears(kitchen, 440));
    EXPECT_TRUE(Hears(attic, 440));
    EXPECT_TRUE(HearsNothing(hall));
    HangUp(103);
    EXPECT_TRUE(StateBecomes(103, 0));
    EXPECT_TRUE(StateBecomes(102, 3));
    HangUp(101);
    EXPECT_TRUE(StateBecomes(102, 0));
}

TEST_F(AgentCalls, OnlyWhoMayBeMonitoredIs) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    EXPECT_TRUE(StateBecomes(102, 0));
    Command("SIP_MONITOR_CALL", {{"source", "102"}, {"destination", "101"}, {"video", "3"}});
    EXPECT_TRUE(IsLogged("call control refuses: call: \"hall\" may not be monitored"));
    Command("SIP_MONITOR_CALL", {{"source", "101"}, {"destination", "102"}, {"video", "3"}});
    EXPECT_TRUE(StateBecomes(101, 3));
    Talk(hall);
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_TRUE(HearsNothing(kitchen));
}

TEST_F(AgentCalls, ACallThatAPhoneStartsIsOneOfTheAgentsToo) {
    Baresip hall(*home_, "hall", 6100, 440);
    Baresip kitchen(*home_, "kitchen", 6110, 660);
    EXPECT_TRUE(StateBecomes(102, 0));
    hall.Do("dial", "sip:Kitchen@127.0.0.1");
    EXPECT_TRUE(StateBecomes(101, 3));
    EXPECT_TRUE(StateBecomes(102, 3));
    Talk(hall, kitchen);
    EXPECT_TRUE(Hears(hall, 660));
    EXPECT_TRUE(Hears(kitchen, 440));
    hall.Do("hangup");
    EXPECT_TRUE(StateBecomes(102, 0));
    const std::string recent = Command("getRecentContactList");
    EXPECT_NE(recent.find("<aor>kitchen</aor>"), std::string::npos) << recent;
    EXPECT_NE(recent.find("<aor>hall</aor>"), std::string::npos) << recent;
}

TEST_F(AgentCalls, APhoneThatIsSwitchedOffIsAway) {
    {
        Baresip hall(*home_, "hall", 6100, 440);
        EXPECT_TRUE(StateBecomes(101, 0));
    }
    EXPECT_TRUE(StateBecomes(101, 4));
}

}  // namespace
}  // namespace test
