#include "tests/support/process/DriverHost.h"

#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "tests/support/process/Patience.h"

namespace test {

namespace {

constexpr char kRequests[] = "sysman.requests";
constexpr char kAnswer[] = "sysman.answer";
constexpr char kLog[] = "log";

/// Answers with the line in the file, if there is one, else with its own first word.
std::string SystemManager(const TempFolder& folder) {
    const std::string answer = (folder / kAnswer).string();
    return "#!/bin/sh\n"
           "printf 'sysman %s\\n' \"$*\" >>'" +
           (folder / kRequests).string() +
           "'\n"
           "if [ -f '" +
           answer + "' ]; then cat '" + answer + "'; else printf '%s\\n' \"$1\"; fi\n";
}

void MakeExecutable(const std::filesystem::path& file) {
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
}

/// The complete lines behind `read`, which then stands behind them.
std::vector<std::string> NewLines(const std::string& text, std::size_t& read) {
    std::vector<std::string> lines;
    for (auto end = text.find('\n', read); end != std::string::npos; end = text.find('\n', read)) {
        lines.push_back(text.substr(read, end - read));
        read = end + 1;
    }
    return lines;
}

}  // namespace

std::vector<std::string> GenerousTimes(const std::vector<std::string>& given) {
    const std::string enough = std::to_string(std::chrono::milliseconds(10 * kPatience).count());
    const std::vector<std::pair<std::string, std::string>> times = {
        {"--head-time", enough},    {"--body-time", enough},   {"--idle-time", enough},
        {"--write-time", enough},   {"--held-time", enough},   {"--end-time", enough},
        {"--library-time", enough}, {"--linger-time", "60000"}};  // the most that is allowed
    std::vector<std::string> arguments;
    for (const auto& [option, value] : times) {
        if (std::find(given.begin(), given.end(), option) != given.end()) continue;
        arguments.insert(arguments.end(), {option, value});
    }
    return arguments;
}

DriverHost::DriverHost(const std::string& home) {
    WriteFile(folder_ / "home.xml", home);
    std::filesystem::create_directory(folder_ / "bin");
    WriteFile(folder_ / "bin/sysman", SystemManager(folder_));
    MakeExecutable(folder_ / "bin/sysman");
    const char* const path = std::getenv("PATH");
    environment_["PATH"] = (folder_ / "bin").string() + ":" + (path ? path : "/usr/bin:/bin");
}

DriverHost::DriverHost(const std::string& home, std::map<std::string, std::string> environment)
    : environment_(std::move(environment)) {
    WriteFile(folder_ / "home.xml", home);
}

void DriverHost::Start(int wanted, const std::vector<std::string>& options) {
    startOfRun_ = Log().size();
    Process::Command command;
    command.words = {DRIVERHOST_PROGRAM,
                     "--home",
                     (folder_ / "home.xml").string(),
                     "--state-dir",
                     (folder_ / "state").string(),
                     "--listen",
                     "127.0.0.1:" + std::to_string(wanted),
                     "--plugin-dir",
                     DRIVERHOST_PLUGINS,
                     "--log-level",
                     "7"};
    const std::vector<std::string> times = GenerousTimes();
    command.words.insert(command.words.end(), times.begin(), times.end());
    command.words.insert(command.words.end(), options.begin(), options.end());
    command.environment = environment_;
    command.output = folder_ / kLog;
    process_ = std::make_unique<Process>(command);

    std::optional<int> port;
    Eventually([&] { return (port = FindPort()) || !process_->IsRunning(); });
    if (!port) throw std::runtime_error("driverhost does not start:\n" + Log().substr(startOfRun_));
    port_ = *port;
}

std::optional<int> DriverHost::FindPort() {
    const std::string log = Log().substr(startOfRun_);
    static const std::regex line("listening on https?://127\\.0\\.0\\.1:([0-9]+)\n");
    std::smatch found;
    if (!std::regex_search(log, found, line)) return std::nullopt;
    return std::stoi(found[1]);
}

int DriverHost::Stop() {
    process_->Signal(SIGTERM);
    const std::optional<int> status = process_->Wait(kPatience);
    if (!status) throw std::runtime_error("driverhost does not end on SIGTERM");
    return *status;
}

void DriverHost::Kill() {
    process_->Signal(SIGKILL);
    process_->Wait(kPatience);
}

std::size_t DriverHost::EventsSent() const {
    const std::string name = "driverhost_ui_events_total{";
    std::istringstream metrics(Send({"GET", "/metrics"}).body);
    std::size_t sum = 0;
    for (std::string line; std::getline(metrics, line);)
        if (line.starts_with(name)) sum += std::stoul(line.substr(line.rfind(' ') + 1));
    return sum;
}

std::vector<std::string> DriverHost::TakeRequests() {
    return NewLines(ReadFile(folder_ / kRequests), requestsRead_);
}

void DriverHost::AnswerRequests(const std::optional<std::string>& line) {
    if (line)
        WriteFile(folder_ / kAnswer, line->empty() ? "" : *line + "\n");
    else
        std::filesystem::remove(folder_ / kAnswer);
}

std::vector<std::string> DriverHost::TakeLog() {
    return NewLines(Log(), logRead_);
}

}  // namespace test
