// The SIP accounts of all devices, with their passwords: for the programs that run the home's SIP, which
// come by the unix socket.
#include <exception>
#include <vector>

#include "driverhost/http/routes/Routes.h"
#include "host/glue/Numbers.h"
#include "host/interfaces/IIntercomAgent.h"
#include "host/interfaces/ISupportIntercom.h"
#include "host/interfaces/InterfaceIds.h"

namespace driverhost {
namespace {

// The agent leaves the first SIP user that it made out of its list of devices.
constexpr unsigned long kUnlistedUser = 99999;

void AddAccount(DvXML::INode& list, unsigned long id, ISupportIntercom& device) {
    const SipAccount account = device.getSipAccount();
    const auto element = DvXML::CreateXmlNode("account", "");
    element->NodeAddNamedULong("id", id);
    element->NodeAddNamedValue("key", device.getKey());
    element->NodeAddNamedValue("user", account.user);
    element->NodeAddNamedValue("domain", account.domain);
    element->NodeAddNamedValue("realm", account.realm);
    element->NodeAddNamedValue("password", account.password);
    element->NodeAddNamedValue("name", account.name);
    element->NodeAddNamedValue("email", account.email);
    element->NodeAddNamedValue("forwardAddress", account.forwardAddress);
    element->NodeAddNamedValue("intercomName", device.getIntercomName());
    element->NodeAddNamedBool("dnd", device.getDnD());
    element->NodeAddNamedBool("autoAnswer", device.getAutoAnswer());
    element->NodeAddNamedBool("ringDoorbell", device.getRingDoorbell());
    list.NodeAddChild(element.get());
}

dv::auto_com<DvXML::INode> AccountsOf(IIntercomAgent& agent) {
    const auto list = DvXML::CreateXmlNode("accounts", "");
    const auto devices = agent.GetDeviceList();
    std::vector<unsigned long> ids;
    for (std::size_t at = 0; at < devices->NodeChildCount(); ++at) {
        const auto id = dv::ParseWhole<unsigned long>(devices->NodeChildAt(at)->NodeGetNamedValue("id"));
        if (id) ids.push_back(*id);
    }
    ids.push_back(kUnlistedUser);
    // A device may be gone after any call into another.
    for (const unsigned long id : ids)
        if (ISupportIntercom* const device = agent.GetIntercomDevice(id)) AddAccount(*list, id, *device);
    return list;
}

}  // namespace

void Routes::ListSipAccounts(const Request&, const Path&, const Reply& reply) try {
    auto* const agent = static_cast<IIntercomAgent*>(served_.drivers.FindInterface(IntercomAgentInterfaceId));
    if (!agent) return reply(ErrorResponse(503, "no agent runs in this home; its accounts cannot be told"));
    reply(XmlResponse(AccountsOf(*agent)->NodeToText()));
} catch (const std::exception& error) {
    reply(ErrorResponse(500,
                        std::string("a device failed while it was asked for its account: ") + error.what()));
}

}  // namespace driverhost
