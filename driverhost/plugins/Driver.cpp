#include "driverhost/plugins/Driver.h"

#include <utility>

#include "driverhost/plugins/DriverTable.h"
#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/HostLog.h"
#include "host/glue/DvBaseDriver.h"
#include "host/glue/Log.h"
#include "host/glue/XmlText.h"

namespace driverhost {
namespace {

constexpr unsigned long kReserved = 0;

}  // namespace

std::string CheckDocument(std::string_view document) {
    const auto parsed = DvXML::CreateXmlDocument("");
    if (parsed->DocumentParse(document) == 0) return {};
    return "not XML: " + parsed->DocumentGetError();
}

Driver::Driver(DriverEntry entry, HostServices& services, DriverTable& table)
    : entry_(std::move(entry)),
      services_(services),
      table_(table),
      counters_(services.metrics.OfDriver(entry_.name)),
      stateKey_(services.keeper.Add(*this)) {}

Driver::~Driver() {
    if (driver_) Discard();
}

void Driver::LoadLibrary() {
    if (!library_) library_ = std::make_unique<PluginLibrary>(entry_.libraryPath);
}

void Driver::LoadState() {
    state_ = services_.keeper.Load(stateKey_, &CheckDocument);
}

bool Driver::Start() {
    if (!library_) return false;
    std::string fault = Create();
    if (fault.empty()) fault = Initialize();
    if (!fault.empty()) {
        Discard();
        SetFailure(fault);
        return false;
    }
    running_ = true;
    failure_.clear();
    HostLog::Write(dv::LOG_LEVEL_INFO, kHostName, "driver " + entry_.name + " runs (" + entry_.library + ")");
    return true;
}

std::string Driver::Create() {
    manager_ = std::make_shared<InstanceManager>(*this, services_);
    const std::string fault = Call("its creation", [this] { driver_.reset(library_->Create(*manager_)); });
    if (!fault.empty()) return fault;
    if (!driver_) return "its factory made no driver";
    const Driver* other = IsSingle() ? table_.FindRunning(entry_.libraryPath) : nullptr;
    return other ? "one home holds one driver of this library, and that is " + other->Name() : std::string();
}

bool Driver::IsSingle() const {
    const auto* base = dynamic_cast<const DvBaseDriver*>(driver_.get());
    return base && base->GetMultiplicity() == DRIVER_SINGLE;
}

// The driver gets trees of its own: what it does to them reaches nobody else.
std::string Driver::Initialize() {
    const auto config = DvXML::ParseRoot(entry_.config);
    const auto state = DvXML::ParseRoot(state_ ? *state_ : std::string());
    state_.reset();
    long result = 0;
    const std::string fault =
        Call("Initialize", [&] { result = driver_->Initialize(entry_.id, *config, state.get()); });
    if (!fault.empty() || result == 0) return fault;
    return "Initialize answered " + std::to_string(result) + "; expected 0";
}

void Driver::Stop() {
    if (!running_) return;
    running_ = false;
    failure_ = "it was stopped";
    Call("OnDestroy", [this] { driver_->OnDestroy(); });
    Discard();
}

// What the driver posted goes while the driver is there, and before its library.
void Driver::Discard() {
    if (manager_) manager_->Close();
    Call("its destruction", [this] { driver_.reset(); });
    if (manager_) manager_->WithdrawAll();
    manager_.reset();
    services_.keeper.Forget(stateKey_);
}

void Driver::UnloadLibrary() {
    library_.reset();
}

void Driver::SetFailure(const std::string& failure) {
    failure_ = failure;
    HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                   "driver " + entry_.name + " (" + entry_.library + ") does not run: " + failure);
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
    if (!result.fault.empty()) result.known = true;  // nothing but a handler throws
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

PulledState Driver::PullState() {
    if (!running_) return {};
    PulledState pulled;
    pulled.error = Call("GetPersistState", [&] {
        if (const auto state = driver_->GetPersistState(kReserved)) pulled.document = state->NodeToText();
    });
    return pulled;
}

IDriverManager& Driver::Manager() {
    return table_;
}

std::string Driver::CallDriver(const char* call, const std::function<void()>& work) {
    return Call(call, work);
}

// Every call into the driver passes here. Nothing it throws goes further.
template <class Work>
std::string Driver::Call(const char* call, Work&& work) {
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

std::string Driver::LogFault(const char* call, const char* what) {
    ++counters_.failures;
    std::string fault = std::string("driver ") + entry_.name + " threw in " + call + ": " + what;
    HostLog::Write(dv::LOG_LEVEL_ERROR, entry_.name, fault);
    return fault;
}

}  // namespace driverhost
