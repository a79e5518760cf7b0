// All drivers of the home, in file order: starting, restarting and ending them, and finding one another.
#ifndef DRIVERHOST_PLUGINS_DRIVERTABLE_H
#define DRIVERHOST_PLUGINS_DRIVERTABLE_H

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "driverhost/plugins/Driver.h"
#include "driverhost/plugins/DriverRestart.h"
#include "driverhost/plugins/HostServices.h"
#include "driverhost/runtime/SystemEvents.h"
#include "host/interfaces/IDriverManager.h"

namespace driverhost {

/// All operations: [driver thread]
class DriverTable final : public IDriverManager {
public:
    DriverTable(const Home& home, HostServices& services);
    DriverTable(const DriverTable&) = delete;
    DriverTable& operator=(const DriverTable&) = delete;
    ~DriverTable() = default;

    // Starting: LoadLibraries and LoadStates start nothing, and leave nothing loaded when they throw.

    /// The drivers of a library that crashes or hangs are left out, which is logged. Throws
    /// PluginError.
    void LoadLibraries();
    /// Throws FileError.
    void LoadStates();
    /// In file order. A driver that does not start is logged; the others are started all the same.
    void StartAll();

    /// Agents first, then the others, the last one started first. Each state is stored before its
    /// driver's OnDestroy. False when one could not be stored.
    bool StopAll();

    // A home file that was read again, in two steps. Drivers that stand in it unchanged run on.

    /// Ends and removes the drivers that are not in it any more or have changed; returns a line that
    /// says what has changed. Throws, and has ended nothing, when a library that is needed cannot be
    /// loaded or a state cannot be stored.
    std::string RemoveOutdated(const Home& home);
    /// Loads and starts the drivers that are missing, in file order.
    void AddMissing(const Home& home);

    /// Null when no driver has that name or, failing that, that id.
    Driver* Find(std::string_view nameOrId);
    const std::vector<std::unique_ptr<Driver>>& All() const { return drivers_; }

    /// Stores the state, ends the driver, loads its library anew and starts it with that state. When
    /// the driver cannot give its state it is started with the last one stored, which is logged and
    /// shown as a warning.
    RestartResult Restart(Driver& driver);

    /// The same with `document` in the place of the state, which is kept as an earlier generation.
    /// The document is stored once the driver runs with it: a document that ends the process, or
    /// that the driver refuses, is never what the next start begins with. When the driver does not
    /// start with it, or it cannot be stored, the driver is started with its former state again.
    RestartResult RestartWith(Driver& driver, const DvXML::INode& document);

    /// What a driver has published under that id; null when none has.
    void* FindInterface(const std::string& id) const;

    /// Delivers the event to every listener; returns what they threw, one sentence a driver.
    std::string Deliver(const SystemEvent& event);

    // IDriverManager
    long DriverManagerFindByInterface(unsigned long reserved, const std::string& interfaceId,
                                      std::vector<ISupportIntercom*>& found) override;

private:
    LibraryFaults TryLibraries(const std::vector<std::string>& paths) const;
    void CheckLibraries(const std::vector<DriverEntry>& entries) const;
    bool Start(Driver& driver);
    Fault StartChecked(Driver& driver);
    Fault FindConflict(const Driver& driver);
    void LoadAndStart(Driver& driver);
    void CheckStored(const Driver& driver) const;
    std::vector<Driver*> StopOrder();
    bool StoreAndStop(Driver& driver);
    std::unique_ptr<Driver> Extract(std::string_view name);
    Driver* FindRunning(const std::string& libraryPath);
    Driver* FindInstance(const void* instance);

    HostServices& services_;
    std::vector<std::unique_ptr<Driver>> drivers_;
};

}  // namespace driverhost

#endif
