// Panels in one host, with or without an agent.
//
//     class Life : public test::PanelFixture {};
//
//     TEST_F(Life, RegistersAtStart) {
//         StartAgent();
//         NewPanel(101, "<key>hall</key>");
//         EXPECT_THAT(Take("agent"), ElementsAre("agent AddIntercomDevice 101"));
//     }
#ifndef TESTS_DRIVERS_PANELFIXTURE_H
#define TESTS_DRIVERS_PANELFIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "drivers/panel/Panel.h"
#include "tests/drivers/FakeAgent.h"
#include "tests/support/DriverFixture.h"

namespace test {

/// An element from its text.
dv::auto_com<DvXML::INode> Element(const std::string& xml);

/// Sends a UI command to a driver. Its reply as text, "(none)" when there is no element; a failure
/// of the test when the driver has no such command.
std::string Ui(IDriver& driver, const std::string& command, const Parameters& parameters = {});

/// At the end of a test every panel is ended and deleted as the host does it.
class PanelFixture : public testing::Test {
protected:
    ~PanelFixture() override;

    /// A panel that is created and initialised with what stands between <config> and </config>.
    Panel& NewPanel(unsigned long id, const std::string& config = "");
    /// A panel that is only created.
    Panel& CreatePanel();
    /// OnDestroy, then deletion.
    void DeletePanel(Panel& panel);

    void StartAgent();
    /// As the agent does it: it is withdrawn first, then every device is told.
    void StopAgent();

    /// What getOperations answers, without the element around it.
    std::string OperationsOf(Panel& panel);

    std::vector<std::string> Take() { return recorder.Take(); }
    std::vector<std::string> Take(std::string_view prefix) { return recorder.Take(prefix); }

    Recorder recorder;
    FakeAgent agent{recorder};

private:
    /// A host of its own for each panel, since it knows who is asking.
    struct Place {
        std::unique_ptr<FakeHost> host;
        std::unique_ptr<Panel> panel;
    };
    void ShowDrivers();

    std::list<Place> places_;
    bool agentRuns_ = false;
};

}  // namespace test

#endif
