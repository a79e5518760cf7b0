#include "driverhost/HostProcess.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <optional>

#include "driverhost/ProcessSetup.h"
#include "driverhost/http/Trust.h"
#include "driverhost/http/rights/Callers.h"
#include "driverhost/http/routes/DriverReaders.h"
#include "driverhost/http/routes/EventStream.h"
#include "driverhost/http/routes/Routes.h"
#include "driverhost/http/server/LocalSocket.h"
#include "driverhost/http/server/Server.h"
#include "driverhost/http/server/TlsCertificate.h"
#include "driverhost/http/web/WebPages.h"
#include "driverhost/plugins/DriverTable.h"
#include "driverhost/plugins/LibraryTrial.h"
#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/runtime/Metrics.h"
#include "driverhost/runtime/ProgramReports.h"
#include "driverhost/runtime/ServiceManager.h"
#include "driverhost/runtime/SystemEvents.h"
#include "driverhost/runtime/Watchdog.h"
#include "driverhost/state/FileSystem.h"
#include "driverhost/state/StateKeeper.h"
#include "driverhost/state/StateLock.h"
#include "driverhost/state/StateRoots.h"
#include "driverhost/state/StateStore.h"
#include "host/glue/Log.h"
#include "host/glue/NetworkInterfaces.h"

namespace driverhost {
namespace {

// Where files lie that a configuration names without a whole path; for drivers.
constexpr char kHomeFolderVariable[] = "INTERCOM_HOME_FOLDER";

// Ids must grow from one process to the next; the time does so without anything being stored.
std::uint64_t FirstEventId() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

// The time of CLOCK_MONOTONIC, which sd_notify(3) asks for.
std::string MonotonicMicroseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::to_string(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

// What the watchdog answers while the driver thread cannot.
std::string Unavailable(const std::string& why) {
    const Response response = ErrorResponse(503, why + "; try again later");
    return FormatHead(response, false) + response.body;
}

// With a short heldTime the watchdog looks more often than it usually does.
WatchdogTimes TimesOf(const Limits& limits) {
    WatchdogTimes times;
    times.held = limits.heldTime;
    times.look = std::clamp(limits.heldTime / 4, std::chrono::milliseconds(1), times.look);
    return times;
}

}  // namespace

class HostProcess::Impl {
public:
    Impl(const Options& givenOptions, const Home& home);

    void Listen();
    void Serve();
    void AwaitSignals();
    void OnSignal(int number);
    void BeginEnd();
    void ReadHomeAgain();
    void ReadTokensAgain();
    void FindTablets(const std::vector<Token>& tokens);
    void Apply(const Home& home);

