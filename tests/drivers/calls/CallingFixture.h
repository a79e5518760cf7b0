// Devices of one home between an agent and a call control that a test plays.
#ifndef TESTS_DRIVERS_CALLS_CALLINGFIXTURE_H
#define TESTS_DRIVERS_CALLS_CALLINGFIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "drivers/phone/Phone.h"
#include "tests/drivers/PanelFixture.h"
#include "tests/drivers/calls/FakeCallControl.h"
#include "tests/support/process/TempFolder.h"

namespace test {

/// A host that threads may call, as they may the real one. What they post and log waits for RunPosted.
class ThreadedHost final : public IInstanceManager {
public:
    explicit ThreadedHost(Recorder& recorder) : host_(recorder) {}

    void RunPosted();
    /// All that was logged, a line each.
    const std::string& Logged() const { return logged_; }
    /// The readers of the driver that are there.
    std::set<unsigned long>& Readers() { return host_.readers; }

    long InstanceRegisterInterface(const std::string& id, void* object) override;
    long InstanceUnregisterInterface(const std::string& id) override;
    void* InstanceFindInterface(const std::string& id) override { return host_.InstanceFindInterface(id); }
    IDriverManager& GetDriverManager() override { return host_; }
    long RegisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                          unsigned long number) override;
    long UnregisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                            unsigned long number) override;
    void SendDataToUI(const DvXML::INode& element) override { host_.SendDataToUI(element); }
    void InvalidateState() override { host_.InvalidateState(); }
    void WriteLog(unsigned int level, const std::string& text) override;
    void PostToDriverThread(boost::function<void()> work) override;
    void WithdrawAll() override { host_.WithdrawAll(); }
    bool SendDataToReader(unsigned long reader, const DvXML::INode& element) override {
        return host_.SendDataToReader(reader, element);
    }

private:
    FakeHost host_;
    std::mutex mutex_;
    std::deque<boost::function<void()>> posted_;
    std::string logged_;  // the driver thread's
};

/// Lists the devices that are registered, as the real agent does, and the groups of a test.
class HomeAgent final : public IIntercomAgent {
public:
    explicit HomeAgent(Recorder& recorder) : fake(recorder) {}

    void AddIntercomDevice(unsigned long id, ISupportIntercom* device) override;
    void OnDeviceRemoved(unsigned long id) override { fake.OnDeviceRemoved(id); }
    void OnDeviceChanged(unsigned long id, dvIntercom::DeviceProps prop) override;
    dv::auto_com<DvXML::INode> GetGroupList(bool) override { return Element(groups); }
    dv::auto_com<DvXML::INode> GetDeviceList() override;
    std::string GetDeviceAOR(unsigned long id) override { return fake.GetDeviceAOR(id); }
    dv::auto_com<DvXML::INode> GetContactList() override { return fake.GetContactList(); }
    void AddRecentContact(const std::string& displayName, const std::string& address,
                          const std::string& callTime, const std::string& callLength, bool received,
                          bool accepted) override;
    int GetPopupTimeout() override { return 20; }
    void GetDeviceListByGroup(std::vector<unsigned long>& out, int id) override;
    ISupportIntercom* GetIntercomDevice(unsigned long id) override { return fake.GetIntercomDevice(id); }
    void EndOfflineSession(const std::string& local, const std::string& remote) override;

    FakeAgent fake;
    std::string groups = "<groups/>";
    /// Times and lengths of the calls that were reported, which differ from run to run.
    std::vector<std::pair<std::string, std::string>> callTimes;
};

/// The ground on which a device "hall" (id 101, called "Hall") stands, and beside it the phones "kitchen"
/// (102, "Kitchen") and "attic" (103, "Attic"), which have no call control. A deriving fixture starts the
/// device, and ends it in its destructor.
class CallingFixture : public testing::Test {
protected:
    CallingFixture();
    ~CallingFixture() override;

    /// The hello of the hall's driver, answered with the snapshot and taken.
    nlohmann::json Greet();

    /// Sends it, and runs the driver until it has taken all that was sent.
    void Tell(const telephony::Event& event);
    /// Runs what threads have posted until the condition holds.
    bool Eventually(const std::function<bool()>& condition);
    bool IsLogged(const std::string& text);

    /// An ordered call with the hall as caller, or of others to it.
    telephony::CallReport Call(const std::string& id, const std::string& from,
                               const std::vector<std::string>& to,
                               telephony::CallKind kind = telephony::CallKind::Regular) const;
    telephony::Event About(telephony::EventKind kind, const std::string& id, const std::string& leg = "",
                           int code = 0) const;
    telephony::Event Calling(const telephony::CallReport& call) const;

    /// What the agent was told.
    std::vector<std::string> TakeAgent() { return recorder.Take("agent"); }

    TempFolder folder;
    Recorder recorder;
    HomeAgent agent{recorder};
    ThreadedHost host{recorder};
    std::unique_ptr<FakeCallControl> control;
    /// Connections are tried again at once, and nobody is given up because the machine is slow.
    CallControlLink::Times linkTimes;

private:
    struct Neighbour {
        std::unique_ptr<FakeHost> host;
        std::unique_ptr<Phone> phone;
    };
    void AddNeighbour(unsigned long id, const std::string& key, const std::string& name);

    std::vector<Neighbour> neighbours_;
};

}  // namespace test

#endif
