#include "driverhost/http/rights/Rights.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace driverhost {
namespace {

// Whose driver a path names.
enum class Of { Any, Agent, Own };

struct Right {
    Roles roles;  // beside admin, who may do everything
    std::string_view method;
    std::string_view route;
    Of driver = Of::Any;
    std::string_view name = {};  // of the command or notification; "*" is any
    std::string_view own = {};   // what must be the id of a tablet's own device, if a tablet asks
};

constexpr Roles kStranger = 1U << 8U;  // who shows neither token nor session
constexpr Roles kAdmin = ROLE_ADMIN;
constexpr Roles kHousehold = ROLE_HOUSEHOLD;
constexpr Roles kTablet = ROLE_TABLET;
constexpr Roles kHome = kHousehold | kTablet;
constexpr Roles kAll = kAdmin | kHome;

constexpr std::string_view kCommand = "/drivers/*/commands/*";
constexpr std::string_view kEvents = "/events";
constexpr std::string_view kTold = "(told)";  // in the place of the method: a notification
constexpr std::string_view kAny = "*";

// A tablet gets what its page uses. It calls from itself and changes its own settings; whom it calls, and
// whose buttons it presses (the door's), is not bounded. Recent calls are those of the home: they do not say
// which device had them.
// clang-format off
constexpr Right kTable[] = {
    {kAll | kStranger, "POST", "/session"},
    {kAll,       "GET",    "/session"},
    {kAll,       "DELETE", "/session"},

    {kHousehold, "GET",    kEvents},
    {kTablet,    "GET",    "/tablets/*/events", Of::Own},
    {kTablet,    "POST",   kCommand, Of::Own,   "*"},

    {kHome,      "POST",   kCommand, Of::Agent, "getDeviceList"},
    {kHome,      "POST",   kCommand, Of::Agent, "getGroupList"},
    {kHome,      "POST",   kCommand, Of::Agent, "getContactList"},
    {kHome,      "POST",   kCommand, Of::Agent, "getRecentContactList"},
    {kHome,      "POST",   kCommand, Of::Agent, "deleteRecentContact"},
    {kHome,      "POST",   kCommand, Of::Agent, "clearRecentContactList"},
    {kHome,      "POST",   kCommand, Of::Agent, "getIsExternal"},
    {kHome,      "POST",   kCommand, Of::Agent, "getCustomButtons"},
    {kHome,      "POST",   kCommand, Of::Agent, "CUSTOM_BUTTON"},
    {kHome,      "POST",   kCommand, Of::Agent, "setDeviceState",     "idDevice"},
    {kHome,      "POST",   kCommand, Of::Agent, "SIP_REGULAR_CALL",   "source"},
    {kHome,      "POST",   kCommand, Of::Agent, "SIP_EXTERNAL_CALL",  "source"},
    {kHome,      "POST",   kCommand, Of::Agent, "SIP_MONITOR_CALL",   "source"},
    {kHome,      "POST",   kCommand, Of::Agent, "SIP_BROADCAST_CALL", "source"},
    {kHousehold, "POST",   kCommand, Of::Agent, "getDeviceState"},
    {kHousehold, "POST",   kCommand, Of::Agent, "setDeviceOrder"},
    {kHousehold, "POST",   kCommand, Of::Agent, "getPopupTimeout"},
    {kHousehold, "POST",   kCommand, Of::Agent, "setPopupTimeout"},
    {kHousehold, "POST",   kCommand, Of::Agent, "getGroup"},
    {kHousehold, "POST",   kCommand, Of::Agent, "addGroup"},
    {kHousehold, "POST",   kCommand, Of::Agent, "copyGroup"},
    {kHousehold, "POST",   kCommand, Of::Agent, "deleteGroup"},
    {kHousehold, "POST",   kCommand, Of::Agent, "setGroupState"},
    {kHousehold, "POST",   kCommand, Of::Agent, "addContact"},
    {kHousehold, "POST",   kCommand, Of::Agent, "editContact"},
    {kHousehold, "POST",   kCommand, Of::Agent, "deleteContact"},

    {kAdmin,     "POST",   kCommand, Of::Any,   "*"},
    {kAdmin,     "GET",    "/drivers"},
    {kAdmin,     "GET",    "/drivers/*/commands"},
    {kAdmin,     "GET",    "/drivers/*/state"},
    {kAdmin,     "PUT",    "/drivers/*/state"},
    {kAdmin,     "GET",    "/drivers/*/state/generations"},
    {kAdmin,     "GET",    "/drivers/*/state/generations/*"},
    {kAdmin,     "POST",   "/drivers/*/restart"},
    {kAdmin,     "POST",   "/system-events/*"},
    {kAdmin,     "GET",    "/tablets/*/events"},
    {kAdmin,     "GET",    "/health"},
    {kAdmin,     "GET",    "/metrics"},
    {kAdmin,     "GET",    "/sip/accounts"},

    {kHome,      kTold,    kEvents,  Of::Any,   "AGENT_EXTERNAL"},
    {kHome,      kTold,    kEvents,  Of::Any,   "DeviceAdded"},
    {kHome,      kTold,    kEvents,  Of::Any,   "DeviceRemoved"},
    {kHome,      kTold,    kEvents,  Of::Any,   "DeviceOrderChanged"},
    {kHome,      kTold,    kEvents,  Of::Any,   "DeviceChanged"},
    {kHome,      kTold,    kEvents,  Of::Any,   "DeviceUpdated"},
    {kHome,      kTold,    kEvents,  Of::Any,   "DeviceDnDChanged"},
    {kHome,      kTold,    kEvents,  Of::Any,   "DeviceAutoAnswerChanged"},
    {kHome,      kTold,    kEvents,  Of::Any,   "DeviceMonitorModeChanged"},
    {kHome,      kTold,    kEvents,  Of::Any,   "DeviceCurrentStateChanged"},
    {kHome,      kTold,    kEvents,  Of::Any,   "DeviceSendVideoChanged"},
    {kHome,      kTold,    kEvents,  Of::Any,   "DeviceExcludeNavChanged"},
    {kHome,      kTold,    kEvents,  Of::Any,   "DeviceRingToneChanged"},
    {kHome,      kTold,    kEvents,  Of::Any,   "DeviceButtonPressed"},
    {kHome,      kTold,    kEvents,  Of::Any,   "GroupAdded"},
    {kHome,      kTold,    kEvents,  Of::Any,   "GroupRemoved"},
    {kHome,      kTold,    kEvents,  Of::Any,   "GroupChanged"},
    {kHome,      kTold,    kEvents,  Of::Any,   "ContactAdded"},
    {kHome,      kTold,    kEvents,  Of::Any,   "ContactEdited"},
    {kHome,      kTold,    kEvents,  Of::Any,   "ContactDeleted"},
    {kHome,      kTold,    kEvents,  Of::Any,   "RecentContactAdded"},
    {kHome,      kTold,    kEvents,  Of::Any,   "RecentContactDeleted"},
    {kHome,      kTold,    kEvents,  Of::Any,   "RecentContactsCleared"},
    {kHousehold, kTold,    kEvents,  Of::Any,   "PopupTimeoutChanged"},
    {kAdmin,     kTold,    kEvents,  Of::Any,   "*"},
};
// clang-format on

// What a description of a device keeps for everybody but admin. Left out are the SIP account and what drivers
// add of their own; `user` is how pages recognise who calls.
constexpr std::string_view kDevice = "device";
constexpr std::array<std::string_view, 17> kShownOfDevices = {
    "id",
    "key",
    "name",
    "version",
    "state",
    "dnd",
    "autoAnswer",
    "monitorMode",
    "answerWithVideo",
    "speakerVolume",
    "excludeFromNav",
    "ringDoorbell",
    "doorStation",
    "thirdParty",
    "camera",
    "display",
    "user",
};

bool Fits(const Right& right, const Deed& deed) {
    return right.method == deed.method && right.route == deed.route &&
           (right.name.empty() || right.name == kAny || right.name == deed.command);
}

bool IsOf(const Right& right, const Deed& deed) {
    return right.driver == Of::Any || (right.driver == Of::Agent ? deed.isOfAgent : deed.isOfOwn);
}

bool IsShown(std::string_view child) {
    return std::ranges::find(kShownOfDevices, child) != kShownOfDevices.end();
}

// The position behind the element that begins there; that of the text's end when the element has none.
std::size_t EndOfElement(std::string_view text, std::size_t at) {
    std::size_t depth = 0;
    do {
        at = text.find('<', at);
        const std::size_t end = text.find('>', at);
        if (end == std::string_view::npos) return text.size();
        const std::string_view tag = text.substr(at, end + 1 - at);
        if (tag.starts_with("</")) {
            --depth;
        } else if (!tag.ends_with("/>")) {
            ++depth;
        }
        at = end + 1;
    } while (depth > 0);
    return at;
}

std::string Code(std::string_view text) {
    return text.empty() ? std::string() : "`" + std::string(text) + "`";
}

std::string DriverText(const Right& right) {
    if (right.driver == Of::Agent) return "the agent";
    if (right.driver == Of::Own) return "the tablet's own";
    return right.route == kCommand ? "any" : "";
}

std::string NameText(const Right& right) {
    if (right.name != kAny) return Code(right.name);
    return right.driver == Of::Own ? "any" : "any other";
}

std::string GrantText(const Right& right, Roles role) {
    if ((right.roles & role) == 0) return "";
    if (role != kTablet || right.own.empty()) return "yes";
    return "if " + Code(right.own) + " is its own device";
}

void AddRow(std::string& text, const std::vector<std::string>& cells) {
    for (const std::string& cell : cells)
        text.append("| ").append(cell).append(cell.empty() ? "" : " ");
    text.append("|\n");
}

}  // namespace

