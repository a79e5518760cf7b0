// Commands on external SIP services. They never touch the external flag: it follows at the next
// getIsExternal.
#include <boost/make_shared.hpp>

#include "agent/IntercomAgent.h"
#include "agent/RecordList.h"
#include "agent/Replies.h"
#include "agent/UiEvents.h"

IntercomAgent::Reply IntercomAgent::OnReqEditService(const ICmdMessage& message) {
    const auto service = boost::make_shared<ServiceInfo>(message);
    removeService(service->getKey());
    services.emplace(service->getKey(), service);
    DmInvalidateState();
    MySendDataToUI(UiEvents::kServiceChanged, UiEvents::kNone, UiEvents::kNone);
    return Replies::Success();
}

IntercomAgent::Reply IntercomAgent::OnReqGetServiceList(const ICmdMessage&) {
    return ListOf("services", services);
}

// Not marked for saving, unlike editService: the removal is stored with the next change.
IntercomAgent::Reply IntercomAgent::OnReqRemoveService(const ICmdMessage& message) {
    if (!removeService(message.GetString("name"))) return Replies::Failed();
    MySendDataToUI(UiEvents::kServiceChanged, UiEvents::kNone, UiEvents::kNone);
    return Replies::Success();
}

bool IntercomAgent::removeService(const std::string& name) {
    return services.erase(name) != 0;
}
