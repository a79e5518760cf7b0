// The driver host as a process of its own: started, watched, ended by its id.
#ifndef TESTS_PROCESS_SUPPORT_HOSTPROGRAM_H
#define TESTS_PROCESS_SUPPORT_HOSTPROGRAM_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/process/Process.h"

namespace driverhost {

class HostProgram {
public:
    /// Starts it; what it says goes to `logPath`. With `shell`, a shell runs that, in which "$0" "$@"
    /// stands for the program with its arguments.
    HostProgram(const std::vector<std::string>& arguments,
                const std::map<std::string, std::string>& environment, std::string logPath,
                const std::string& shell = {});
    HostProgram(const HostProgram&) = delete;
    HostProgram& operator=(const HostProgram&) = delete;
    /// Kills it if it runs still. A test fails when a sanitizer has found something.
    ~HostProgram();

    /// The port it serves on; throws with the log when it does not come to that.
    unsigned short WaitUntilServing();
    /// The same by what the system knows of the process, for one that has no log.
    unsigned short WaitUntilListening();
    /// Waits for a text in the log; throws with the log when it does not come.
    void WaitForLog(const std::string& text);

    pid_t Id() const { return process_.Id(); }
    /// What its descriptors lead to, by number.
    std::map<int, std::string> Descriptors() const;
    /// The memory that it really has, in bytes.
    std::size_t ResidentBytes() const;

    void Signal(int number) { process_.Signal(number); }
    /// The exit status; throws with the log when it does not end.
    int WaitForEnd();

    std::string Log() const;

private:
    std::optional<unsigned short> FindListeningPort() const;

    const std::string logPath_;
    test::Process process_;
};

}  // namespace driverhost

#endif
