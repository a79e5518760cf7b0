// A password is planted, and everything that others could read is searched for it.
#include <sys/stat.h>

#include <filesystem>

#include "tests/telephony/proxy/support/ProxyFixture.h"

using testing::HasSubstr;
using testing::Not;

namespace proxy {
namespace {

constexpr char kPlanted[] = "planted-4711-password";

class Secrets : public ProxyFixture {
protected:
    /// What call control would know.
    std::string SecretOf(const std::string& name) const {
        const std::string text = test::ReadFile(run_ + "/callcontrol.json");
        const std::size_t begin = text.find("\"" + name + "\": \"") + name.size() + 5;
        return text.substr(begin, 32);
    }
};

TEST_F(Secrets, NoneStandsInLogsCommandLinesEnvironmentsOrFilesOfOthers) {
    HostHome home = SampleHome();
    home.accounts[0].password = kPlanted;
    home.services = {
        {{"name", "Provider"}, {"host", "sip.example"}, {"username", "me"}, {"password", kPlanted}}};
    StartHost(home);
    Start();
    SipPhone hall("hall", kPlanted, address_);
    ASSERT_EQ(200, hall.Register());
    SipPhone("hall", "wrong", address_).Register();
    home.accounts[1].password = kPlanted;
    host_->Change(home);
    WaitForLog("accounts and groups are taken over");

    const std::vector<std::string> planted = {kPlanted, SecretOf("secret"), SecretOf("password")};
    SipPhone kitchen("kitchen", kPlanted, address_);
    ASSERT_EQ(200, kitchen.Register());
    EXPECT_THAT(Received(hall, kitchen, Uri("kitchen")), Not(HasSubstr(kPlanted)));
    EXPECT_EQ(200, status_);
    EXPECT_TRUE(StatusTells("account kitchen: sip:kitchen@"));
    const test::ProgramResult check = test::RunProgram({SIPPROXY_PROGRAM, "--check"}, environment_);
    const std::string status = Status() + Status("--json") + check.output + check.errors;
    EXPECT_THAT(status, HasSubstr("service Provider at sip.example"));
    std::vector<pid_t> processes = Kamailios();
    processes.push_back(proxy_->Id());
    processes.push_back(Keeper());
    for (const std::string& secret : planted) {
        EXPECT_THAT(Log(), Not(HasSubstr(secret)));
        EXPECT_THAT(status, Not(HasSubstr(secret)));
        EXPECT_THAT(test::ReadFile(run_ + "/kamailio.cfg"), Not(HasSubstr(secret)));
        for (const pid_t process : processes)
            for (const char* const file : {"/cmdline", "/environ"})
                EXPECT_THAT(test::ReadFile("/proc/" + std::to_string(process) + file),
                            Not(HasSubstr(secret)));
    }
    for (const char* const name : {"run", "state"})
        for (const auto& entry : std::filesystem::directory_iterator(folder_ / name)) {
            struct stat found {};
            ASSERT_EQ(0, ::stat(entry.path().c_str(), &found));
            EXPECT_EQ(0U, found.st_mode & 0077U) << entry.path();
            EXPECT_THAT(test::ReadFile(entry.path()), Not(HasSubstr(kPlanted))) << entry.path();
        }
}

}  // namespace
}  // namespace proxy