// Of several rows that grant it, one without a condition counts: who is more than a tablet has none.
Verdict Judge(Roles roles, const Deed& deed) {
    if ((roles & ROLE_ADMIN) != 0) return {true};
    Verdict verdict;
    for (const Right& right : kTable) {
        const Roles granted = right.roles & (roles == ROLE_NOBODY ? kStranger : roles);
        if (granted == 0 || !Fits(right, deed) || !IsOf(right, deed)) continue;
        if (right.own.empty() || granted != ROLE_TABLET) return {true};
        verdict = {true, right.own};
    }
    return verdict;
}

std::string WhoMay(const Deed& deed) {
    Roles roles = ROLE_ADMIN;
    bool isForOwn = false;
    for (const Right& right : kTable) {
        if (!Fits(right, deed)) continue;
        if (right.driver == Of::Own) {
            isForOwn = !deed.isOfAgent;
        } else if (IsOf(right, deed)) {
            roles |= right.roles;
        }
    }
    std::string text = "admin";
    if ((roles & kHousehold) != 0) text += " or household";
    if ((roles & kTablet) != 0) text += " or tablet";
    if (isForOwn) text += " or the tablet of that name";
    return text;
}

bool MayHear(Roles roles, std::string_view notification) {
    return Judge(roles, {kTold, kEvents, notification}).isGranted;
}

