// What the host offers to one driver instance. Every instance has a manager of its own, so
// the host always knows who is asking; the manager outlives the driver.
#ifndef HOST_INTERFACES_IINSTANCEMANAGER_H
#define HOST_INTERFACES_IINSTANCEMANAGER_H

#include <boost/function.hpp>
#include <string>

#include "host/interfaces/DvXML.h"

class IDriverManager;
class ISystemEventCallback;

/// Drivers reach all of this through DvBaseDriver, which passes it on under the names that
/// driver authors know; the three Instance operations, PostToDriverThread and SendDataToReader are called
/// directly.
class DVHOST_API IInstanceManager {
public:
    /// Publishes `object` under `interfaceId` for other drivers. Calls no driver back.
    /// 0 on success; negative when the id is empty, the object null, or the id already published.
    /// [driver thread]
    virtual long InstanceRegisterInterface(const std::string& interfaceId, void* object) = 0;

    /// Withdraws what this driver published. 0 on success; negative when it published no such id.
    /// [driver thread]
    virtual long InstanceUnregisterInterface(const std::string& interfaceId) = 0;

    /// The object published under `interfaceId` by any driver, or null. It belongs to its driver;
    /// do not keep it beyond the current call.  [driver thread]
    virtual void* InstanceFindInterface(const std::string& interfaceId) = 0;

    /// [driver thread]
    virtual IDriverManager& GetDriverManager() = 0;

    /// Subscribes to a class of system events; keyed by all three arguments, a second
    /// registration of the same three is refused. 0 or negative.  [driver thread]
    virtual long RegisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                                  unsigned long number) = 0;
    /// Ends a subscription; takes effect at once, even while an event is being delivered.
    /// 0, or negative when there was none.  [driver thread]
    virtual long UnregisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                                    unsigned long number) = 0;

    /// Copies or serialises the element before it returns; calls nobody back.  [driver thread]
    virtual void SendDataToUI(const DvXML::INode& element) = 0;

    /// Only marks: the host asks for GetPersistState later, between calls.  [driver thread]
    virtual void InvalidateState() = 0;

    /// One log line of this driver. Levels are the syslog numbers used here: 3 error, 6
    /// information, 7 debugging.  [any thread]
    virtual void WriteLog(unsigned int level, const std::string& text) = 0;

    /// Runs `work` on the driver thread, after the current call and never inside another one.
    /// Dropped when the driver is gone by then.  [any thread]
    virtual void PostToDriverThread(boost::function<void()> work) = 0;

    /// Withdraws every interface and listener that this driver left registered. The driver
    /// base calls it from its destructor.  [driver thread]
    virtual void WithdrawAll() = 0;

    /// Sends the element to one reader of this driver (see IReaderSink) and to nobody else. It comes in order
    /// with what SendDataToUI sends, is copied before this returns, and never kept for later readers.
    /// False when the reader is gone, not this driver's, or has too much waiting, for which it is dropped.
    /// [driver thread]
    virtual bool SendDataToReader(unsigned long reader, const DvXML::INode& element) = 0;

protected:
    ~IInstanceManager() = default;
};

#endif
