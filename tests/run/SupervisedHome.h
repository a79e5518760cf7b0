// The supervisor with the real programs and the sample home, in a network of its own.
#ifndef TESTS_RUN_SUPERVISEDHOME_H
#define TESTS_RUN_SUPERVISEDHOME_H

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <set>

#include "tests/support/process/DriverHost.h"
#include "tests/telephony/support/Listening.h"

namespace test {

using Words = std::vector<std::string>;

/// A file of /proc, whose strings end with zeros.
inline Words ReadStrings(const std::filesystem::path& path) {
    std::ifstream file(path);
    Words words;
    for (std::string word; std::getline(file, word, '\0');)
        words.push_back(word);
    return words;
}

inline pid_t ParentOf(pid_t id) {
    std::ifstream file("/proc/" + std::to_string(id) + "/status");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("PPid:")) return std::stoi(line.substr(5));
    return 0;
}

inline Words CommandOf(pid_t id) {
    return ReadStrings("/proc/" + std::to_string(id) + "/cmdline");
}

/// A home with all its programs, in a folder and a network of its own.
class SupervisedHome : public testing::Test {
protected:
    void SetUp() override {
        EnterOwnNetworkOrSkip();
        if (IsSkipped() || HasFatalFailure()) return;
        std::filesystem::create_directories(folder_ / "examples");
        std::filesystem::create_directories(folder_ / "memory");
        WriteFile(HomeFile(), ReadFile(EXAMPLES "/home.xml"));
        environment_["SUPERVISE_PATIENCE"] = std::to_string(kPatience.count());
        environment_["XDG_RUNTIME_DIR"] = folder_ / "memory";
    }

    void TearDown() override {
        if (run_ && run_->IsRunning()) End();
        for (const pid_t id : Left())
            kill(id, SIGKILL);
        if (HasFailure()) std::cerr << Log() << ReadFile(folder_ / "run-state/sysman/sipproxy.log");
    }

    void Start(const Words& options = {}) {
        Words words = {SCRIPTS "/supervise", BIN_FOLDER, folder_ / "run-state", "--home", HomeFile()};
        const Words times = GenerousTimes();
        words.insert(words.end(), times.begin(), times.end());
        words.insert(words.end(), options.begin(), options.end());
        run_ = std::make_unique<Process>(Process::Command{words, environment_, LogFile()});
    }

    /// With the home's programs up, and phones able to register.
    void StartWhole(const Words& options = {}) {
        Start(options);
        ASSERT_TRUE(Comes("SIP phones and door stations register at ")) << Log();
    }

    int End() {
        run_->Signal(SIGTERM);
        return run_->Wait(kPatience).value_or(-1);
    }

    /// The child of this name; 0 when there is none.
    pid_t Child(const std::string& name) const {
        for (const pid_t id : Left())
            if (ParentOf(id) == run_->Id()) {
                const Words command = CommandOf(id);
                if (!command.empty() && std::filesystem::path(command[0]).filename() == name) return id;
            }
        return 0;
    }

    /// Every process of this home, by its environment.
    std::set<pid_t> Left() const {
        const std::string mark = "XDG_RUNTIME_DIR=" + (folder_ / "memory").string();
        std::set<pid_t> found;
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            const std::string name = entry.path().filename();
            if (name.find_first_not_of("0123456789") != std::string::npos) continue;
            const Words environment = ReadStrings(entry.path() / "environ");
            if (std::ranges::find(environment, mark) != environment.end()) found.insert(std::stoi(name));
        }
        return found;
    }

    bool Comes(const std::string& text) {
        return WaitUntil([&] { return Log().find(text) != std::string::npos; });
    }
    std::size_t Count(const std::string& text) const {
        std::size_t count = 0;
        const std::string log = Log();
        for (std::size_t at = 0; (at = log.find(text, at)) != std::string::npos; ++at)
            ++count;
        return count;
    }

    std::filesystem::path HomeFile() const { return folder_ / "examples/home.xml"; }
    std::filesystem::path LogFile() const { return folder_ / "log"; }
    std::string Log() const { return ReadFile(LogFile()); }
    std::string PasswordFile(const std::string& user) const {
        return folder_ / ("run-state/passwords/" + user);
    }

    const TempFolder folder_;
    std::map<std::string, std::string> environment_;
    std::unique_ptr<Process> run_;
};

}  // namespace test

#endif
