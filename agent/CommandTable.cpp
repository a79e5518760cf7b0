// Every command that the agent answers, one row each, in the order of registration. The host's
// command lists, the client's help and the command reference are made from this table.
#include <boost/bind/bind.hpp>
#include <string>
#include <variant>

#include "agent/IntercomAgent.h"

using UIMember = dv::auto_com<DvXML::INode> (IntercomAgent::*)(const ICmdMessage&);
using PlainMember = void (IntercomAgent::*)(const ICmdMessage&);

struct IntercomAgent::CommandRow {
    const char* name;
    // A UI command answers with an element, a plain one has no answer.
    std::variant<UIMember, PlainMember> handler;
    const char* parameters;  // their names, separated by spaces; "a|b" if it reads only one of them
    const char* help;        // what it does, in one line

    std::string HelpLine() const;
};

// clang-format off
const IntercomAgent::CommandRow IntercomAgent::kCommands[] = {
    {"addGroup",               &IntercomAgent::OnReqAddGroup,               "name",               "new group of devices; replies with it"},
    {"copyGroup",              &IntercomAgent::OnReqCopyGroup,              "groupId name",       "new group with another one's members; replies with it"},
    {"deleteGroup",            &IntercomAgent::OnReqDeleteGroup,            "groupId",            "delete a group"},
    {"getGroupList",           &IntercomAgent::OnReqGetGroupList,           "",                   "all groups, the group of all devices first"},
    {"getGroup",               &IntercomAgent::OnReqGetGroup,               "groupId",            "one group; 0 is the group of all devices"},
    {"getDeviceList",          &IntercomAgent::OnReqGetDeviceList,          "",                   "registered devices in display order"},
    {"setDeviceOrder",         &IntercomAgent::OnReqSetDeviceOrder,         "xml",                "replace the display order by the ids in an XML list"},
    {"getDeviceState",         &IntercomAgent::OnReqGetDeviceState,         "idDevice",           "a device's current state"},
    {"setDeviceState",         &IntercomAgent::OnReqSetDeviceState,         "idDevice ...",       "pass settings on to a device"},
    {"getPopupTimeout",        &IntercomAgent::OnReqGetPopupTimeout,        "",                   "seconds that a call's pop-up stays"},
    {"setPopupTimeout",        &IntercomAgent::OnReqSetPopupTimeout,        "timeout",            "set the seconds that a call's pop-up stays"},
    {"getIsExternal",          &IntercomAgent::OnReqGetIsExternal,          "",                   "whether an external SIP service exists"},
    {"setGroupState",          &IntercomAgent::OnReqSetGroupState,          "groupId name xml",   "rename a group and replace its members by the ids in an XML list"},
    {"getSipUserGroup",        &IntercomAgent::OnReqGetSipUserGroup,        "groupName",          "SIP keys of a group's registered members"},
    {"getCustomButtons",       &IntercomAgent::OnReqGetCustomButtons,       "idDevice",           "a device's own buttons"},
    {"addUser",                &IntercomAgent::OnReqAddUser,                "key user domain realm password name email forwardAddress", "new SIP user, gone with the next restart"},
    {"eraseUser",              &IntercomAgent::OnReqEraseUser,              "key",                "take the device with that key out of the registry"},
    {"getUser",                &IntercomAgent::OnReqGetUser,                "key|index",          "a device by its key, or the key at an index"},
    {"addRoute",               &IntercomAgent::OnReqAddRoute,               "key method event matchingPattern rewriteExp order", "new route of the SIP proxy"},
    {"eraseRoute",             &IntercomAgent::OnReqEraseRoute,             "key",                "erase a route of the SIP proxy"},
    {"getRoute",               &IntercomAgent::OnReqGetRoute,               "key|index",          "a route by its key, or the key at an index"},
    {"addAcl",                 &IntercomAgent::OnReqAddAcl,                 "key peer address mask port family transport", "new access-control entry of the SIP proxy"},
    {"eraseAcl",               &IntercomAgent::OnReqEraseAcl,               "key",                "erase an access-control entry of the SIP proxy"},
    {"getAcl",                 &IntercomAgent::OnReqGetAcl,                 "key|index",          "an access-control entry by its key, or the key at an index"},
    {"addConfig",              &IntercomAgent::OnReqAddConfig,              "key domain port",    "new domain of the SIP proxy"},
    {"eraseConfig",            &IntercomAgent::OnReqEraseConfig,            "key",                "erase a domain of the SIP proxy"},
    {"getConfig",              &IntercomAgent::OnReqGetConfig,              "key|index",          "a domain by its key, or the key at an index"},
    {"getSipProxyIP",          &IntercomAgent::OnReqGetSipProxyIP,          "",                   "address under which devices reach the SIP proxy"},
    {"setSipProxyIP",          &IntercomAgent::OnReqSetSipProxyIP,          "address",            "set that address and hand it to every device"},
    {"applySIPProxyChanges",   &IntercomAgent::OnReqApplySIPProxyChanges,   "",                   "restart the SIP proxy with its changed records"},
    {"editService",            &IntercomAgent::OnReqEditService,            "name host username password", "add or replace an external SIP service"},
    {"getServiceList",         &IntercomAgent::OnReqGetServiceList,         "",                   "external SIP services, passwords included"},
    {"removeService",          &IntercomAgent::OnReqRemoveService,          "name",               "remove an external SIP service"},
    {"addContact",             &IntercomAgent::OnReqAddContact,             "contactId displayName firstName lastName phoneType", "new contact under an id that the caller chooses"},
    {"deleteContact",          &IntercomAgent::OnReqDeleteContact,          "contactId",          "delete a contact"},
    {"editContact",            &IntercomAgent::OnReqEditContact,            "contactId displayName phoneType", "replace a contact's display name and numbers"},
    {"getContactList",         &IntercomAgent::OnReqGetContactList,         "",                   "the address book"},
    {"getRecentContactList",   &IntercomAgent::OnReqGetRecentContactList,   "",                   "recent calls, oldest first"},
    {"deleteRecentContact",    &IntercomAgent::OnReqDeleteRecentContact,    "id",                 "delete one recent call"},
    {"clearRecentContactList", &IntercomAgent::OnReqClearRecentContactList, "",                   "delete all recent calls"},
    {"SIP_EXTERNAL_CALL",      &IntercomAgent::handleSipExternalCall,       "source destination video", "call a SIP address from a device"},
    {"SIP_REGULAR_CALL",       &IntercomAgent::handleSipRegularCall,        "source destination video ring", "call one device from another"},
    {"SIP_MONITOR_CALL",       &IntercomAgent::handleSipMonitorCall,        "source destination video", "let one device watch and listen to another"},
    {"SIP_BROADCAST_CALL",     &IntercomAgent::handleSipBroadcastCall,      "source destinations video", "speak from one device to those in an XML list"},
    {"CUSTOM_BUTTON",          &IntercomAgent::handleCustomButtonEvent,     "idDevice ...",       "pass a pressed button on to a device"},
};
// clang-format on

std::string IntercomAgent::CommandRow::HelpLine() const {
    std::string line = help;
    if (*parameters) line.append(" (").append(parameters).append(")");
    return line;
}

void IntercomAgent::RegisterCommands() {
    for (const CommandRow& row : kCommands) {
        if (const auto* ui = std::get_if<UIMember>(&row.handler))
            GetUICmdDispatcher().RegisterUICmd(row.name, boost::bind(*ui, this, boost::placeholders::_1),
                                               row.HelpLine());
        else
            GetCmdDispatcher().RegisterCmd1(
                row.name, boost::bind(std::get<PlainMember>(row.handler), this, boost::placeholders::_1),
                row.HelpLine());
    }
}
