// The three stores of SIP proxy records and the commands on them. Changes reach the running proxy
// with applySIPProxyChanges, never by themselves; an erased record leaves the saved state with
// the next change that is stored.
#include <boost/make_shared.hpp>

#include "agent/IntercomAgent.h"
#include "agent/RecordList.h"
#include "agent/Replies.h"

namespace {

/// False when the key is taken; the record is then dropped.
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
    return AnswerAdded(AddRoute(new SipRoute(message)), message);
}

IntercomAgent::Reply IntercomAgent::OnReqAddConfig(const ICmdMessage& message) {
    return AnswerAdded(AddConfig(new SipConfig(message)), message);
}

// A key that is taken keeps its record, and the answer is the same all the same.
IntercomAgent::Reply IntercomAgent::OnReqAddAcl(const ICmdMessage& message) {
    InsertEntity(acls, boost::make_shared<SipAcl>(message));
    return AnswerAdded(true, message);
}

IntercomAgent::Reply IntercomAgent::AnswerAdded(bool stored, const ICmdMessage& message) {
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
