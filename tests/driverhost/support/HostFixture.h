// A host without a network: drivers from the test plug-ins, a disk in memory, and the routes.
#ifndef TESTS_DRIVERHOST_SUPPORT_HOSTFIXTURE_H
#define TESTS_DRIVERHOST_SUPPORT_HOSTFIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "driverhost/http/routes/DriverReaders.h"
#include "driverhost/http/routes/EventStream.h"
#include "driverhost/http/routes/Routes.h"
#include "driverhost/plugins/DriverTable.h"
#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/Metrics.h"
#include "driverhost/runtime/ProgramReports.h"
#include "driverhost/runtime/SystemEvents.h"
#include "driverhost/state/StateKeeper.h"
#include "driverhost/state/StateRoots.h"
#include "driverhost/state/StateStore.h"
#include "tests/driverhost/support/MemoryFileSystem.h"
#include "tests/support/process/Patience.h"

namespace driverhost {

class HostFixture : public testing::Test {
protected:
    HostFixture();
    ~HostFixture() override;

    /// Adds a driver to the home, before Start.
    void Add(const std::string& name, const std::string& library, const std::string& config = "<config/>");
    /// Loads and starts the drivers.
    void Start();
    /// Loads the drivers, but does not start them.
    void Load();

    Driver& Get(const std::string& name) { return *table_->Find(name); }

    /// Makes a request as a client on this machine does, and runs the loop until it is answered.
    Response Ask(const std::string& method, const std::string& target, const std::string& form = "");
    Response Ask(const Request& request);
    /// Begins a request. The reply comes at once, or while the loop runs.
    void Begin(Request request, const Reply& reply);
    /// The views are the caller's.
    static Request MakeRequest(std::string_view method, std::string_view target, std::string_view form = "");
    /// The body of the reply to a command.
    std::string Command(const std::string& driver, const std::string& command, const std::string& form = "");

    /// Runs the loop until there is nothing left to do, but at most that long.
    void Turn(std::chrono::milliseconds time = std::chrono::milliseconds(50));
    /// Runs the loop until `condition` holds. Fails the test when it never does.
    template <class Condition>
    void TurnUntil(Condition condition) {
        const auto end = Clock::now() + test::kPatience;
        while (!condition()) {
            if (Clock::now() > end) FAIL() << "it did not come";
            Turn(std::chrono::milliseconds(10));
        }
    }

    /// The newest stored document of a driver; empty when there is none.
    std::string StoredState(const std::string& driver) const;

    DriverThread thread_;
    MemoryFileSystem disk_;
    Metrics metrics_;
    ProgramReports reports_{""};
    Limits limits_;
    StateStore store_{disk_, "/state", [this](StateStore::Work work) { thread_.Post(std::move(work)); }};
    StateKeeper keeper_{thread_, store_, metrics_, std::chrono::milliseconds(20)};
    StateRoots roots_{store_};
    SystemEvents systemEvents_;
    InterfaceTable interfaces_;
    EventStream events_{1, limits_, [this](std::function<void()> work) { thread_.Post(std::move(work)); }};
    DriverReaders readers_{events_, limits_};
    std::vector<std::string> uiEvents_;
    HostServices services_{thread_,
                           systemEvents_,
                           interfaces_,
                           metrics_,
                           keeper_,
                           roots_,
                           readers_,
                           [this](std::string element) {
                               events_.Publish(element);
                               uiEvents_.push_back(std::move(element));
                           }};
    Home home_;
    std::optional<DriverTable> table_;
    std::string webFolder_;  // empty: no pages
    std::optional<WebPages> pages_;
    TlsFiles tlsFiles_;  // empty: no TLS
    std::optional<TlsCertificate> certificate_;
    std::optional<Trust> trust_;
    std::vector<Token> tokens_;  // none: nobody has to sign in
    Callers::Time now_ = std::chrono::system_clock::now();
    std::optional<Callers> callers_;
    std::optional<Routes> routes_;
    unsigned short port_ = 0;  // of a server, for tests that have one
};

}  // namespace driverhost

#endif
