// All drivers of the home, in file order: start, restart, end, and finding each other.
#ifndef DRIVERHOST_PLUGINS_DRIVERTABLE_H
#define DRIVERHOST_PLUGINS_DRIVERTABLE_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "driverhost/plugins/Driver.h"
#include "driverhost/plugins/HostServices.h"
#include "driverhost/runtime/SystemEvents.h"
#include "host/interfaces/IDriverManager.h"

namespace driverhost {

/// What became of a restart or of a new state.
enum class Restarted {
    Done,
    NotStored,  // the state could not be stored, so the driver was left with what it had
    Failed      // the driver does not run now, or could not be replaced
};

struct RestartResult {
    Restarted outcome;
    std::string reason;  // of what is not Done
};

/// All operations: [driver thread]
class DriverTable final : public IDriverManager {
public:
    DriverTable(const Home& home, HostServices& services);
    DriverTable(const DriverTable&) = delete;
    DriverTable& operator=(const DriverTable&) = delete;
    ~DriverTable() = default;

    // Starting: the first two start nothing and undo what they did when they throw.

    /// A library that crashes or hangs leaves its drivers out, which is logged. Throws PluginError.
    void LoadLibraries();
    /// Throws FileError.
    void LoadStates();
    /// In file order. A driver that does not start is logged; the others go on.
    void StartAll();

    /// Agents first, each state stored before its driver's OnDestroy; then the others, the last
    /// one started first. False when a state could not be stored.
    bool StopAll();

    // A home file that was read again, in two steps. What stands in it as before is left alone.

    /// Ends and takes away the drivers that are not in it any more, or changed; a line that tells what
    /// becomes of which. Throws, and has ended nothing, when a library that is needed does not fit
    /// or a state cannot be stored.
    std::string Retire(const Home& home);
    /// Loads and starts those that are new, in file order; what is changed is new here.
    void Adopt(const Home& home);
    /// True when there is a driver of that name.
    bool Holds(std::string_view name) const;

    /// Null when there is none of that name or, failing that, id.
    Driver* Find(std::string_view nameOrId);
    /// The running driver of that library; null when there is none.
    const Driver* FindRunning(const std::string& libraryPath) const;
    const std::vector<std::unique_ptr<Driver>>& All() const { return drivers_; }

    /// Stores the state, ends the driver, loads its library anew and starts it with that state.
    RestartResult Restart(Driver& driver);

    /// The same with `document` in the place of the state, which stays as an earlier generation. The
    /// document is stored when the driver has started with it: one that ends the process, or that
    /// the driver refuses, is never what the next start begins with. When it is not taken or
    /// cannot be stored the driver is started with its former state again.
    RestartResult RestartWith(Driver& driver, const std::string& document);

    /// Delivers to every listener; what those said that threw, one sentence a driver.
    std::string Deliver(const SystemEvent& event);

    // IDriverManager
    long DriverManagerFindByInterface(unsigned long reserved, const std::string& interfaceId,
                                      std::vector<ISupportIntercom*>& found) override;

private:
    LibraryFaults TryLibraries(const std::vector<std::string>& paths) const;
    std::string TryLibrary(const Driver& driver) const;
    void CheckLibraries(const std::vector<DriverEntry>& entries) const;
    void FlushAll(const std::vector<Driver*>& drivers);
    void TakeAway(Driver& driver);
    std::unique_ptr<Driver> TakeOut(std::string_view name);
    RestartResult Prepare(Driver& driver);
    RestartResult Reload(Driver& driver);
    RestartResult Load(Driver& driver);
    void StartNew(Driver& driver);
    RestartResult TakeState(Driver& driver, const std::optional<std::string>& known);
    RestartResult TryState(Driver& driver, const std::string& document);
    RestartResult StartAgain(Driver& driver);
    void GoBack(Driver& driver, const std::optional<std::string>& former, RestartResult& result);
    Driver* FindInstance(const void* instance);
    std::vector<Driver*> OrderOfEnding();
    bool StopStored(Driver& driver);
    std::string FlushPatiently(Driver& driver);

    HostServices& services_;
    std::vector<std::unique_ptr<Driver>> drivers_;
    std::vector<std::unique_ptr<Driver>> retired_;  // the state keeper's records know them for good
};

}  // namespace driverhost

#endif
