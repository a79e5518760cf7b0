// The base of every driver: start-up, dispatchers, and the host's services under the names
// that driver authors know.
//
// Derive from it, override RegisterCommands (and what else is wanted), call the base's
// Initialize first in an own one. Device drivers derive from DvBaseDriver directly, an agent
// from DvBaseAgentDriver.
#ifndef HOST_GLUE_DVBASEDRIVER_H
#define HOST_GLUE_DVBASEDRIVER_H

#include <string>

#include "host/glue/CmdDispatchers.h"
#include "host/interfaces/IDriver.h"
#include "host/interfaces/IInstanceManager.h"

class IDriverManager;
class ISystemEventCallback;

/// How many instances of a driver one host may hold.
enum DriverMultiplicity : int { DRIVER_SINGLE = 0, DRIVER_MULTIPLE = 1 };

class DVHOST_API DvBaseDriver : public IDriver {
public:
    DvBaseDriver(IInstanceManager& instanceManager, DriverMultiplicity multiplicity);

    // IDriver. A driver's own table follows this order.
    long QueryInterface(const std::string& id, void** out) override;
    /// Withdraws whatever the driver left registered with the host.
    ~DvBaseDriver() override;
    /// Keeps the id, then calls RegisterCommands.
    long Initialize(unsigned long id, DvXML::INode& config, DvXML::INode* savedState) override;
    void OnDestroy() override;
    /// Null: a driver without state.
    dv::auto_com<DvXML::INode> GetPersistState(unsigned long reserved) override;
    void RegisterCommands() override;
    UICmdDispatcher& GetUICmdDispatcher() override { return uiCmdDispatcher_; }
    CmdDispatcher& GetCmdDispatcher() override { return cmdDispatcher_; }

    DriverMultiplicity GetMultiplicity() const { return multiplicity_; }

protected:
    // The host's services; see IInstanceManager for what each one promises.

    /// The id that the home file gave to this driver; 0 before Initialize.
    unsigned long GetDeviceId() const { return deviceId_; }
    IInstanceManager& GetInstanceManager() const { return instanceManager_; }
    IDriverManager& GetDriverManager() const;
    long RegisterListener(ISystemEventCallback& callback, unsigned int eventClass, unsigned long number);
    long UnregisterListener(ISystemEventCallback& callback, unsigned int eventClass, unsigned long number);
    /// Delivers one notification element to user interfaces; the node stays the caller's.
    void ConSendDataToUI(const DvXML::INode& element);
    /// Marks the saved state stale: the host asks for GetPersistState later.
    void DmInvalidateState();
    /// A new message of that name, without parameters.
    dv::auto_com<ICmdMessage> CreateCommandMessageFromName(const std::string& name) const;
    /// One line in this driver's name. User text is an argument, never the format.
    void LogXMessage(unsigned int level, const char* format, ...) const
        __attribute__((format(printf, 3, 4)));

private:
    IInstanceManager& instanceManager_;
    const DriverMultiplicity multiplicity_;
    unsigned long deviceId_ = 0;
    UICmdDispatcher uiCmdDispatcher_;
    CmdDispatcher cmdDispatcher_;
};

/// The base of agents: drivers without a device of their own, one to a home.
class DVHOST_API DvBaseAgentDriver : public DvBaseDriver {
public:
    using DvBaseDriver::DvBaseDriver;
    ~DvBaseAgentDriver() override;
};

#endif
