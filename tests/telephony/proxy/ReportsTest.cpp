// What sipproxy leaves for the host: its metrics and its warnings.
#include <csignal>

#include "tests/telephony/proxy/support/ProxyFixture.h"

using testing::HasSubstr;

namespace proxy {
namespace {

class Reports : public ProxyFixture {
protected:
    Reports() { environment_["INTERCOM_REPORTS_DIR"] = folder_ / "reports"; }

    std::string Warnings() const { return test::ReadFile(folder_ / "reports" / "sipproxy.warnings"); }
    std::string Metrics() const { return test::ReadFile(folder_ / "reports" / "sipproxy.prom"); }
    bool IsThere(const char* name) const { return std::filesystem::exists(folder_ / "reports" / name); }
    bool IsMeasured(const std::string& line) const {
        return Comes([&] { return Metrics().find("intercom_sipproxy_" + line + "\n") != std::string::npos; });
    }
};

TEST_F(Reports, TellWhetherKamailioRunsAndWhoIsRegistered) {
    Start();
    EXPECT_TRUE(IsMeasured("registered_accounts 0")) << Metrics();
    const auto hall = Phone("hall");
    ASSERT_EQ(200, hall->Register());
    EXPECT_TRUE(IsMeasured("registered_accounts 1")) << Metrics();
    EXPECT_THAT(Metrics(), HasSubstr("intercom_sipproxy_kamailio_up 1\n"));
    EXPECT_THAT(Metrics(), HasSubstr("intercom_sipproxy_accounts 2\n"));
    EXPECT_THAT(Metrics(), HasSubstr("intercom_sipproxy_kamailio_starts_total 1\n"));
    EXPECT_THAT(Metrics(), HasSubstr("intercom_sipproxy_records_left_out 0\n"));
    EXPECT_EQ(Warnings(), "");
}

TEST_F(Reports, NameEachRecordThatIsLeftOutAndThoseThatWaitForAStart) {
    Start();
    HostHome home = host_->Home();
    home.routes = {{{"key", "broken"}, {"matchingPattern", "("}, {"rewriteExp", "x"}, {"order", "1"}}};
    home.configs.push_back({{"key", "n"}, {"domain", "garden.home"}, {"port", "5060"}});
    host_->Change(home);
    EXPECT_TRUE(Comes([this] { return Warnings().find("left out: route broken: ") != std::string::npos; }))
        << Warnings();
    EXPECT_THAT(Warnings(), HasSubstr("the records have changed; applySIPProxyChanges takes them over\n"));
    EXPECT_TRUE(IsMeasured("records_left_out 1")) << Metrics();
}

TEST_F(Reports, CountChangesThatAreTakenOver) {
    Start();
    HostHome home = host_->Home();
    home.accounts[0].dnd = true;
    host_->Change(home);
    EXPECT_TRUE(IsMeasured("changes_taken_over_total 1")) << Metrics();
}

TEST_F(Reports, AKamailioThatCannotRunIsAWarning) {
    test::WriteFile(folder_ / "kamailio", "#!/bin/sh\nexit 3\n");
    std::filesystem::permissions(folder_ / "kamailio", std::filesystem::perms::owner_all);
    environment_["SIPPROXY_KAMAILIO"] = folder_ / "kamailio";
    StartHost(SampleHome());
    Launch();
    EXPECT_TRUE(Comes([this] { return Warnings().find("Kamailio does not run: ") != std::string::npos; }))
        << Log();
    EXPECT_TRUE(IsMeasured("kamailio_up 0")) << Metrics();
}

TEST_F(Reports, AreGoneAfterAnOrderlyEndAndStayAfterAKill) {
    Start();
    ASSERT_TRUE(Comes([this] { return IsThere("sipproxy.prom"); }));
    EXPECT_EQ(0, Stop());
    EXPECT_FALSE(IsThere("sipproxy.prom"));
    EXPECT_FALSE(IsThere("sipproxy.warnings"));
    Launch();
    ASSERT_TRUE(Comes([this] { return IsThere("sipproxy.prom"); }));
    proxy_->Signal(SIGKILL);
    proxy_->Wait(test::kPatience);
    proxy_.reset();
    EXPECT_TRUE(IsThere("sipproxy.prom"));
}

}  // namespace
}  // namespace proxy
