#include "driverhost/plugins/Driver.h"

#include <utility>

#include "driverhost/http/routes/DriverReaders.h"
#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/StateRoots.h"
#include "host/glue/DvBaseDriver.h"
#include "host/glue/Log.h"
#include "host/glue/XmlText.h"
#include "host/interfaces/IReaderSink.h"
#include "host/interfaces/InterfaceIds.h"

namespace driverhost {
namespace {

constexpr unsigned long kReserved = 0;

}  // namespace

Driver::Driver(DriverEntry entry, HostServices& services, IDriverManager& manager)
    : entry_(std::move(entry)),
      services_(services),
      driverManager_(manager),
      counters_(services.metrics.OfDriver(entry_.name)),
      stateKey_(services.keeper.Add(*this, entry_.library)) {}

Driver::~Driver() {
    if (manager_) Discard();
    services_.keeper.Detach(stateKey_);
}

void Driver::LoadLibrary() {
    if (!library_) library_ = std::make_unique<PluginLibrary>(entry_.libraryPath);
}

void Driver::LoadState() {
    state_ = services_.keeper.Load(stateKey_, [this](std::string_view document) {
        return services_.roots.CheckText(entry_.library, document);
    });
    stateIsStored_ = true;
}

void Driver::UseState(std::optional<std::string> document) {
    state_ = std::move(document);
    stateIsStored_ = false;
}

Fault Driver::Create() {
    manager_ = std::make_shared<InstanceManager>(*this, services_);
    const Fault fault = Call("its creation", [this] { driver_.reset(library_->Create(*manager_)); });
    if (fault.empty() && !driver_) return "its factory made no driver";
    return fault;
}

bool Driver::IsSingle() const {
    const auto* base = dynamic_cast<const DvBaseDriver*>(driver_.get());
    return base && base->GetMultiplicity() == DRIVER_SINGLE;
}

// The driver gets trees of its own: what it does to them affects nobody else.
Fault Driver::Initialize() {
    const auto config = DvXML::ParseRoot(entry_.config);
    auto state = ParseState();
    Fault fault = CheckState(state);
    if (!fault.empty()) return fault;
    long result = 0;
    fault = Call("Initialize", [&] { result = driver_->Initialize(entry_.id, *config, state.get()); });
    if (fault.empty() && result != 0) {
        fault = "Initialize answered " + std::to_string(result) + "; expected 0";
    }
    if (!fault.empty()) return fault;
    running_ = true;
    failure_.clear();
    HostLog::Write(dv::LOG_LEVEL_INFO, kHostName, "driver " + entry_.name + " runs (" + entry_.library + ")");
    return {};
}

// Null when the driver starts as new.
dv::auto_com<DvXML::INode> Driver::ParseState() {
    const std::optional<std::string> text = std::exchange(state_, std::nullopt);
    return DvXML::ParseRoot(text ? *text : std::string());
}

// What a library writes is not known before one of its drivers has given a document. Then the new driver is
// asked for one, before it is given the stored one.
Fault Driver::CheckState(dv::auto_com<DvXML::INode>& state) {
    if (!state) return {};
    if (services_.roots.Find(entry_.library).empty()) AskState();
    Fault fault = services_.roots.Check(entry_.library, *state);
    if (fault.empty() || !stateIsStored_) return fault;
    try {
        LoadState();  // puts the document aside and finds an earlier one
    } catch (const FileError& error) {
        return error.what();
    }
    state = ParseState();
    return {};
}

void Driver::Fail(const std::string& failure) {
    if (manager_) Discard();
    failure_ = failure;
    HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                   "driver " + entry_.name + " (" + entry_.library + ") does not run: " + failure);
}

void Driver::Stop() {
    if (!running_) return;
    running_ = false;
    failure_ = "it was stopped";
    Call("OnDestroy", [this] { driver_->OnDestroy(); });
    Discard();
}

// What the driver posted is its code and data, so it goes before the driver does, and before the library.
void Driver::Discard() {
    manager_->Close();
    Call("its destruction", [this] { driver_.reset(); });
    manager_->WithdrawAll();
    manager_.reset();
    services_.keeper.DropMarks(stateKey_);
}

void Driver::UnloadLibrary() {
    library_.reset();
}

CommandResult Driver::Run(const ICmdMessage& message) {
    CommandResult result;
    const Clock::time_point start = Clock::now();
    result.fault = Call(message.GetName().c_str(), [&] {
        dv::auto_com<DvXML::INode> reply;
        result.known = driver_->GetUICmdDispatcher().Dispatch(message, reply) ||
                       driver_->GetCmdDispatcher().Dispatch(message);
        if (reply) result.reply = reply->NodeToText();
    });
    if (!result.fault.empty()) result.known = true;  // only a handler throws
    if (result.known) Count(message.GetName(), std::chrono::duration<double>(Clock::now() - start).count());
    return result;
}

void Driver::Count(const std::string& command, double seconds) {
    ++counters_.commands[command];
    services_.metrics.commandSeconds.Observe(seconds);
}

void* Driver::QueryInterface(const std::string& id) {
    void* found = nullptr;
    long result = 0;
    Call("QueryInterface", [&] { result = driver_->QueryInterface(id, &found); });
    return result == 0 ? found : nullptr;
}

OpenedReader Driver::OpenReader() {
    auto* sink = static_cast<IReaderSink*>(QueryInterface(ReaderSinkInterfaceId));
    if (!sink) return {};
    auto reader = services_.readers.Open(manager_.get());
    const unsigned long number = reader->Number();
    Fault fault = Call("OnReaderOpened", [&] { sink->OnReaderOpened(number); });
    services_.keeper.Settle();
    if (!fault.empty()) return {nullptr, std::move(fault)};
    reader->WhenLeft([this, sink, number] {
        Call("OnReaderClosed", [&] { sink->OnReaderClosed(number); });
        services_.keeper.Settle();
    });
    return {std::move(reader), {}};
}

PulledState Driver::PullState() {
    return running_ ? AskState() : PulledState();
}

PulledState Driver::AskState() {
    PulledState pulled;
    pulled.error = Call("GetPersistState", [&] {
        if (const auto state = driver_->GetPersistState(kReserved)) pulled.document = state->NodeToText();
    });
    if (pulled.document) services_.roots.Learn(entry_.library, *pulled.document);
    return pulled;
}

Fault Driver::CallDriver(const char* call, const std::function<void()>& work) {
    return Call(call, work);
}

// Every call into the driver goes through here. What it throws goes no further.
template <class Work>
Fault Driver::Call(const char* call, Work&& work) {
    const CallScope scope(services_.thread, entry_.name, call);
    try {
        work();
        return {};
    } catch (const std::exception& error) {
        return LogFault(call, error.what());
    } catch (...) {
        return LogFault(call, "something that is no std::exception");
    }
}

Fault Driver::LogFault(const char* call, const char* what) {
    ++counters_.failures;
    Fault fault = "driver " + entry_.name + " threw in " + call + ": " + what;
    HostLog::Write(dv::LOG_LEVEL_ERROR, entry_.name, fault);
    return fault;
}

}  // namespace driverhost
