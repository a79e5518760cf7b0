// The names of the events that user interfaces receive, and the form of an event.
#ifndef AGENT_UIEVENTS_H
#define AGENT_UIEVENTS_H

#include <string>

#include "host/interfaces/DvXML.h"
#include "host/interfaces/dvIntercom.h"

namespace UiEvents {

inline constexpr char kDeviceAdded[] = "DeviceAdded";
inline constexpr char kDeviceRemoved[] = "DeviceRemoved";
inline constexpr char kDeviceOrderChanged[] = "DeviceOrderChanged";
inline constexpr char kGroupAdded[] = "GroupAdded";
inline constexpr char kGroupRemoved[] = "GroupRemoved";
inline constexpr char kGroupChanged[] = "GroupChanged";
inline constexpr char kContactAdded[] = "ContactAdded";
inline constexpr char kContactDeleted[] = "ContactDeleted";
inline constexpr char kContactEdited[] = "ContactEdited";
inline constexpr char kRecentContactAdded[] = "RecentContactAdded";
inline constexpr char kRecentContactDeleted[] = "RecentContactDeleted";
inline constexpr char kRecentContactsCleared[] = "RecentContactsCleared";
inline constexpr char kServiceChanged[] = "ServiceChanged";
inline constexpr char kPopupTimeoutChanged[] = "PopupTimeoutChanged";
inline constexpr char kAgentExternal[] = "AGENT_EXTERNAL";

/// As an id or a state: leave the number out of the event.
inline constexpr int kNone = -1;

/// The event that reports a change of that property; null for a value outside the table.
const char* NameOfProperty(dvIntercom::DeviceProps prop);

/// An element of that name with the children "id" and "state", without those that are kNone.
dv::auto_com<DvXML::INode> EventDocument(const std::string& name, int id, int state);

}  // namespace UiEvents

#endif
