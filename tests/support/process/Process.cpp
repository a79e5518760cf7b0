#include "tests/support/process/Process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace test {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kBetweenLooks{5};
constexpr int kNotStarted = 127;  // as a shell says it

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> EnvironmentWith(const std::map<std::string, std::string>& changes) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        if (changes.count(text.substr(0, text.find('='))) == 0) environment.push_back(text);
    }
    for (const auto& [name, value] : changes)
        environment.push_back(name + "=" + value);
    return environment;
}

// Between fork and exec: nothing that allocates.
[[noreturn]] void Become(char* const* words, char* const* environment, const char* output) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that is killed leaves nothing running
    const int file = ::open(output, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (file >= 0 && nothing >= 0 && ::dup2(nothing, STDIN_FILENO) >= 0 && ::dup2(file, STDOUT_FILENO) >= 0 &&
        ::dup2(file, STDERR_FILENO) >= 0)
        ::execve(words[0], words, environment);
    ::_exit(kNotStarted);
}

}  // namespace

Process::Process(const Command& command) {
    std::vector<std::string> words = command.words;
    std::vector<std::string> environment = EnvironmentWith(command.environment);
    const std::vector<char*> wordPointers = Pointers(words);
    const std::vector<char*> environmentPointers = Pointers(environment);
    id_ = ::fork();
    if (id_ < 0) throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
    if (id_ == 0) Become(wordPointers.data(), environmentPointers.data(), command.output.c_str());
}

Process::~Process() {
    if (!IsRunning()) return;
    Signal(SIGKILL);
    Collect(0);
}

bool Process::IsRunning() {
    return !Collect(WNOHANG);
}

void Process::Signal(int number) {
    if (IsRunning()) ::kill(id_, number);
}

std::optional<int> Process::Wait(std::chrono::milliseconds most) {
    const auto end = steady_clock::now() + most;
    while (IsRunning() && steady_clock::now() < end)
        std::this_thread::sleep_for(kBetweenLooks);
    return status_;
}

// True when the process has ended, now or before.
bool Process::Collect(int options) {
    int status = 0;
    if (!status_ && ::waitpid(id_, &status, options) == id_)
        status_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    return status_.has_value();
}

}  // namespace test
