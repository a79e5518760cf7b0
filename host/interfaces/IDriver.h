// The host-facing side of a driver, and the one function that a plug-in exports.
#ifndef HOST_INTERFACES_IDRIVER_H
#define HOST_INTERFACES_IDRIVER_H

#include <string>

#include "host/interfaces/DvXML.h"

class CmdDispatcher;
class IInstanceManager;
class UICmdDispatcher;

/// A driver is created, called and destroyed on the driver thread. The host calls, in this order:
/// the factory, Initialize once, anything in between, OnDestroy once, the destructor. A driver
/// whose Initialize throws gets no OnDestroy, only its destructor.
class DVHOST_API IDriver {
public:
    IDriver() = default;
    IDriver(const IDriver&) = delete;
    IDriver& operator=(const IDriver&) = delete;

    /// Stores the driver's object for the interface in `*out` and returns 0. An unknown id stores
    /// null and returns a negative number; a null `out` fails without a write. The object belongs
    /// to the driver. Whoever asks casts to the interface that the id stands for.
    virtual long QueryInterface(const std::string& id, void** out) = 0;

    virtual ~IDriver();

    /// Starts the driver. `config` is the home file's element for it (never null, perhaps empty),
    /// `savedState` what GetPersistState last gave, or null at a first start. Returns 0.
    virtual long Initialize(unsigned long id, DvXML::INode& config, DvXML::INode* savedState) = 0;

    /// Ends the driver: it withdraws what it registered. The host asks for no state afterwards.
    virtual void OnDestroy() = 0;

    /// The whole state as one element, or null when the driver keeps none. Changes nothing.
    /// The argument is reserved. The host may also call it before Initialize, to learn the name of
    /// the root element.
    virtual dv::auto_com<DvXML::INode> GetPersistState(unsigned long reserved) = 0;

    /// Fills the dispatchers. Called once by the base's Initialize.
    virtual void RegisterCommands() = 0;

    /// The commands that the driver answers. They belong to the driver.
    virtual UICmdDispatcher& GetUICmdDispatcher() = 0;
    virtual CmdDispatcher& GetCmdDispatcher() = 0;
};

/// Makes a driver; throws what its constructor throws. The host deletes the driver.
using CreateDriverFunc = IDriver* (*)(IInstanceManager&);

/// A plug-in exports exactly one function: extern "C" CreateDriverFunc GetCreationFunc();
/// (see host/glue/PluginEntry.h).
using GetCreationFuncType = CreateDriverFunc (*)();

#endif
