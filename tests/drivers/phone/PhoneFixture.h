// Phones of one home between an agent and a call control that a test plays.
#ifndef TESTS_DRIVERS_PHONE_PHONEFIXTURE_H
#define TESTS_DRIVERS_PHONE_PHONEFIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "drivers/phone/Phone.h"
#include "tests/drivers/PanelFixture.h"
#include "tests/drivers/phone/FakeCallControl.h"
#include "tests/support/process/TempFolder.h"

namespace test {

/// A host that threads may call, as they may the real one. What they post and log waits for RunPosted.
class ThreadedHost final : public IInstanceManager {
public:
    explicit ThreadedHost(Recorder& recorder) : host_(recorder) {}

    void RunPosted();
    /// All that was logged, a line each.
    const std::string& Logged() const { return logged_; }

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

/// A phone "hall", id 101, called "Hall", and beside it "kitchen" (102, "Kitchen") and "attic" (103,
/// "Attic"), which have no call control.
class PhoneFixture : public testing::Test {
protected:
    PhoneFixture();
    ~PhoneFixture() override;

    /// Starts the hall's phone with what stands in its config beside key, name, password and socket.
    Phone& Start(const std::string& config = "", DvXML::INode* saved = nullptr);
    /// The same, and call control has greeted it.
    Phone& StartConnected(const std::string& config = "");
    /// The hello, answered with the snapshot and taken by the driver.
    nlohmann::json Greet();
    void Stop();

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
    /// Has the hall call the kitchen; both have answered. The id of the call.
    std::string CallTheKitchen();
    /// The same, started by the kitchen.
    void BeCalledByTheKitchen(const std::string& id = "1");

    /// What agent and host were told, without log lines and posts.
    std::vector<std::string> TakeAgent() { return recorder.Take("agent"); }

    TempFolder folder;
    Recorder recorder;
    HomeAgent agent{recorder};
    ThreadedHost host{recorder};
    std::unique_ptr<FakeCallControl> control;
    std::unique_ptr<Phone> phone;
    Phone::Times times;

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
