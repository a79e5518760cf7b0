// One process that a test started. It ends with its object, whatever happens.
#ifndef TESTS_SUPPORT_PROCESS_PROCESS_H
#define TESTS_SUPPORT_PROCESS_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace test {

class Process {
public:
    struct Command {
        std::vector<std::string> words;                  // the program's path first
        std::map<std::string, std::string> environment;  // on top of the test's own
        std::filesystem::path output;                    // both standard output and error are appended to it
    };

    /// Throws std::runtime_error when there can be no process. That the program cannot be started
    /// shows as exit status 127.
    explicit Process(const Command& command);
    /// Kills the process if it still runs.
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t Id() const { return id_; }
    bool IsRunning();

    void Signal(int number);

    /// The exit status; 128 and the signal's number when a signal ended it. None when the process
    /// still runs at the end of the time.
    std::optional<int> Wait(std::chrono::milliseconds most);

private:
    bool Collect(int options);

    pid_t id_;
    std::optional<int> status_;
};

}  // namespace test

#endif
