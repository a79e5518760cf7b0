// A home with a SIP proxy: a host that stands in, sipproxy and its Kamailio on an address of the test's own.
#ifndef TESTS_TELEPHONY_PROXY_SUPPORT_PROXYFIXTURE_H
#define TESTS_TELEPHONY_PROXY_SUPPORT_PROXYFIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "tests/support/process/Patience.h"
#include "tests/support/process/Process.h"
#include "tests/support/process/RunProgram.h"
#include "tests/support/process/TempFolder.h"
#include "tests/telephony/proxy/support/SipPhone.h"
#include "tests/telephony/proxy/support/StandInHost.h"

namespace proxy {

class ProxyFixture : public testing::Test {
protected:
    ProxyFixture();
    /// Ends the proxy in order. A test fails when a process of it is left.
    ~ProxyFixture() override;

    /// Two phones, 101 "hall" called "Hall" and 102 "kitchen" called "Kitchen".
    HostHome SampleHome() const;

    void StartHost(HostHome home);
    void StopHost() { host_.reset(); }
    /// Starts sipproxy and does not wait.
    void Launch();
    /// Starts host, if there is none yet, and sipproxy, and waits until the proxy runs.
    void Start();
    /// Waits until the proxy runs once more than it has been seen to.
    void WaitUntilRunning();
    void WaitForLog(const std::string& text);
    /// SIGTERM; the exit status.
    int Stop();

    std::string Log() const { return test::ReadFile(folder_ / "log"); }
    std::string Status(const std::string& option = "--status");
    /// A registration is written down within a second.
    bool StatusTells(const std::string& text);

    /// The processes that run with this proxy's script, the main one first.
    std::vector<pid_t> Kamailios() const;
    pid_t Keeper() const;

    std::unique_ptr<SipPhone> Phone(const std::string& user) const;
    /// What the called phone gets when `caller` calls the address, and answers with 200; empty when nothing
    /// comes. `status_` is what the caller hears.
    std::string Received(SipPhone& caller, SipPhone& called, const std::string& address);
    int status_ = 0;

    std::string Uri(const std::string& user) const { return "sip:" + user + "@" + address_; }

    template <class Condition>
    static bool Comes(Condition condition) {
        return test::Eventually(condition);
    }

    test::TempFolder folder_;
    const std::string address_;
    const std::string run_ = folder_ / "run";
    std::map<std::string, std::string> environment_;
    std::vector<std::string> runBy_;  // words in front of sipproxy's, of a program that becomes it
    std::unique_ptr<StandInHost> host_;
    std::unique_ptr<test::Process> proxy_;

private:
    std::size_t seen_ = 0;  // of the log
};

}  // namespace proxy

#endif
