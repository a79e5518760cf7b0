// The real driverhost in a folder of its own, between a home file and a system manager that writes
// down what it is asked.
#ifndef TESTS_SUPPORT_PROCESS_DRIVERHOST_H
#define TESTS_SUPPORT_PROCESS_DRIVERHOST_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/process/HttpClient.h"
#include "tests/support/process/Process.h"
#include "tests/support/process/TempFolder.h"

namespace test {

/// Options that give a driverhost ample time for everything, so that none runs out on a busy machine. Those
/// in `given` are left out: a test about one of these times sets it itself.
std::vector<std::string> GenerousTimes(const std::vector<std::string>& given = {});

class DriverHost {
public:
    explicit DriverHost(const std::string& home);
    /// With the system manager that is found in the environment's PATH; nobody writes down its requests.
    DriverHost(const std::string& home, std::map<std::string, std::string> environment);

    /// Starts the process on that port, or a free one, with further options, and waits until it listens.
    /// Throws std::runtime_error, with what it has logged, when it ends before. The state of an earlier run
    /// is found again.
    void Start(int port = 0, const std::vector<std::string>& options = {});
    /// SIGTERM. The exit status. Throws std::runtime_error when the process does not end.
    int Stop();
    /// SIGKILL, as a power cut would end it.
    void Kill();

    int Port() const { return port_; }
    pid_t ProcessId() const { return process_->Id(); }
    HttpAnswer Send(const HttpRequest& request) const { return Exchange(port_, request); }

    /// How many UI events drivers have sent since the process was started, by its own count.
    std::size_t EventsSent() const;

    /// What the system manager was asked since the last call: "sysman enable sipproxy".
    std::vector<std::string> TakeRequests();
    /// From now on the system manager prints this as its first line; nothing when empty. None: the
    /// request's first word, which says that it was done.
    void AnswerRequests(const std::optional<std::string>& line);

    /// What the process has logged since the last call, line by line.
    std::vector<std::string> TakeLog();
    std::string Log() const { return ReadFile(folder_ / "log"); }
    const TempFolder& Folder() const { return folder_; }

private:
    std::optional<int> FindPort();

    TempFolder folder_;
    std::map<std::string, std::string> environment_;
    std::unique_ptr<Process> process_;
    int port_ = 0;
    std::size_t startOfRun_ = 0;  // in the log
    std::size_t logRead_ = 0;
    std::size_t requestsRead_ = 0;
};

}  // namespace test

#endif
