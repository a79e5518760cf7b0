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

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "agent/IntercomAgent.h"
#include "tests/support/FakeDevice.h"
#include "tests/support/FakeHost.h"
#include "tests/support/FakeSysman.h"
#include "tests/support/Recorder.h"

namespace test {

/// Names and texts, in order; names may repeat.
using Parameters = std::vector<std::pair<std::string, std::string>>;

/// At the end of a test the agent is ended and deleted as the host does it, and must have left
/// nothing registered.
class AgentFixture : public testing::Test {
protected:
    /// The agent's own id.
    static constexpr unsigned long kAgentId = 77;
    /// Ui's answer when the command was handled without an element.
    static constexpr char kNone[] = "(none)";

    AgentFixture();
    ~AgentFixture() override;
    void TearDown() override;

    // The agent's life. Start does the first two and forgets what they recorded.

    /// Makes the agent by its factory.
    void Create();
    /// Initialises it; without text there is no saved state.
    void Initialize(const std::string& savedXml = "");
    void Start(const std::string& savedXml = "");
    /// OnDestroy.
    void Stop();
    /// Deletes the agent.
    void Delete();
    /// Stop and Delete, then Start with the state that the agent had.
    void Restart();

    IntercomAgent& Agent();
    /// What device drivers see, as found through the host.
    IIntercomAgent& Drivers();

    /// Sends a UI command. Its reply as text, kNone when there is no element; a failure of the
    /// test when nothing registered the command.
    std::string Ui(const std::string& command, const Parameters& parameters = {});
    /// Sends a plain command; a failure of the test when nothing registered it.
    void Plain(const std::string& command, const Parameters& parameters = {});
    /// Has the host deliver an event; a failure of the test when the agent does not listen.
    void SystemEvent(const std::string& name, const Parameters& parameters = {},
                     unsigned int eventClass = 11);
    /// The saved state as text.
    std::string State();

    /// A device of the fixture that the agent does not know yet; the fixture owns it.
    FakeDevice& NewDevice(unsigned long id, int version = 1, const std::string& label = "");
    /// The same, announced to the agent; what that recorded is forgotten.
    FakeDevice& AddDevice(unsigned long id, int version = 1, const std::string& label = "");
    /// Deletes a device of the fixture, also from inside one of its operations.
    void DeleteDevice(FakeDevice& device);

    /// The controller's address from now on; empty (as at first) is "no address".
    static void SetAddress(const std::string& address);

    /// The lines recorded since the last Take, all or those that begin with the prefix.
    std::vector<std::string> Take() { return recorder.Take(); }
    std::vector<std::string> Take(std::string_view prefix) { return recorder.Take(prefix); }

    Recorder recorder;
    FakeSysman sysman{recorder};
    FakeHost host{recorder};

private:
    std::vector<std::unique_ptr<FakeDevice>> devices_;
    IDriver* agent_ = nullptr;
    bool initialized_ = false;
};

/// A command message with these parameters.
dv::auto_com<ICmdMessage> Message(const std::string& command, const Parameters& parameters);

/// The text of an element; AgentFixture's "(none)" for null.
std::string Text(const dv::auto_com<DvXML::INode>& element);

}  // namespace test

#endif