    const Options& options;
    const Limits& limits;
    const StateLock lock;
    const ServiceManager manager;
    DriverThread thread;
    boost::asio::signal_set signals;
    Metrics metrics;
    ProgramReports reports;
    PosixFileSystem files;
    StateStore store;
    StateKeeper keeper;
    StateRoots roots;
    EventStream events;
    DriverReaders readers;
    SystemEvents systemEvents;
    InterfaceTable interfaces;
    HostServices services;
    DriverTable drivers;
    TlsCertificate certificate;
    const Trust trust;
    Callers callers;
    WebPages pages;
    Routes routes;
    std::optional<Server> server;
    std::optional<Watchdog> watchdog;
    bool ending = false;
};

HostProcess::Impl::Impl(const Options& givenOptions, const Home& home)
    : options(givenOptions),
      limits(options.limits),
      lock(options.stateFolder, DescribeHolder(options.home)),
      signals(thread.Loop()),
      reports(options.reportsFolder),
      store(files, options.stateFolder, [this](StateStore::Work work) { thread.Post(std::move(work)); }),
      keeper(thread, store, metrics),
      roots(store),
      events(FirstEventId(), limits, [this](std::function<void()> work) { thread.Post(std::move(work)); }),
      readers(events, limits),
      services{
          thread,
          systemEvents,
          interfaces,
          metrics,
          keeper,
          roots,
          readers,
          [this](const std::string& element) { events.Publish(element); },
          [this](const std::vector<std::string>& paths) { return TryLibraries(paths, limits.libraryTime); }},
      drivers(home, services),
      certificate(options.tls),
      trust(options.listen, MachineName(), &certificate),
      callers(options.tokens, store, limits, certificate.IsThere()),
      pages(thread, options.webFolder),
      routes({drivers, keeper, events, metrics, reports, trust, callers, limits, pages, certificate,
              [this] {
                  if (!server) return Gauges{};
                  return Gauges{events.Readers(), server->Connections(), server->BodyBytes()};
              },
              [this] { return server->Address().port; }}) {
    NetworkInterfaces::Override(home.address);
}

HostProcess::HostProcess(const Options& options, const Home& home)
    : impl_(std::make_unique<Impl>(options, home)) {}

HostProcess::~HostProcess() {
    IgnoreEndSignals();
}

void HostProcess::LoadLibraries() {
    impl_->drivers.LoadLibraries();
}

void HostProcess::LoadStates() {
    impl_->roots.Load();
    impl_->callers.Load();
    impl_->FindTablets(impl_->options.tokens);
    impl_->drivers.LoadStates();
}

void HostProcess::Listen() {
    impl_->Listen();
    // Before any driver starts a program, which is to find the host by it.
    ::setenv(kLocalSocketVariable, impl_->options.socket.c_str(), 1);
    const auto home = std::filesystem::absolute(impl_->options.home);
    ::setenv(kHomeFolderVariable, home.parent_path().c_str(), 1);
    if (!impl_->options.reportsFolder.empty())
        ::setenv(kReportsVariable, impl_->options.reportsFolder.c_str(), 1);
    // It speaks no TLS: clients that do wait until the thread is free again.
    const int socket = impl_->certificate.IsThere() ? -1 : impl_->server->ListeningSocket();
    impl_->watchdog.emplace(impl_->thread, impl_->manager, socket, &Unavailable, TimesOf(impl_->limits));
}

void HostProcess::Impl::Listen() {
    server.emplace(thread, options.listen, limits, options.socket);
    if (certificate.IsThere()) server->UseTls(certificate);
    if (options.plainListen) server->ListenPlain(*options.plainListen);
}

// A signal that comes while drivers start is handled as soon as the host serves, so it ends in order, too.
void HostProcess::StartDrivers() {
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        impl_->signals.add(number);
    impl_->AwaitSignals();
    impl_->drivers.StartAll();
}

void HostProcess::Impl::AwaitSignals() {
    signals.async_wait([this](const boost::system::error_code& error, int number) {
        if (error) return;
        OnSignal(number);
        AwaitSignals();
    });
}

// Once the host ends, signals change nothing.
void HostProcess::Impl::OnSignal(int number) {
    if (ending) return;
    if (number != SIGHUP) return BeginEnd();
    ReadHomeAgain();
    ReadTokensAgain();
    pages.ReadAgain();
    certificate.ReadAgain();
}

void HostProcess::Impl::ReadTokensAgain() {
    if (options.tokenFile.empty()) return;
    try {
        std::vector<Token> tokens = ReadTokenFile(options.tokenFile);
        FindTablets(tokens);
        HostLog::Write(dv::LOG_LEVEL_INFO, kHostName,
                       "the token file was read again: " + std::to_string(tokens.size()) + " tokens");
        callers.UseTokens(std::move(tokens));
        events.WakeReaders();  // those that may not read any more see it then
    } catch (const OptionError& error) {
        HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                       std::string(error.what()) + "; the former tokens stay in use");
    }
}

// A name with a slip in it would be found only when somebody stands before a tablet that does nothing.
void HostProcess::Impl::FindTablets(const std::vector<Token>& tokens) {
    for (const Token& token : tokens) {
        if (token.role != ROLE_TABLET) continue;
        const Driver* const driver = drivers.Find(token.tablet);
        if (driver && driver->Name() == token.tablet) continue;
        HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                       options.tokenFile + ", line " + std::to_string(token.line) +
                           ": the home file has no driver \"" + token.tablet +
                           "\", so its token is of no use");
    }
}

void HostProcess::Serve() {
    impl_->Serve();
}

void HostProcess::Impl::Serve() {
    server->Start(routes, events, metrics);
    manager.Notify("READY=1");
    const std::string scheme = certificate.IsThere() ? "https://" : "http://";
    HostLog::Write(dv::LOG_LEVEL_INFO, kHostName, "host listening on " + scheme + server->Address().ToText());
    if (const auto plain = server->PlainAddress()) {
        HostLog::Write(dv::LOG_LEVEL_INFO, kHostName,
                       "the authority's certificate is at http://" + plain->ToText() +
                           "/ca.pem, with the SHA-256 fingerprint " + certificate.Fingerprint());
    }
    thread.Run();
}

void HostProcess::Impl::BeginEnd() {
    ending = true;
    HostLog::Write(dv::LOG_LEVEL_INFO, kHostName, "host ends");
    manager.Notify("STOPPING=1");
    watchdog->ReleaseSocket();
    server->Stop([this] { thread.Stop(); });
    thread.After(limits.endTime, [this] { thread.Stop(); });
}

// Whatever is wrong with the file or with what it asks for, the home goes on as it was.
void HostProcess::Impl::ReadHomeAgain() {
    manager.Notify("RELOADING=1\nMONOTONIC_USEC=" + MonotonicMicroseconds());
    try {
        Apply(ReadHomeFile(options.home, options.pluginFolder));
    } catch (const std::exception& error) {
        HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                       std::string("the home file was read again and nothing changed: ") + error.what());
    }
    manager.Notify("READY=1");
}

// The address changes before the new drivers start, for an agent asks for it then.
void HostProcess::Impl::Apply(const Home& home) {
    if (!home.warning.empty()) HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName, home.warning);
    const std::string summary = drivers.RemoveOutdated(home);
    NetworkInterfaces::Override(home.address);
    drivers.AddMissing(home);
    HostLog::Write(dv::LOG_LEVEL_INFO, kHostName, "the home file was read again: " + summary);
}

bool HostProcess::StopDrivers() {
    return impl_->drivers.StopAll();
}

}  // namespace driverhost
