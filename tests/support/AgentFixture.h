// The ground on which the agent's tests stand: an agent with a recording host, system manager
// and devices around it.
//
//     class Groups : public test::AgentFixture {};
//
//     TEST_F(Groups, NamesAreUnique) {
//         Start();
//         EXPECT_EQ("<group><groupId>1</groupId><name>Hall</name></group>",
//                   Ui("addGroup", {{"name", "Hall"}}));
//         EXPECT_EQ("<fail/>", Ui("addGroup", {{"name", "Hall"}}));
//         EXPECT_THAT(Take(), ElementsAre("mark", "ui <GroupAdded><id>1</id></GroupAdded>"));
//     }
#ifndef TESTS_SUPPORT_AGENTFIXTURE_H
#define TESTS_SUPPORT_AGENTFIXTURE_H

#include "agent/IntercomAgent.h"
#include "tests/support/DriverFixture.h"
#include "tests/support/FakeSysman.h"

namespace test {

class AgentFixture : public DriverFixture {
protected:
    IDriver* MakeDriver() override { return IntercomAgent::Create(host); }
    IntercomAgent& Agent() { return static_cast<IntercomAgent&>(Driver()); }

    FakeSysman sysman{recorder};
};

}  // namespace test

#endif
