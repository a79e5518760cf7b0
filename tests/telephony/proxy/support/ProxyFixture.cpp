#include "tests/telephony/proxy/support/ProxyFixture.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

namespace proxy {

namespace {

// Tests of several processes run beside each other.
std::string OwnAddress() {
    static int number = 0;
    const int process = ::getpid();
    return "127." + std::to_string(20 + process % 200) + "." + std::to_string(process / 200 % 250) + "." +
           std::to_string(++number);
}

}  // namespace

ProxyFixture::ProxyFixture()
    : address_(OwnAddress()),
      environment_({{"INTERCOM_HOST_SOCKET", folder_ / "host"},
                    {"SIPPROXY_STATE_DIR", folder_ / "state"},
                    {"SIPPROXY_RUN_DIR", run_}}) {}

ProxyFixture::~ProxyFixture() {
    if (proxy_) Stop();
    EXPECT_TRUE(Comes([this] { return Kamailios().empty(); })) << Log();
    if (HasFailure()) std::cerr << Log();
}

HostHome ProxyFixture::SampleHome() const {
    HostHome home;
    home.configs = {{{"key", address_}, {"domain", address_}, {"port", "5060"}}};
    home.accounts = {
        {.id = 101, .user = "hall", .password = "hall-password", .intercomName = "Hall"},
        {.id = 102, .user = "kitchen", .password = "kitchen-password", .intercomName = "Kitchen"}};
    return home;
}

void ProxyFixture::StartHost(HostHome home) {
    host_ = std::make_unique<StandInHost>(folder_ / "host", std::move(home));
}

void ProxyFixture::Launch() {
    std::vector<std::string> words = runBy_;
    words.emplace_back(SIPPROXY_PROGRAM);
    proxy_ = std::make_unique<test::Process>(test::Process::Command{words, environment_, folder_ / "log"});
}

void ProxyFixture::Start() {
    if (!host_) StartHost(SampleHome());
    Launch();
    WaitUntilRunning();
}

void ProxyFixture::WaitUntilRunning() {
    const std::string text = "sipproxy: Kamailio runs on ";
    ASSERT_TRUE(Comes([&] { return Log().find(text, seen_) != std::string::npos; })) << Log();
    seen_ = Log().find(text, seen_) + text.size();
}

void ProxyFixture::WaitForLog(const std::string& text) {
    ASSERT_TRUE(Comes([&] { return Log().find(text) != std::string::npos; })) << text << "\n" << Log();
}

int ProxyFixture::Stop() {
    proxy_->Signal(SIGTERM);
    const std::optional<int> status = proxy_->Wait(test::kPatience);
    proxy_.reset();
    return status.value_or(-1);
}

std::string ProxyFixture::Status(const std::string& option) {
    std::vector<std::string> words = {SIPPROXY_PROGRAM, "--status"};
    if (option != "--status") words.push_back(option);
    const test::ProgramResult result = test::RunProgram(words, environment_);
    return result.output + result.errors;
}

bool ProxyFixture::StatusTells(const std::string& text) {
    return Comes([&] { return Status().find(text) != std::string::npos; });
}

std::vector<pid_t> ProxyFixture::Kamailios() const {
    std::vector<pid_t> found;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        const pid_t process = std::atoi(entry->path().filename().c_str());
        if (process > 0 &&
            test::ReadFile(entry->path() / "cmdline").find(run_ + "/kamailio.cfg") != std::string::npos)
            found.push_back(process);
    }
    std::ranges::sort(found);
    return found;
}

pid_t ProxyFixture::Keeper() const {
    const std::string own = std::to_string(proxy_->Id());
    const std::string children = test::ReadFile("/proc/" + own + "/task/" + own + "/children");
    return std::atoi(children.c_str());
}

std::unique_ptr<SipPhone> ProxyFixture::Phone(const std::string& user) const {
    return std::make_unique<SipPhone>(user, user + "-password", address_);
}

std::string ProxyFixture::Received(SipPhone& caller, SipPhone& called, const std::string& address) {
    std::string received;
    std::thread answering([&] {
        received = called.Receive();
        if (!received.empty()) called.Reply(received, "200 OK");
    });
    status_ = caller.Ask({.method = "INVITE", .address = address});
    answering.join();
    return received;
}

}  // namespace proxy
