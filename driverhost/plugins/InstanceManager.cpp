#include "driverhost/plugins/InstanceManager.h"

#include <utility>

#include "driverhost/http/routes/DriverReaders.h"
#include "driverhost/runtime/DriverThread.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/runtime/SystemEvents.h"
#include "host/glue/Assert.h"
#include "host/glue/Log.h"

namespace driverhost {
namespace {

constexpr long kWrongThread = -2;

}  // namespace

InstanceManager::InstanceManager(InstanceOwner& owner, HostServices& services)
    : owner_(owner),
      name_(owner.Name()),
      services_(services),
      counters_(services.metrics.OfDriver(owner.Name())) {}

void InstanceManager::Close() {
    services_.readers.CloseAll(this);
    std::deque<boost::function<void()>> dropped;
    const std::lock_guard lock(mutex_);
    closed_ = true;
    dropped.swap(posted_);
}

long InstanceManager::InstanceRegisterInterface(const std::string& interfaceId, void* object) {
    if (!IsDriverThread("InstanceRegisterInterface")) return kWrongThread;
    return services_.interfaces.Publish(interfaceId, object, this);
}

long InstanceManager::InstanceUnregisterInterface(const std::string& interfaceId) {
    if (!IsDriverThread("InstanceUnregisterInterface")) return kWrongThread;
    return services_.interfaces.Withdraw(interfaceId, this);
}

void* InstanceManager::InstanceFindInterface(const std::string& interfaceId) {
    if (!IsDriverThread("InstanceFindInterface")) return nullptr;
    return services_.interfaces.Find(interfaceId);
}

IDriverManager& InstanceManager::GetDriverManager() {
    return owner_.Manager();
}

long InstanceManager::RegisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                                       unsigned long number) {
    if (!IsDriverThread("RegisterListener")) return kWrongThread;
    return services_.events.Register(callback, eventClass, number, this);
}

long InstanceManager::UnregisterListener(ISystemEventCallback& callback, unsigned int eventClass,
                                         unsigned long number) {
    if (!IsDriverThread("UnregisterListener")) return kWrongThread;
    return services_.events.Unregister(callback, eventClass, number);
}

void InstanceManager::SendDataToUI(const DvXML::INode& element) {
    std::string text = element.NodeToText();
    if (IsDriverThread("SendDataToUI")) return Send(std::move(text));
    services_.thread.Post([weak = weak_from_this(), text = std::move(text)] {
        if (const auto self = weak.lock()) self->Send(text);
    });
}

void InstanceManager::InvalidateState() {
    if (IsDriverThread("InvalidateState")) return services_.keeper.Mark(owner_.StateKey());
    services_.thread.Post([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        self->services_.keeper.Mark(self->owner_.StateKey());
        self->services_.keeper.Settle();
    });
}

void InstanceManager::WriteLog(unsigned int level, const std::string& text) {
    HostLog::Write(level, name_, text);
}

void InstanceManager::PostToDriverThread(boost::function<void()> work) {
    {
        const std::lock_guard lock(mutex_);
        if (closed_) return;
        posted_.push_back(std::move(work));
    }
    // The loop only gets a reminder. The work stays here, where Close can drop it.
    services_.thread.Post([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->RunPosted();
    });
}

void InstanceManager::WithdrawAll() {
    if (!IsDriverThread("WithdrawAll")) return;
    services_.interfaces.WithdrawAll(this);
    services_.events.WithdrawAll(this);
}

bool InstanceManager::SendDataToReader(unsigned long reader, const DvXML::INode& element) {
    return IsDriverThread("SendDataToReader") && services_.readers.Send(this, reader, element.NodeToText());
}

// A call from the wrong thread is logged in the driver's name.
bool InstanceManager::IsDriverThread(const char* operation) const {
    if (services_.thread.IsCurrent()) return true;
    HostLog::Write(dv::LOG_LEVEL_ERROR, name_,
                   std::string(operation) + " was called outside the driver thread; use PostToDriverThread");
#ifndef NDEBUG
    dv::AssertWrite(__FILE__, __LINE__, dv::StackTrace());
#endif
    return false;
}

void InstanceManager::RunPosted() {
    boost::function<void()> work;
    {
        const std::lock_guard lock(mutex_);
        if (posted_.empty()) return;
        work.swap(posted_.front());
        posted_.pop_front();
    }
    owner_.CallDriver("posted work", work);
    services_.keeper.Settle();
}

void InstanceManager::Send(std::string element) {
    ++counters_.uiEvents;
    services_.sendToUi(std::move(element));
}

}  // namespace driverhost
