// A running sipproxy: waits for the host, starts Kamailio with its records, follows what changes, and
// starts Kamailio again when it ends.
#ifndef TELEPHONY_PROXY_SERVICE_H
#define TELEPHONY_PROXY_SERVICE_H

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <optional>
#include <string>

#include "telephony/proxy/Configuration.h"
#include "telephony/proxy/Events.h"
#include "telephony/proxy/Files.h"
#include "telephony/proxy/Host.h"
#include "telephony/proxy/Kamailio.h"
#include "telephony/proxy/Options.h"
#include "telephony/proxy/Plan.h"
#include "telephony/proxy/Report.h"
#include "telephony/proxy/Rpc.h"

namespace proxy {

/// Where the records lie that `options` start with when the host does not come.
std::string RecordsCacheFile(const Options& options);

class Service {
public:
    /// Throws Failure when a folder cannot be used or Kamailio is not installed.
    explicit Service(const Options& options);

    /// Returns when it was asked to end, and Kamailio has.
    void Run();

private:
    using Clock = std::chrono::steady_clock;

    // The host and its records.
    void Refresh();
    void UseLastGood();
    void Take(const Records& records, bool fromHost);
    void Store(const Records& records);
    void StoreNow();
    void TakeLive(const Plan& plan);
    void ReloadLive();
    void ForgetContacts(const Table& before, const Table& now);
    void OfferAddress();

    // Kamailio.
    void StartKamailio();
    void WatchKamailio();
    void WaitUntilReady();
    void OnReady();
    void OnKamailioEnd();
    void StartLater();

    void AwaitSignal();
    void End();
    void WriteState();
    void WriteStateNow();
    void ReportNow();
    void ReportFromNowOn();
    /// None when Kamailio's contacts cannot be read.
    std::optional<std::size_t> RegisteredAccounts();
    void SayFaults();
    /// One line in the log; the same one not twice in a row for the same `subject`.
    void SayOnce(std::string& last, const std::string& text);

    const Options options_;
    boost::asio::io_context context_;
    boost::asio::signal_set signals_;
    boost::asio::steady_timer patience_;
    boost::asio::steady_timer refresh_;
    boost::asio::steady_timer ready_;
    boost::asio::steady_timer restart_;
    boost::asio::steady_timer look_;
    FolderLock lock_;
    Kamailio kamailio_;
    Rpc rpc_;
    Host host_;
    Events events_;
    std::optional<boost::asio::posix::stream_descriptor> watched_;

    std::optional<Plan> plan_;  // what Kamailio runs with
    Secrets secrets_;
    bool fromLastGood_ = false;  // its fixed part, which the host has not yet confirmed
    bool isReady_ = false;
    bool reloadWhenReady_ = false;
    bool restartAtOnce_ = false;
    bool ending_ = false;
    bool hasNotified_ = false;
    std::string toStore_;
    std::string stored_;
    State state_;
    Counts counts_;
    Clock::time_point startedAt_;
    std::chrono::milliseconds startDelay_;
    std::string lastHostFault_;
    std::string lastStoreFault_;
    std::string lastStateFault_;
    std::string lastRpcFault_;
    std::string lastStartFault_;
    std::string lastFaults_;
    std::string lastContactsFault_;
    telephony::Report report_;
};

/// `--check` and `--status`; the exit status.
int Check(const Options& options);
int TellStatus(const Options& options);

}  // namespace proxy

#endif
