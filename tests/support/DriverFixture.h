// The ground on which tests of a whole driver stand: the driver between a recording host and
// fake devices. A deriving fixture says how the driver is made.
#ifndef TESTS_SUPPORT_DRIVERFIXTURE_H
#define TESTS_SUPPORT_DRIVERFIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/interfaces/IDriver.h"
#include "host/interfaces/IIntercomAgent.h"
#include "tests/support/FakeDevice.h"
#include "tests/support/FakeHost.h"
#include "tests/support/Recorder.h"

namespace test {

/// Names and texts, in order; names may repeat.
using Parameters = std::vector<std::pair<std::string, std::string>>;

/// At the end of a test the driver is ended and deleted as the host does it, and must have left
/// nothing registered.
class DriverFixture : public testing::Test {
protected:
    /// The driver's own id.
    static constexpr unsigned long kDriverId = 77;
    /// Ui's answer when the command was handled without an element.
    static constexpr char kNone[] = "(none)";

    DriverFixture();
    ~DriverFixture() override;
    void TearDown() override;

    /// A new driver, made by its factory.
    virtual IDriver* MakeDriver() = 0;

    // The driver's life. Start does the first two and forgets what they recorded.

    void Create() { driver_ = MakeDriver(); }
    /// Without text there is no saved state.
    void Initialize(const std::string& savedXml = "");
    void Start(const std::string& savedXml = "");
    /// OnDestroy.
    void Stop();
    void Delete();
    /// Stop and Delete, then Start with the state that the driver had.
    void Restart();

    IDriver& Driver();
    /// What the intercom agent offers to device drivers, as found through the host.
    IIntercomAgent& Drivers();

    /// Sends a UI command. Its reply as text, kNone when there is no element; a failure of the
    /// test when nothing registered the command.
    std::string Ui(const std::string& command, const Parameters& parameters = {});
    /// Sends a plain command; a failure of the test when nothing registered it.
    void Plain(const std::string& command, const Parameters& parameters = {});
    /// Has the host deliver an event; a failure of the test when the driver does not listen.
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
    FakeHost host{recorder};

private:
    std::vector<std::unique_ptr<FakeDevice>> devices_;
    IDriver* driver_ = nullptr;
    bool initialized_ = false;
};

/// A command message with these parameters.
dv::auto_com<ICmdMessage> Message(const std::string& command, const Parameters& parameters);

/// The text of an element; DriverFixture's "(none)" for null.
std::string Text(const dv::auto_com<DvXML::INode>& element);

}  // namespace test

#endif
