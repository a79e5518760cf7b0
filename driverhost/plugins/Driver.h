// One driver of the home: its library, its instance while it runs, and every call into it.
#ifndef DRIVERHOST_PLUGINS_DRIVER_H
#define DRIVERHOST_PLUGINS_DRIVER_H

#include <memory>
#include <optional>
#include <string>

#include "driverhost/home/HomeFile.h"
#include "driverhost/plugins/InstanceManager.h"
#include "driverhost/plugins/PluginLibrary.h"
#include "driverhost/runtime/Fault.h"
#include "host/glue/CmdDispatchers.h"
#include "host/interfaces/InterfaceIds.h"

namespace driverhost {

class DriverReader;

/// What became of a command.
struct CommandResult {
    bool known = false;
    Fault fault;                       // what the driver threw
    std::optional<std::string> reply;  // the element as XML text; no reply is a normal outcome
};

/// What became of a request to read a driver's events.
struct OpenedReader {
    std::shared_ptr<DriverReader> reader;  // null: the driver takes none, or
    Fault fault;                           // it threw
};

/// All operations: [driver thread]
class Driver final : public StateSource, public InstanceOwner {
public:
    /// `manager` finds the other drivers for this one.
    Driver(DriverEntry entry, HostServices& services, IDriverManager& manager);
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;
    /// Must not run any more.
    ~Driver();

    const DriverEntry& Entry() const { return entry_; }
    bool IsRunning() const { return running_; }
    /// Why it does not run.
    const std::string& Failure() const { return failure_; }

    // Starting it, in this order. When Create or Initialize fails, Fail undoes what was done.

    /// Throws PluginError.
    void LoadLibrary();
    /// Takes the stored document for Initialize. Throws FileError.
    void LoadState();
    /// Takes `document` instead; without one the driver starts as new.
    void UseState(std::optional<std::string> document);
    bool HasLibrary() const { return library_ != nullptr; }
    Fault Create();
    Fault Initialize();
    /// Keeps and logs why the driver does not run.
    void Fail(const std::string& failure);

    /// OnDestroy, destruction, everything withdrawn. The state must have been stored before.
    void Stop();
    /// The library leaves the process, unless another driver uses it.
    void UnloadLibrary();

    // From Create to Stop:

    /// True when a home may hold only one driver of its library.
    bool IsSingle() const;

    // While it runs:

    CommandResult Run(const ICmdMessage& message);
    /// Null when it does not know the id.
    void* QueryInterface(const std::string& id);
    /// Whether it takes readers: its device is a page.
    bool HasPages() { return QueryInterface(ReaderSinkInterfaceId) != nullptr; }
    /// A new reader, of which the driver was told; it is told, too, when the reader is let go.
    OpenedReader OpenReader();
    UICmdDispatcher& UICommands() { return driver_->GetUICmdDispatcher(); }
    CmdDispatcher& PlainCommands() { return driver_->GetCmdDispatcher(); }

    // StateSource, InstanceOwner
    const std::string& Name() const override { return entry_.name; }
    PulledState PullState() override;
    StateKeeper::Key StateKey() const override { return stateKey_; }
    IDriverManager& Manager() override { return driverManager_; }
    Fault CallDriver(const char* call, const std::function<void()>& work) override;

    /// The owner of what the driver registered, as the host's tables know it.
    const void* Instance() const { return manager_.get(); }

private:
    template <class Work>
    Fault Call(const char* call, Work&& work);
    Fault LogFault(const char* call, const char* what);
    PulledState AskState();
    dv::auto_com<DvXML::INode> ParseState();
    Fault CheckState(dv::auto_com<DvXML::INode>& state);
    void Discard();
    void Count(const std::string& command, double seconds);

    // Constant after construction
    const DriverEntry entry_;
    HostServices& services_;
    IDriverManager& driverManager_;
    DriverCounters& counters_;
    const StateKeeper::Key stateKey_;

    // From LoadLibrary to UnloadLibrary
    std::unique_ptr<PluginLibrary> library_;

    // From Create to Stop
    std::shared_ptr<InstanceManager> manager_;
    std::unique_ptr<IDriver> driver_;

    bool running_ = false;
    std::string failure_ = "it was not started yet";

    // For the next Initialize
    std::optional<std::string> state_;
    bool stateIsStored_ = false;  // it came from LoadState
};

}  // namespace driverhost

#endif
