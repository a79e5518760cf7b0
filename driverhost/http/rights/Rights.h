// Who may do what: the one table of rights, and the questions that are asked of it.
//
// Whatever stands in no row is refused to everybody but the role admin. The table is also the place for what
// the host knows of the agent's commands and notifications: their names, and which parameter says for which
// device a command is given.
#ifndef DRIVERHOST_HTTP_RIGHTS_RIGHTS_H
#define DRIVERHOST_HTTP_RIGHTS_RIGHTS_H

#include <string>
#include <string_view>

#include "driverhost/settings/TokenFile.h"

namespace driverhost {

/// The library of the driver whose commands the table names.
inline constexpr std::string_view kAgentLibrary = "intercom_agent";

/// A request as the table sees it. The views are the caller's.
struct Deed {
    std::string_view method;
    std::string_view route;         // as in the table of routes: "/drivers/*/commands/*"
    std::string_view command = {};  // empty when the route has none
    bool isOfAgent = false;         // the path names the agent
    bool isOfOwn = false;           // the path names the caller's own tablet
};

struct Verdict {
    bool isGranted = false;
    /// When not empty, only if this parameter is there once and is the id of one of the caller's own devices.
    std::string_view ownParameter = {};
};

/// Whether the roles, which may be none, grant it.
Verdict Judge(Roles roles, const Deed& deed);

/// The roles that a deed needs, in words: "admin or household".
std::string WhoMay(const Deed& deed);

/// Whether a notification, whose root element has that name, goes to these roles.
bool MayHear(Roles roles, std::string_view notification);

/// What everybody but admin gets of a reply or notification: descriptions of devices are without their SIP
/// accounts, and without whatever else a driver may put there. `text` has elements as INode::NodeToText
/// writes them.
std::string Narrowed(std::string_view text);

/// The strongest of the roles, as the token file and pages call it; empty for none.
std::string_view NameOfRole(Roles roles);

/// The table as Markdown, for --rights and docs/security.md.
std::string RightsText();

}  // namespace driverhost

#endif
