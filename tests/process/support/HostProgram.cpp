#include "tests/process/support/HostProgram.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "tests/support/process/Patience.h"
#include "tests/support/process/TempFolder.h"

namespace driverhost {
namespace {

constexpr char kServing[] = "host listening on http://";

std::vector<std::string> WithProgram(const std::vector<std::string>& arguments, const std::string& shell) {
    std::vector<std::string> words;
    if (!shell.empty()) words = {"/bin/sh", "-c", shell};
    words.push_back(DRIVERHOST_PROGRAM);
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

// The port of the listening socket with that inode (proc(5), /proc/net/tcp).
std::optional<unsigned short> PortOf(const std::string& inode) {
    std::ifstream table("/proc/net/tcp");
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string slot, local, remote, state, queues, timer, retries, user, timeout, number;
        fields >> slot >> local >> remote >> state >> queues >> timer >> retries >> user >> timeout >> number;
        if (state != "0A" || number != inode) continue;
        return static_cast<unsigned short>(std::stoi(local.substr(local.find(':') + 1), nullptr, 16));
    }
    return std::nullopt;
}

}  // namespace

HostProgram::HostProgram(const std::vector<std::string>& arguments,
                         const std::map<std::string, std::string>& environment, std::string logPath,
                         const std::string& shell)
    : logPath_(std::move(logPath)), process_({WithProgram(arguments, shell), environment, logPath_}) {}

HostProgram::~HostProgram() {
    Signal(SIGKILL);
    for (const char* trouble :
         {"WARNING: ThreadSanitizer", "ERROR: AddressSanitizer", "runtime error:", "ERROR: LeakSanitizer"})
        EXPECT_EQ(Log().find(trouble), std::string::npos) << Log();
}

unsigned short HostProgram::WaitUntilServing() {
    WaitForLog(kServing);
    const std::string log = Log();
    const std::size_t address = log.rfind(kServing);
    const std::size_t line = log.find('\n', address);
    const std::size_t port = log.rfind(':', line) + 1;
    return static_cast<unsigned short>(std::stoi(log.substr(port, line - port)));
}

unsigned short HostProgram::WaitUntilListening() {
    std::optional<unsigned short> port;
    test::Eventually([&] { return (port = FindListeningPort()) || !process_.IsRunning(); });
    if (!port) throw std::runtime_error("it does not listen");
    return *port;
}

std::optional<unsigned short> HostProgram::FindListeningPort() const {
    constexpr std::string_view socket = "socket:[";
    for (const auto& [number, target] : Descriptors()) {
        if (!target.starts_with(socket)) continue;
        const std::string inode = target.substr(socket.size(), target.size() - socket.size() - 1);
        if (const auto port = PortOf(inode)) return port;
    }
    return std::nullopt;
}

std::map<int, std::string> HostProgram::Descriptors() const {
    std::map<int, std::string> descriptors;
    std::error_code gone;  // it may close one meanwhile
    const std::string folder = "/proc/" + std::to_string(Id()) + "/fd";
    for (const auto& entry : std::filesystem::directory_iterator(folder, gone)) {
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        if (!gone) descriptors[std::stoi(entry.path().filename())] = target;
    }
    return descriptors;
}

std::size_t HostProgram::ResidentBytes() const {
    std::ifstream pages("/proc/" + std::to_string(Id()) + "/statm");
    std::size_t all = 0;
    std::size_t resident = 0;
    pages >> all >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

void HostProgram::WaitForLog(const std::string& text) {
    const auto isThere = [&] {
        const std::string log = Log();
        const std::size_t found = log.find(text);
        return found != std::string::npos && log.find('\n', found) != std::string::npos;
    };
    bool runs = true;
    test::Eventually([&] { return isThere() || !(runs = process_.IsRunning()); });
    if (isThere()) return;
    throw std::runtime_error((runs ? "no '" : "it has ended before '") + text + "':\n" + Log());
}

int HostProgram::WaitForEnd() {
    const std::optional<int> status = process_.Wait(test::kPatience);
    if (!status) throw std::runtime_error("it does not end:\n" + Log());
    return *status;
}

std::string HostProgram::Log() const {
    return test::ReadFile(logPath_);
}

}  // namespace driverhost
