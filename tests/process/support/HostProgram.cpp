#include "tests/process/support/HostProgram.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace driverhost {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 60s;  // sanitizers are slow, and so are machines that do much else
constexpr auto kLook = 5ms;
constexpr char kServing[] = "host listening on http://";

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Ours, with the given ones in the place of those of the same name.
std::vector<std::string> EnvironmentWith(const std::map<std::string, std::string>& changes) {
    std::vector<std::string> all;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        if (!changes.contains(text.substr(0, text.find('=')))) all.push_back(text);
    }
    for (const auto& [name, value] : changes)
        all.push_back(name + "=" + value);
    return all;
}

pid_t Spawn(std::vector<std::string> arguments, std::vector<std::string> environment,
            const std::string& log) {
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, (log + ".out").c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    pid_t process = 0;
    const int error = posix_spawn(&process, arguments[0].c_str(), &files, nullptr, Pointers(arguments).data(),
                                  Pointers(environment).data());
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) throw std::runtime_error("cannot start " + arguments[0]);
    return process;
}

}  // namespace

HostProgram::HostProgram(const std::vector<std::string>& arguments,
                         const std::map<std::string, std::string>& environment, std::string logPath)
    : logPath_(std::move(logPath)) {
    std::vector<std::string> all = {DRIVERHOST_PROGRAM};
    all.insert(all.end(), arguments.begin(), arguments.end());
    process_ = Spawn(std::move(all), EnvironmentWith(environment), logPath_);
}

HostProgram::~HostProgram() {
    if (process_ != 0) {
        Signal(SIGKILL);
        WaitForEnd();
    }
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
        if (!IsRunning()) throw std::runtime_error("it has ended before '" + text + "':\n" + Log());
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("no '" + text + "':\n" + log);
        std::this_thread::sleep_for(kLook);
    }
}

void HostProgram::Signal(int number) {
    if (process_ != 0) kill(process_, number);
}

bool HostProgram::IsRunning() {
    if (process_ == 0) return false;
    int status = 0;
    if (waitpid(process_, &status, WNOHANG) == 0) return true;
    process_ = 0;
    result_ = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    return false;
}

int HostProgram::WaitForEnd() {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (IsRunning()) {
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("it does not end:\n" + Log());
        std::this_thread::sleep_for(kLook);
    }
    return result_;
}

std::string HostProgram::Log() const {
    std::ifstream file(logPath_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace driverhost
