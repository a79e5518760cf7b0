// The real programs together: the host with its agent has sysman start sipproxy, which reads the host.
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/support/process/DriverHost.h"
#include "tests/support/process/HttpClient.h"
#include "tests/telephony/proxy/support/ProxyFixture.h"

using testing::HasSubstr;
using testing::Not;

namespace proxy {
namespace {

class HomeWithProxy : public ProxyFixture {
protected:
    HomeWithProxy() {
        environment_["PATH"] = std::string(BIN_FOLDER) + ":/usr/bin:/bin";
        environment_["SYSMAN_STATE_DIR"] = folder_ / "sysman";
        environment_["SIPPROXY_PROGRAM"] = SIPPROXY_PROGRAM;
        environment_["INTERCOM_HOST_SOCKET"] = "";  // the host tells its own
        test::WriteFile(folder_ / "home.xml",
                        "<home><controller><address>" + address_ +
                            "</address></controller>"
                            "<driver><id>1</id><name>agent</name><library>intercom_agent</library></driver>"
                            "<driver><id>101</id><name>hall</name><library>panel</library>"
                            "<config><key>hall</key><name>Hall</name></config></driver></home>");
    }

    ~HomeWithProxy() override { StopDriverhost(); }

    void StartDriverhost() {
        std::vector<std::string> words = {std::string(BIN_FOLDER) + "/driverhost",
                                          "--home",
                                          folder_ / "home.xml",
                                          "--state-dir",
                                          folder_ / "states",
                                          "--listen",
                                          "127.0.0.1:0"};
        const std::vector<std::string> times = test::GenerousTimes();
        words.insert(words.end(), times.begin(), times.end());
        driverhost_ = std::make_unique<test::Process>(
            test::Process::Command{words, environment_, folder_ / "host.log"});
        const std::string text = "host listening on http://127.0.0.1:";
        ASSERT_TRUE(Comes([&] {
            return HostLog().rfind(text) != std::string::npos && HostLog().rfind(text) > seen_;
        })) << HostLog();
        seen_ = HostLog().rfind(text);
        port_ = std::stoi(HostLog().substr(seen_ + text.size()));
    }

    void StopDriverhost() {
        if (!driverhost_) return;
        driverhost_->Signal(SIGTERM);
        driverhost_->Wait(test::kPatience);
        driverhost_.reset();
    }

    std::string Command(const std::string& command, const test::Form& form = {}) const {
        return test::Exchange(port_, test::FormRequest("/drivers/agent/commands/" + command, form)).body;
    }

    std::string HostLog() const { return test::ReadFile(folder_ / "host.log"); }
    std::string ProxyLog() const { return test::ReadFile(folder_ / "sysman/sipproxy.log"); }
    bool ProxyRuns() const {
        return ProxyLog().find("sipproxy: Kamailio runs on " + address_ + ":5060") != std::string::npos;
    }

    std::unique_ptr<test::Process> driverhost_;
    int port_ = 0;

private:
    std::size_t seen_ = 0;
};

TEST_F(HomeWithProxy, AUserThatIsAddedRegistersAndTheAgentKnowsTheProxysAddress) {
    StartDriverhost();
    EXPECT_TRUE(Comes([this] { return ProxyRuns(); })) << ProxyLog() << HostLog();
    Command("addUser", {{"key", "garden"}, {"user", "garden"}, {"password", "garden-password"}});
    const auto garden = Phone("garden");
    EXPECT_TRUE(Comes([&] { return garden->Register() == 200; })) << ProxyLog();
    EXPECT_TRUE(
        Comes([this] { return Command("getSipProxyIP") == "<sipProxyIP>" + address_ + "</sipProxyIP>"; }));
    EXPECT_EQ(480, garden->Ask({.method = "INVITE", .address = Uri("Hall")}));
    EXPECT_THAT(HostLog() + ProxyLog(), Not(HasSubstr("garden-password")));
}

TEST_F(HomeWithProxy, AChangeOfRecordsIsAppliedByARestartThatLosesNoRegistration) {
    StartDriverhost();
    EXPECT_TRUE(Comes([this] { return ProxyRuns(); })) << ProxyLog() << HostLog();
    Command("addUser", {{"key", "garden"}, {"user", "garden"}, {"password", "garden-password"}});
    const auto garden = Phone("garden");
    ASSERT_TRUE(Comes([&] { return garden->Register() == 200; })) << ProxyLog();
    Command("addConfig", {{"key", "n"}, {"domain", "garden.home"}, {"port", "5064"}});
    const std::vector<pid_t> before = Kamailios();
    Command("applySIPProxyChanges");
    EXPECT_TRUE(Comes([this] { return ProxyLog().find(address_ + ":5064") != std::string::npos; }))
        << ProxyLog();
    EXPECT_NE(before.front(), Kamailios().front());
    EXPECT_THAT(Status(), HasSubstr("account garden: sip:garden@" + garden->Address()));
}

TEST_F(HomeWithProxy, TheHostsEndEndsTheProxy) {
    StartDriverhost();
    EXPECT_TRUE(Comes([this] { return ProxyRuns(); })) << ProxyLog() << HostLog();
    StopDriverhost();
    EXPECT_TRUE(Comes([this] { return Kamailios().empty(); }));
}

TEST_F(HomeWithProxy, AHostThatIsKilledAndStartedAgainFindsItsProxy) {
    StartDriverhost();
    EXPECT_TRUE(Comes([this] { return ProxyRuns(); })) << ProxyLog() << HostLog();
    driverhost_->Signal(SIGKILL);
    driverhost_->Wait(test::kPatience);
    EXPECT_FALSE(Kamailios().empty());
    StartDriverhost();
    EXPECT_TRUE(Comes([this] {
        return Command("getSipProxyIP") == "<sipProxyIP>" + address_ + "</sipProxyIP>";
    })) << ProxyLog();
}

}  // namespace
}  // namespace proxy
