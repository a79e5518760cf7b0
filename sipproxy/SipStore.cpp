// The stores of SIP proxy records and of external services, and the commands on them. The running
// proxy sees changed records only after applySIPProxyChanges. What is erased leaves the saved state
// with the next change that is stored, because erasing does not mark the state.
#include <boost/make_shared.hpp>

#include "agent/IntercomAgent.h"
#include "agent/Replies.h"
#include "agent/UiEvents.h"

namespace {

// False when the key is taken; the record is then dropped.
bool InsertEntity(SipEntityMap& store, const SipEntityPtr& record) {
    return store.emplace(record->getKey(), record).second;
}

}  // namespace

bool IntercomAgent::AddConfig(SipConfig* config) {
    return InsertEntity(configs, SipEntityPtr(config));
}

bool IntercomAgent::AddRoute(SipRoute* route) {
    return InsertEntity(routes, SipEntityPtr(route));
}

IntercomAgent::Reply IntercomAgent::OnReqAddRoute(const ICmdMessage& message) {
    return FinishAdd(AddRoute(new SipRoute(message)), message);
}

IntercomAgent::Reply IntercomAgent::OnReqAddConfig(const ICmdMessage& message) {
    return FinishAdd(AddConfig(new SipConfig(message)), message);
}

// When the key is taken, the existing entry stays, and the answer is the same as for a new one.
IntercomAgent::Reply IntercomAgent::OnReqAddAcl(const ICmdMessage& message) {
    InsertEntity(acls, boost::make_shared<SipAcl>(message));
    return FinishAdd(true, message);
}

IntercomAgent::Reply IntercomAgent::FinishAdd(bool stored, const ICmdMessage& message) {
    if (!stored) return Replies::Fail("Key already exists");
    DmInvalidateState();
    EchoCommand(message);
    return Replies::Success();
}

IntercomAgent::Reply IntercomAgent::OnReqEraseRoute(const ICmdMessage& message) {
    return EraseExisting(routes, message);
}

IntercomAgent::Reply IntercomAgent::OnReqEraseConfig(const ICmdMessage& message) {
    return EraseExisting(configs, message);
}

IntercomAgent::Reply IntercomAgent::OnReqEraseAcl(const ICmdMessage& message) {
    EchoCommand(message);
    return EraseSipEntity(acls, message.GetString("key"));
}

IntercomAgent::Reply IntercomAgent::EraseExisting(SipEntityMap& store, const ICmdMessage& message) {
    const std::string& key = message.GetString("key");
    if (store.count(key) == 0) return Replies::Fail("Key does not exist");
    const Reply erased = EraseSipEntity(store, key);
    if (erased->NodeGetName() != "success") return Replies::Fail("Failed erasing route");
    EchoCommand(message);
    return Replies::Success();
}

IntercomAgent::Reply IntercomAgent::EraseSipEntity(SipEntityMap& store, const std::string& key) {
    return store.erase(key) == 0 ? Replies::UnableToErase(key) : Replies::Success();
}

IntercomAgent::Reply IntercomAgent::OnReqGetRoute(const ICmdMessage& message) {
    return GetSipEntity(routes, message);
}

IntercomAgent::Reply IntercomAgent::OnReqGetAcl(const ICmdMessage& message) {
    return GetSipEntity(acls, message);
}

IntercomAgent::Reply IntercomAgent::OnReqGetConfig(const ICmdMessage& message) {
    return GetSipEntity(configs, message);
}

IntercomAgent::Reply IntercomAgent::GetSipEntity(const SipEntityMap& store,
                                                 const ICmdMessage& message) const {
    if (message.HasParameter("key")) {
        const std::string& key = message.GetString("key");
        const auto found = store.find(key);
        return found == store.end() ? Replies::UnableToFind(key) : found->second->toXml();
    }
    if (!message.HasParameter("index")) return Replies::None();
    const unsigned long index = message.GetULong("index");
    const auto found = EntryAt(store, index);
    return found == store.end() ? Replies::NoEntityAt(index) : DvXML::CreateXmlNode("key", found->first);
}

// The commands on services leave the external mode alone: it is updated by the next getIsExternal.
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

IntercomAgent::Reply IntercomAgent::OnReqRemoveService(const ICmdMessage& message) {
    if (!removeService(message.GetString("name"))) return Replies::Failed();
    MySendDataToUI(UiEvents::kServiceChanged, UiEvents::kNone, UiEvents::kNone);
    return Replies::Success();
}

bool IntercomAgent::removeService(const std::string& name) {
    return services.erase(name) != 0;
}
