// The driver host as a process of its own: started, watched, ended by its id.
#ifndef TESTS_PROCESS_SUPPORT_HOSTPROGRAM_H
#define TESTS_PROCESS_SUPPORT_HOSTPROGRAM_H

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace driverhost {

class HostProgram {
public:
    /// Starts it; its standard error goes to `logPath`.
    HostProgram(const std::vector<std::string>& arguments,
                const std::map<std::string, std::string>& environment, std::string logPath);
    HostProgram(const HostProgram&) = delete;
    HostProgram& operator=(const HostProgram&) = delete;
    /// Kills it if it runs still. A test fails when a sanitizer has found something.
    ~HostProgram();

    /// The port it serves on; throws with the log when it does not come to that.
    unsigned short WaitUntilServing();
    /// Waits for a text in the log; throws with the log when it does not come.
    void WaitForLog(const std::string& text);

    void Signal(int number);
    /// The exit status; the negative number of the signal that ended it.
    int WaitForEnd();
    bool IsRunning();

    std::string Log() const;

private:
    const std::string logPath_;
    pid_t process_ = 0;  // 0: it has ended
    int result_ = 0;
};

}  // namespace driverhost

#endif
