#include "tests/telephony/support/WholeHome.h"

#include <algorithm>
#include <stdexcept>

#include "tests/support/process/RunProgram.h"

namespace test {

namespace {

std::string Setting(unsigned id) {
    return std::to_string(id);
}

}  // namespace

WholeHome::~WholeHome() {
    Close();
}

void WholeHome::Open(const std::string& drivers, CallHome::Silence silence) {
    home_ = std::make_unique<CallHome>(folder_ / "run/callcontrol.json", silence);
    host_ = std::make_unique<DriverHost>(
        "<home><controller><address>127.0.0.1</address></controller>"
        "<driver><id>1</id><name>agent</name><library>intercom_agent</library></driver>" +
            drivers + "</home>",
        Environment());
    host_->Start();
    if (!WaitUntil([this] { return ProxyTakesRequests(); }))
        throw std::runtime_error("the proxy takes no requests:\n" + Logs());
}

void WholeHome::Close() {
    if (!host_) return;
    host_->Stop();
    // A host that was killed has left it running.
    RunProgram({BIN_FOLDER "/sysman", "kill", "sipproxy"}, Environment());
    WaitUntil([this] { return Kamailios().empty(); });
    host_.reset();
    home_.reset();
}

std::map<std::string, std::string> WholeHome::Environment() const {
    return {{"PATH", BIN_FOLDER ":/usr/bin:/bin"},
            {"SYSMAN_STATE_DIR", folder_ / "sysman"},
            {"SIPPROXY_PROGRAM", BIN_FOLDER "/sipproxy"},
            {"SIPPROXY_STATE_DIR", folder_ / "sipproxy"},
            {"SIPPROXY_RUN_DIR", folder_ / "run"},
            {"SIPPROXY_LOOPBACK", "yes"},
            {"INTERCOM_CALLCONTROL_SOCKET", home_->Socket()},
            {"INTERCOM_REPORTS_DIR", home_->Reports()}};
}

std::string WholeHome::PhoneDriver(unsigned id, const std::string& key, const std::string& name,
                                   const std::string& more) {
    return "<driver><id>" + Setting(id) + "</id><name>" + key +
           "</name><library>phone</library><config><key>" + key + "</key><name>" + name +
           "</name><password>pw-" + key + "</password>" + more + "</config></driver>";
}

std::string WholeHome::Command(const std::string& command, const Form& form) const {
    return host_->Send(FormRequest("/drivers/agent/commands/" + command, form)).body;
}

bool WholeHome::HasState(unsigned id, int state) const {
    const std::string wanted = "<state>" + std::to_string(state) + "</state>";
    return Command("getDeviceState", {{"idDevice", Setting(id)}}).find(wanted) != std::string::npos;
}

void WholeHome::Call(unsigned from, unsigned to) const {
    Command("SIP_REGULAR_CALL",
            {{"source", Setting(from)}, {"destination", Setting(to)}, {"video", "3"}, {"ring", "1"}});
}

void WholeHome::Set(unsigned id, const std::string& setting, const std::string& value) const {
    Command("setDeviceState", {{"idDevice", Setting(id)}, {setting, value}});
}

void WholeHome::HangUp(unsigned id) const {
    Set(id, "call", "hangup");
}

bool WholeHome::ProxyTakesRequests() const {
    return ProxyLog().find("sipproxy: Kamailio runs on ") != std::string::npos;
}

std::vector<pid_t> WholeHome::Kamailios() const {
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

std::string WholeHome::Logs() const {
    std::string logs;
    if (host_) logs += "---- host\n" + host_->Log();
    logs += "---- sipproxy\n" + ProxyLog();
    if (home_) logs += "---- callcontrol\n" + home_->Log();
    return logs;
}

}  // namespace test
