#include "tests/telephony/home/House.h"

#include <algorithm>
#include <csignal>

#include "tests/support/process/RunProgram.h"

namespace test {

namespace {

std::string Setting(unsigned id) {
    return std::to_string(id);
}

}  // namespace

void House::SetUp() {
    EnterOwnNetworkOrSkip();
    if (IsSkipped() || HasFatalFailure()) return;
    home_ = std::make_unique<CallHome>(folder_ / "run/callcontrol.json");
    host_ = std::make_unique<DriverHost>(
        "<home><controller><address>127.0.0.1</address></controller>"
        "<driver><id>1</id><name>agent</name><library>intercom_agent</library></driver>" +
            Drivers() + "</home>",
        Environment());
    host_->Start();
    ASSERT_TRUE(WaitUntil([this] { return ProxyTakesRequests(); })) << Logs();
}

void House::TearDown() {
    if (HasFailure()) std::cerr << Logs();
    if (!host_) return;
    host_->Stop();
    // A host that was killed has left it running.
    RunProgram({BIN_FOLDER "/sysman", "kill", "sipproxy"}, Environment());
    EXPECT_TRUE(WaitUntil([this] { return Kamailios().empty(); })) << ProxyLog();
    host_.reset();
    home_.reset();
}

std::map<std::string, std::string> House::Environment() const {
    return {{"PATH", BIN_FOLDER ":/usr/bin:/bin"},
            {"SYSMAN_STATE_DIR", folder_ / "sysman"},
            {"SIPPROXY_PROGRAM", BIN_FOLDER "/sipproxy"},
            {"SIPPROXY_STATE_DIR", folder_ / "sipproxy"},
            {"SIPPROXY_RUN_DIR", folder_ / "run"},
            {"SIPPROXY_LOOPBACK", "yes"},
            {"INTERCOM_CALLCONTROL_SOCKET", home_->Socket()},
            {"INTERCOM_REPORTS_DIR", home_->Reports()}};
}

std::string House::Drivers() const {
    const std::string chimes = "<ringDoorbell>true</ringDoorbell>";
    return PhoneDriver(101, "hall", "Hall", chimes) +
           PhoneDriver(102, "kitchen", "Kitchen", chimes + "<mayBeMonitored>true</mayBeMonitored>") +
           PhoneDriver(103, "attic", "Attic", "<mayBeMonitored>true</mayBeMonitored>") +
           PhoneDriver(104, "door", "Front door", "<doorStation>true</doorStation>");
}

std::string House::PhoneDriver(unsigned id, const std::string& key, const std::string& name,
                               const std::string& more) {
    return "<driver><id>" + Setting(id) + "</id><name>" + key +
           "</name><library>phone</library><config><key>" + key + "</key><name>" + name +
           "</name><password>pw-" + key + "</password>" + more + "</config></driver>";
}

std::string House::Command(const std::string& command, const Form& form) const {
    return host_->Send(FormRequest("/drivers/agent/commands/" + command, form)).body;
}

testing::AssertionResult House::StateBecomes(unsigned id, int state) const {
    const std::string wanted = "<state>" + std::to_string(state) + "</state>";
    std::string seen;
    if (WaitUntil([&] {
            seen = Command("getDeviceState", {{"idDevice", Setting(id)}});
            return seen.find(wanted) != std::string::npos;
        }))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << seen;
}

testing::AssertionResult House::IsLogged(const std::string& text) const {
    if (WaitUntil([&] { return host_->Log().find(text) != std::string::npos; }))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "nothing logged of: " << text;
}

void House::Call(unsigned from, unsigned to) const {
    Command("SIP_REGULAR_CALL",
            {{"source", Setting(from)}, {"destination", Setting(to)}, {"video", "3"}, {"ring", "1"}});
}

void House::Set(unsigned id, const std::string& setting, const std::string& value) const {
    Command("setDeviceState", {{"idDevice", Setting(id)}, {setting, value}});
}

void House::HangUp(unsigned id) const {
    Set(id, "call", "hangup");
}

bool House::ProxyTakesRequests() const {
    return ProxyLog().find("sipproxy: Kamailio runs on ") != std::string::npos;
}

std::vector<pid_t> House::Kamailios() const {
    std::vector<pid_t> found;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        const pid_t process = std::atoi(entry->path().filename().c_str());
        const std::string command = process > 0 ? ReadFile(entry->path() / "cmdline") : "";
        if (command.find(folder_ / "run/kamailio.cfg") != std::string::npos) found.push_back(process);
    }
    std::ranges::sort(found);
    return found;
}

std::string House::Logs() const {
    std::string logs;
    if (host_) logs += "---- host\n" + host_->Log();
    logs += "---- sipproxy\n" + ProxyLog();
    if (home_) logs += "---- callcontrol\n" + home_->Log();
    return logs;
}

}  // namespace test
