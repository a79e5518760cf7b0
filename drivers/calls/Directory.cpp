#include "drivers/calls/Directory.h"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>

#include "host/glue/Numbers.h"
#include "host/interfaces/IIntercomAgent.h"
#include "host/interfaces/ISupportIntercom.h"
#include "telephony/protocol/Command.h"

namespace {

// The agent leaves the first SIP user that it made out of its list of devices.
constexpr unsigned long kUnlistedUser = 99999;
// The host part that every proxy of this system takes for its own.
constexpr char kOwnDomain[] = "intercom";

Peer PeerOf(ISupportIntercom& device) {
    const SipAccount account = device.getSipAccount();
    Peer peer;
    peer.key = device.getKey();
    peer.user = account.user.empty() ? peer.key : account.user;
    peer.name = device.getIntercomName();
    peer.dnd = device.getDnD();
    peer.autoAnswer = device.getAutoAnswer();
    peer.ringDoorbell = device.getRingDoorbell();
    return peer;
}

bool Exactly(const std::string& a, const std::string& b) {
    return a == b;
}

// As the proxy does it: ASCII letters only, whatever the process's locale.
bool InAnyCase(const std::string& a, const std::string& b) {
    return boost::algorithm::iequals(a, b, std::locale::classic());
}

}  // namespace

Directory::Directory(IIntercomAgent* agent) : agent_(agent) {
    if (!agent) return;
    std::vector<unsigned long> ids;
    const auto list = agent->GetDeviceList();
    for (const DvXML::INode* const device : list->NodeChildren())
        if (const auto id = dv::ParseWhole<unsigned long>(device->NodeGetNamedValue("id")))
            ids.push_back(*id);
    ids.push_back(kUnlistedUser);
    for (const unsigned long id : ids)
        if (ISupportIntercom* const device = agent->GetIntercomDevice(id))
            devices_.push_back({id, PeerOf(*device)});
}

const Peer* Directory::FindDevice(const std::string& name) const {
    for (const auto equals : {&Exactly, &InAnyCase})
        for (const auto member : {&Peer::name, &Peer::user, &Peer::key})
            for (const Device& device : devices_)
                if (!name.empty() && equals(device.peer.*member, name)) return &device.peer;
    return nullptr;
}

bool Directory::FindGroup(const std::string& name, std::vector<Peer>& members) const {
    if (!agent_) return false;
    const auto groups = agent_->GetGroupList(true);
    for (const DvXML::INode* const group : groups->NodeChildren()) {
        if (group->NodeGetNamedValue("name") != name) continue;
        const DvXML::INode* const ids = group->NodeFindChild("devices");
        if (!ids) return true;
        for (const DvXML::INode* const id : ids->NodeChildren())
            for (const Device& device : devices_)
                if (dv::ParseULong(id->NodeGetText()) == device.id) members.push_back(device.peer);
        return true;
    }
    if (name != telephony::kDoorbell) return false;
    for (const Device& device : devices_)
        if (device.peer.ringDoorbell) members.push_back(device.peer);
    return true;
}

Destination Directory::Resolve(const std::string& address, const std::string& proxy) const {
    Destination destination;
    const std::string text(address.starts_with("sip:") ? address.substr(4) : address);
    const std::size_t at = text.rfind('@');  // a name may contain one, an address never does
    destination.name = text.substr(0, at);
    const std::string host = at == std::string::npos ? "" : text.substr(at + 1);
    if (destination.name.empty()) {
        destination.fault = "it names nobody";
        return destination;
    }
    if (!host.empty() && host != proxy && host != kOwnDomain) {
        // The proxy's routes tell whether it is called.
        destination.peers = {FindUser(text)};
        return destination;
    }
    if (const Peer* const device = FindDevice(destination.name)) {
        destination.peers = {*device};
    } else if (FindGroup(destination.name, destination.peers)) {
        destination.isGroup = true;
        std::erase_if(destination.peers, [](const Peer& peer) { return peer.dnd; });
        if (destination.peers.empty()) destination.fault = "nobody of this group takes calls";
    } else {
        destination.peers = {FindUser(destination.name)};
    }
    return destination;
}

Peer Directory::FindUser(const std::string& user) const {
    const auto found = std::ranges::find_if(devices_, [&](const Device& d) { return d.peer.user == user; });
    if (found != devices_.end()) return found->peer;
    Peer stranger;
    stranger.user = stranger.key = stranger.name = user;
    return stranger;
}

ISupportIntercom* Directory::FindDeviceOf(const std::string& user) const {
    const auto found = std::ranges::find_if(devices_, [&](const Device& d) { return d.peer.user == user; });
    return found == devices_.end() ? nullptr : agent_->GetIntercomDevice(found->id);
}
