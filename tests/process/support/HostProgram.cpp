#include "tests/process/support/HostProgram.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "tests/support/process/TempFolder.h"

namespace driverhost {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 60s;  // sanitizers are slow, and so are machines that do much else
constexpr auto kLook = 5ms;
constexpr char kServing[] = "host listening on http://";

std::vector<std::string> WithProgram(const std::vector<std::string>& arguments) {
    std::vector<std::string> words = {DRIVERHOST_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

}  // namespace

HostProgram::HostProgram(const std::vector<std::string>& arguments,
                         const std::map<std::string, std::string>& environment, std::string logPath)
    : logPath_(std::move(logPath)), process_({WithProgram(arguments), environment, logPath_}) {}

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

void HostProgram::WaitForLog(const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
        const std::string log = Log();
        const std::size_t found = log.find(text);
        if (found != std::string::npos && log.find('\n', found) != std::string::npos) return;
        if (!process_.IsRunning()) throw std::runtime_error("it has ended before '" + text + "':\n" + Log());
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("no '" + text + "':\n" + log);
        std::this_thread::sleep_for(kLook);
    }
}

int HostProgram::WaitForEnd() {
    const std::optional<int> status = process_.Wait(kPatience);
    if (!status) throw std::runtime_error("it does not end:\n" + Log());
    return *status;
}

std::string HostProgram::Log() const {
    return test::ReadFile(logPath_);
}

}  // namespace driverhost