// The writer escapes < and > wherever they are not of a tag, so tags can be told without reading the rest.
std::string Narrowed(std::string_view text) {
    std::string shown;
    std::vector<std::string_view> open;
    std::size_t at = 0;
    for (std::size_t begin; (begin = text.find('<', at)) != std::string_view::npos;) {
        shown += text.substr(at, begin - at);
        const std::size_t end = text.find('>', begin);
        if (end == std::string_view::npos) return {};
        const std::string_view tag = text.substr(begin, end + 1 - begin);
        const std::string_view name = tag.substr(1, tag.find_first_of(" />", 1) - 1);
        const bool isEnd = tag.starts_with("</");
        if (!isEnd && !open.empty() && open.back() == kDevice && !IsShown(name)) {
            at = EndOfElement(text, begin);
            continue;
        }
        if (isEnd && !open.empty()) open.pop_back();
        if (!isEnd && !tag.ends_with("/>")) open.push_back(name);
        shown += tag;
        at = end + 1;
    }
    return shown.append(text.substr(at));
}

std::string_view NameOfRole(Roles roles) {
    if ((roles & ROLE_ADMIN) != 0) return "admin";
    if ((roles & ROLE_HOUSEHOLD) != 0) return "household";
    return (roles & ROLE_TABLET) != 0 ? "tablet" : "";
}

std::string RightsText() {
    std::string requests;
    std::string told;
    AddRow(requests, {"Request", "Driver", "Command", "household", "tablet", "not signed in"});
    AddRow(requests, {"---", "---", "---", "---", "---", "---"});
    AddRow(told, {"Notification", "household", "tablet"});
    AddRow(told, {"---", "---", "---"});
    for (const Right& right : kTable) {
        const std::string household = GrantText(right, kHousehold);
        const std::string tablet = GrantText(right, kTablet);
        if (right.method == kTold) {
            AddRow(told, {NameText(right), household, tablet});
            continue;
        }
        const std::string request = Code(std::string(right.method) + " " + std::string(right.route));
        AddRow(requests,
               {request, DriverText(right), NameText(right), household, tablet, GrantText(right, kStranger)});
    }
    return requests + "\n" + told;
}

}  // namespace driverhost
