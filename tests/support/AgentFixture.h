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

    // What drivers do from inside a call as well.

    /// Takes the device out of the registry, then deletes it.
    void RemoveAndDelete(FakeDevice& device);
    /// Registers the other one under the device's id, then deletes the device. Forgets what was
    /// recorded until then.
    void ReplaceAndDelete(FakeDevice& device, FakeDevice& other);

    FakeSysman sysman{recorder};
};

inline void AgentFixture::RemoveAndDelete(FakeDevice& device) {
    Agent().OnDeviceRemoved(device.id);
    DeleteDevice(device);
}

inline void AgentFixture::ReplaceAndDelete(FakeDevice& device, FakeDevice& other) {
    Agent().AddIntercomDevice(device.id, &other);
    DeleteDevice(device);
    Take();
}

}  // namespace test

#endif
