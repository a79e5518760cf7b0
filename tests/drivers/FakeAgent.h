// The intercom agent as device drivers see it: records what they tell and answers plain values.
#ifndef TESTS_DRIVERS_FAKEAGENT_H
#define TESTS_DRIVERS_FAKEAGENT_H

#include <map>
#include <string>
#include <vector>

#include "host/interfaces/IIntercomAgent.h"
#include "host/interfaces/ISupportIntercom.h"
#include "tests/support/Recorder.h"

namespace test {

/// Lines: "agent OPERATION ARGUMENTS", texts in brackets. A registered device gets the proxy address
/// "10.0.0.2" before AddIntercomDevice returns.
class FakeAgent final : public IIntercomAgent {
public:
    explicit FakeAgent(Recorder& recorder) : recorder_(recorder) {}

    std::map<unsigned long, ISupportIntercom*> devices;

    // IIntercomAgent
    void AddIntercomDevice(unsigned long id, ISupportIntercom* device) override;
    void OnDeviceRemoved(unsigned long id) override;
    /// Records the device's own element too, when it is registered.
    void OnDeviceChanged(unsigned long id, dvIntercom::DeviceProps prop) override;
    dv::auto_com<DvXML::INode> GetGroupList(bool includeAll) override;
    dv::auto_com<DvXML::INode> GetDeviceList() override;
    std::string GetDeviceAOR(unsigned long id) override;
    dv::auto_com<DvXML::INode> GetContactList() override;
    void AddRecentContact(const std::string& displayName, const std::string& address,
                          const std::string& callTime, const std::string& callLength, bool receivedCall,
                          bool acceptedCall) override;
    int GetPopupTimeout() override { return 20; }
    /// Group 7 holds 101 and 102; there is no other.
    void GetDeviceListByGroup(std::vector<unsigned long>& out, int groupId) override;
    ISupportIntercom* GetIntercomDevice(unsigned long id) override;
    void EndOfflineSession(const std::string& local, const std::string& remote) override;

private:
    Recorder& recorder_;
};

}  // namespace test

#endif
