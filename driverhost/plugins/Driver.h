// One driver of the home: its library, its instance while it runs, and every call into it.
#ifndef DRIVERHOST_PLUGINS_DRIVER_H
#define DRIVERHOST_PLUGINS_DRIVER_H

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "driverhost/home/HomeFile.h"
#include "driverhost/plugins/InstanceManager.h"
#include "driverhost/plugins/PluginLibrary.h"
#include "host/glue/CmdDispatchers.h"

namespace driverhost {

class DriverTable;

/// What became of a command.
struct CommandResult {
    bool known = false;
    std::string fault;                 // the driver threw this
    std::optional<std::string> reply;  // the element as XML text; none is a normal outcome
};

/// All operations: [driver thread]
class Driver final : public StateSource, public InstanceOwner {
public:
    /// `table` holds this driver and its siblings.
    Driver(DriverEntry entry, HostServices& services, DriverTable& table);
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;
    /// Must not run any more.
    ~Driver();

    const DriverEntry& Entry() const { return entry_; }
    bool IsRunning() const { return running_; }
    /// Why it does not run.
    const std::string& Failure() const { return failure_; }

    /// Throws PluginError.
    void LoadLibrary();
    /// Takes what is stored for the next Start. Throws FileError.
    void LoadState();
    /// Takes a document for the next Start instead; none: the driver starts as new.
    void UseState(std::optional<std::string> document) { state_ = std::move(document); }

    /// Creates the instance and initialises it with the loaded state. False, with everything
    /// undone and the failure logged and kept, when the driver does not start; also without a
    /// library, whose failure is kept already.
    bool Start();

    /// OnDestroy, destruction, everything withdrawn. The state must have been stored before.
    void Stop();

    /// The library leaves the process, unless another driver holds it.
    void UnloadLibrary();

    /// Keeps and logs why the driver cannot run.
    void SetFailure(const std::string& failure);

    // While it runs:

    CommandResult Run(const ICmdMessage& message);
    /// Null when it answers no such id.
    void* QueryInterface(const std::string& id);
    UICmdDispatcher& UICommands() { return driver_->GetUICmdDispatcher(); }
    CmdDispatcher& PlainCommands() { return driver_->GetCmdDispatcher(); }

    // StateSource, InstanceOwner
    const std::string& Name() const override { return entry_.name; }
    PulledState PullState() override;
    StateKeeper::Key StateKey() const override { return stateKey_; }
    IDriverManager& Manager() override;
    std::string CallDriver(const char* call, const std::function<void()>& work) override;

    /// The instance that the host's tables know as owner of what it registered.
    const void* Instance() const { return manager_.get(); }

private:
    template <class Work>
    std::string Call(const char* call, Work&& work);
    std::string LogFault(const char* call, const char* what);
    std::string Create();
    bool IsSingle() const;
    std::string Initialize();
    void Discard();
    void Count(const std::string& command, double seconds);

    const DriverEntry entry_;
    HostServices& services_;
    DriverTable& table_;
    DriverCounters& counters_;
    const StateKeeper::Key stateKey_;

    std::unique_ptr<PluginLibrary> library_;
    std::shared_ptr<InstanceManager> manager_;
    std::unique_ptr<IDriver> driver_;
    bool running_ = false;
    std::string failure_ = "it was not started yet";
    std::optional<std::string> state_;  // for the next Start
};

/// Why a stored document is of no use to any driver; empty when it can be read.
std::string CheckDocument(std::string_view document);

}  // namespace driverhost

#endif
