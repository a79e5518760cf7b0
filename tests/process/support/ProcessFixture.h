// A home in a folder of its own, and the host that runs it.
#ifndef TESTS_PROCESS_SUPPORT_PROCESSFIXTURE_H
#define TESTS_PROCESS_SUPPORT_PROCESSFIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/driverhost/support/HttpClient.h"
#include "tests/driverhost/support/TemporaryFolder.h"
#include "tests/process/support/HostProgram.h"

namespace driverhost {

class ProcessFixture : public testing::Test {
protected:
    /// Puts a system manager in the way that notes what it is asked, and answers it.
    ProcessFixture();

    /// Writes the home file: `drivers` is what stands in it behind the controller's address.
    void WriteHome(const std::string& drivers);
    static std::string Driver(int id, const std::string& name, const std::string& library,
                              const std::string& config = "");

    /// The arguments of a host of this home, then `more`, then GenerousTimes.
    std::vector<std::string> Arguments(const std::vector<std::string>& more = {}) const;
    /// Starts the host and does not wait.
    void Launch(const std::vector<std::string>& more = {});
    /// Starts the host and waits until it serves.
    void Start(const std::vector<std::string>& more = {});
    /// Starts the host and waits until it listens, which is before it serves.
    void StartListening(const std::vector<std::string>& more = {});
    /// Starts a host whose standard error is not its log, and waits until it serves.
    void StartSilent(const std::vector<std::string>& more = {});
    /// Starts it with these arguments and waits for its end.
    int Run(const std::vector<std::string>& arguments);
    /// No time for anything: SIGKILL.
    void Kill();
    /// SIGTERM; the exit status.
    int Stop();

    HttpAnswer Ask(const std::string& method, const std::string& target, const std::string& form = "",
                   const std::string& headers = "") const;
    /// Repeats the request until the answer has that status, and returns the last answer. For a host with a
    /// short time: on a busy machine it may run out for a request that is not about it.
    HttpAnswer AskUntil(int status, const std::string& method, const std::string& target,
                        const std::string& form = "") const;
    /// The body of the answer to a command.
    std::string Command(const std::string& driver, const std::string& command,
                        const std::string& form = "") const;

    /// A folder with all plug-ins, those of the tests too.
    std::string AllPlugins() const;
    /// The value of a metric without labels.
    int Metric(const std::string& name) const;

    /// Puts a file in the place of a driver's state folder, so that nothing of it can be stored.
    void BlockState(const std::string& driver);
    /// Puts the folder back. The host may try to store at any moment, so there is always one or the other.
    void FreeState(const std::string& driver);

    std::string StateFolder() const { return folder_.Path() + "/state"; }
    std::string Log() const;
    /// What the system manager was asked so far, a line each.
    std::string SysmanRequests() const;
    std::string ReadFile(const std::string& name) const;

    TemporaryFolder folder_;
    std::string plugins_;
    std::map<std::string, std::string> environment_;
    std::string shell_;  // see HostProgram
    std::unique_ptr<HostProgram> host_;
    unsigned short port_ = 0;

private:
    std::unique_ptr<HostProgram> Begin(const std::vector<std::string>& arguments);
    void SwapState(const std::string& driver) const;

    int starts_ = 0;
};

}  // namespace driverhost

#endif
