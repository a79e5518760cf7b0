// A whole home: the host with its agent and phones, sysman, sipproxy with its Kamailio, callcontrol,
// rtpengine, and real phones that know nothing of them. In a network of its own.
#ifndef TESTS_TELEPHONY_SUPPORT_WHOLEHOME_H
#define TESTS_TELEPHONY_SUPPORT_WHOLEHOME_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/process/DriverHost.h"
#include "tests/telephony/support/CallHome.h"

namespace test {

class WholeHome {
public:
    WholeHome() = default;
    /// Ends the programs.
    ~WholeHome();
    WholeHome(const WholeHome&) = delete;
    WholeHome& operator=(const WholeHome&) = delete;

    /// Starts a home with these drivers beside the agent, and waits until its proxy takes registrations.
    /// Throws std::runtime_error, with the logs, when it does not. EnterOwnNetwork comes first.
    void Open(const std::string& drivers, CallHome::Silence silence = CallHome::kUsualSilence);
    /// Ends the programs in order.
    void Close();

    /// A driver for the phone of this user, which is its key, too; `more` goes into its configuration. Its
    /// password is "pw-" and the user.
    static std::string PhoneDriver(unsigned id, const std::string& key, const std::string& name,
                                   const std::string& more = "");

    /// The body of the agent's answer.
    std::string Command(const std::string& command, const Form& form = {}) const;
    bool HasState(unsigned id, int state) const;
    /// By the agent, ringing.
    void Call(unsigned from, unsigned to) const;
    /// A setting of setDeviceState.
    void Set(unsigned id, const std::string& setting, const std::string& value) const;
    void HangUp(unsigned id) const;

    void KillHost() { host_->Kill(); }
    /// Where it was: pages look for it there.
    void StartHost() { host_->Start(host_->Port()); }
    /// The processes of Kamailio, the main one first.
    std::vector<pid_t> Kamailios() const;
    bool ProxyTakesRequests() const;
    /// What call control has.
    telephony::Event Snapshot() const { return home_->Connect()->Greet(); }
    std::string ProxyLog() const { return ReadFile(folder_ / "sysman/sipproxy.log"); }
    /// All logs, for a test that has failed.
    std::string Logs() const;
    /// Of the home's programs.
    std::map<std::string, std::string> Environment() const;

    TempFolder folder_;
    std::unique_ptr<CallHome> home_;
    std::unique_ptr<DriverHost> host_;
};

}  // namespace test

#endif
