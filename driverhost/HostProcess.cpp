#include "driverhost/HostProcess.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <chrono>
#include <csignal>
#include <optional>

#include "driverhost/http/EventStream.h"
#include "driverhost/http/Routes.h"
#include "driverhost/http/Server.h"
#include "driverhost/http/Trust.h"
#include "driverhost/plugins/DriverTable.h"
#include "driverhost/plugins/InterfaceTable.h"
#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/runtime/Metrics.h"
#include "driverhost/runtime/ServiceManager.h"
#include "driverhost/runtime/SystemEvents.h"
#include "driverhost/runtime/Watchdog.h"
#include "driverhost/state/PosixFileSystem.h"
#include "driverhost/state/StateKeeper.h"
#include "driverhost/state/StateLock.h"
#include "driverhost/state/StateStore.h"
#include "host/glue/Log.h"
#include "host/glue/NetworkInterfaces.h"

namespace driverhost {
namespace {

constexpr std::chrono::milliseconds kTimeToFinish{5000};  // for answers under way when the host ends

// Ids grow from one process to the next without anything being stored.
std::uint64_t FirstEventId() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

// The watchdog's answer in the place of the driver thread.
std::string Unavailable(const std::string& why) {
    const Response response = ErrorResponse(503, why + "; try again later");
    return FormatHead(response, false) + response.body;
}

}  // namespace

class HostProcess::Impl {
public:
    Impl(const Options& givenOptions, const Home& home);

    void Serve();
    void BeginEnd();

    const Options& options;
    const Limits limits;
    const StateLock lock;
    const ServiceManager manager;
    DriverThread thread;
    boost::asio::signal_set signals;
    Metrics metrics;
    PosixFileSystem files;
    StateStore store;
    StateKeeper keeper;
    EventStream events;
    SystemEvents systemEvents;
    InterfaceTable interfaces;
    HostServices services;
    DriverTable drivers;
    const Trust trust;
    Routes routes;
    std::optional<Server> server;
    std::optional<Watchdog> watchdog;
};

HostProcess::Impl::Impl(const Options& givenOptions, const Home& home)
    : options(givenOptions),
      lock(options.stateFolder, DescribeHolder(options.home)),
      signals(thread.Loop()),
      store(files, options.stateFolder, [this](StateStore::Work work) { thread.Post(std::move(work)); }),
      keeper(thread, store, metrics),
      events(FirstEventId(), limits, [this](std::function<void()> work) { thread.Post(std::move(work)); }),
      services{thread,  systemEvents, interfaces,
               metrics, keeper,       [this](const std::string& element) { events.Publish(element); }},
      drivers(home, services),
      trust(options.listen, options.token, MachineName()),
      routes({drivers, keeper, events, metrics, trust, limits, [this] {
                  return Gauges{events.Readers(), server ? server->Connections() : 0};
              }}) {
    NetworkInterfaces::Override(home.address);
    for (const DriverEntry& entry : home.drivers)
        store.AddDriver(entry.name, entry.library);
}

HostProcess::HostProcess(const Options& options, const Home& home)
    : impl_(std::make_unique<Impl>(options, home)) {}

HostProcess::~HostProcess() = default;

void HostProcess::LoadLibraries() {
    impl_->drivers.LoadLibraries();
}

void HostProcess::LoadStates() {
    impl_->drivers.LoadStates();
}

void HostProcess::Listen() {
    impl_->server.emplace(impl_->thread, impl_->options.listen, impl_->limits);
    impl_->watchdog.emplace(impl_->thread, impl_->manager, impl_->server->ListeningSocket(), &Unavailable);
}

// A signal that comes while drivers start ends the host in order, too: as soon as it serves.
void HostProcess::StartDrivers() {
    impl_->signals.add(SIGTERM);
    impl_->signals.add(SIGINT);
    impl_->signals.async_wait([this](const boost::system::error_code& error, int) {
        if (!error) impl_->BeginEnd();
    });
    impl_->drivers.StartAll();
}

void HostProcess::Serve() {
    impl_->Serve();
}

void HostProcess::Impl::Serve() {
    server->Start(routes, events, metrics);
    manager.Notify("READY=1");
    HostLog::Write(dv::LOG_LEVEL_INFO, kHostName, "host listening on http://" + server->Address().ToText());
    thread.Run();
}

void HostProcess::Impl::BeginEnd() {
    HostLog::Write(dv::LOG_LEVEL_INFO, kHostName, "host ends");
    manager.Notify("STOPPING=1");
    watchdog->LetGoOfSocket();
    server->Stop([this] { thread.Stop(); });
    thread.After(kTimeToFinish, [this] { thread.Stop(); });
}

bool HostProcess::StopDrivers() {
    return impl_->drivers.StopAll();
}

}  // namespace driverhost
