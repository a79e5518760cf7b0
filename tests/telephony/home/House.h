// A whole home: the host with its agent and phones, sysman, sipproxy with its Kamailio, callcontrol,
// rtpengine, and real phones that know nothing of them. In a network of its own.
#ifndef TESTS_TELEPHONY_HOME_HOUSE_H
#define TESTS_TELEPHONY_HOME_HOUSE_H

#include <map>
#include <memory>
#include <string>

#include "tests/support/process/DriverHost.h"
#include "tests/telephony/support/Listening.h"

namespace test {

class House : public testing::Test {
protected:
    /// Starts the home with these, and waits until its proxy takes registrations.
    void SetUp() override;
    void TearDown() override;

    /// The drivers of the home file beside the agent: the phones hall (101, "Hall") and kitchen (102,
    /// "Kitchen") ring for the doorbell, attic (103, "Attic") does not, door (104, "Front door") is a door
    /// station. Kitchen and attic may be monitored.
    virtual std::string Drivers() const;
    /// A driver for the phone of this user, which is its key, too; `more` goes into its configuration.
    static std::string PhoneDriver(unsigned id, const std::string& key, const std::string& name,
                                   const std::string& more = "");

    /// The body of the agent's answer.
    std::string Command(const std::string& command, const Form& form = {}) const;
    testing::AssertionResult StateBecomes(unsigned id, int state) const;
    testing::AssertionResult IsLogged(const std::string& text) const;
    /// By the agent, ringing.
    void Call(unsigned from, unsigned to) const;
    /// A setting of setDeviceState.
    void Set(unsigned id, const std::string& setting, const std::string& value) const;
    void HangUp(unsigned id) const;

    void KillHost() { host_->Kill(); }
    void StartHost() { host_->Start(); }
    /// The processes of Kamailio, the main one first.
    std::vector<pid_t> Kamailios() const;
    bool ProxyTakesRequests() const;
    /// What call control has.
    telephony::Event Snapshot() const { return home_->Connect()->Greet(); }
    std::string ProxyLog() const { return ReadFile(folder_ / "sysman/sipproxy.log"); }
    /// All logs, for a test that has failed.
    std::string Logs() const;

    TempFolder folder_;
    std::unique_ptr<CallHome> home_;
    std::unique_ptr<DriverHost> host_;

private:
    std::map<std::string, std::string> Environment() const;
};

}  // namespace test

#endif
