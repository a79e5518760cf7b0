// The host's services for one driver instance, see IInstanceManager.
#ifndef DRIVERHOST_PLUGINS_INSTANCEMANAGER_H
#define DRIVERHOST_PLUGINS_INSTANCEMANAGER_H

#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "driverhost/plugins/HostServices.h"
#include "driverhost/runtime/Fault.h"
#include "driverhost/runtime/Metrics.h"
#include "driverhost/state/StateKeeper.h"
#include "host/interfaces/IInstanceManager.h"

namespace driverhost {

/// The driver that an instance manager works for.
class InstanceOwner {
public:
    virtual const std::string& Name() const = 0;
    virtual StateKeeper::Key StateKey() const = 0;
    virtual IDriverManager& Manager() = 0;
    /// Runs code of the driver under the watchdog's eyes. What it throws is logged in the driver's
    /// name and returned.
    virtual Fault CallDriver(const char* call, const std::function<void()>& work) = 0;

protected:
    ~InstanceOwner() = default;
};

/// Made by std::make_shared, so that posted work can find out whether it is still there.
class InstanceManager final : public IInstanceManager, public std::enable_shared_from_this<InstanceManager> {
public:
    InstanceManager(InstanceOwner& owner, HostServices& services);
    ~InstanceManager() = default;

    /// Drops the work that the driver has posted, and ignores what it posts from now on; ends the streams of
    /// its readers. To be called before the driver is destroyed, because posted work and what readers call
    /// when they leave use its code and data.  [driver thread]
    void Close();

    // IInstanceManager
    long InstanceRegisterInterface(const std::string& interfaceId, void* object) override;
    long InstanceUnregisterInterface(const std::string& interfaceId) override;
    void* InstanceFindInterface(const std::string& interfaceId) override;
    IDriverManager& GetDriverManager() override;
    long RegisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                          unsigned long number) override;
    long UnregisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                            unsigned long number) override;
    void SendDataToUI(const DvXML::INode& element) override;
    void InvalidateState() override;
    void WriteLog(unsigned int level, const std::string& text) override;
    void PostToDriverThread(boost::function<void()> work) override;
    void WithdrawAll() override;
    bool SendDataToReader(unsigned long reader, const DvXML::INode& element) override;

private:
    bool IsDriverThread(const char* operation) const;
    void RunPosted();
    void Send(std::string element);

    InstanceOwner& owner_;
    const std::string name_;  // a copy: log lines come from any thread
    HostServices& services_;
    DriverCounters& counters_;

    std::mutex mutex_;
    std::deque<boost::function<void()>> posted_;  // under mutex_
    bool closed_ = false;                         // under mutex_
};

}  // namespace driverhost

#endif
