#include "tests/model/Coverage.h"

#include <cstdio>
#include <set>
#include <sstream>

#include "tests/model/AgentModel.h"
#include "tests/model/ModelSide.h"

namespace model {
namespace {

using Texts = std::vector<std::string>;

constexpr std::size_t kUsualBound = 50;
constexpr std::size_t kMostOrderedPhones = 10;
constexpr unsigned long kHiddenId = 99999;

// Commands that can be refused; all others have one outcome.
const Texts kRefusable = {"addGroup",        "copyGroup",      "deleteGroup",    "getGroup",
                          "setDeviceOrder",  "getDeviceState", "setDeviceState", "setGroupState",
                          "getSipUserGroup", "eraseUser",      "getUser",        "addRoute",
                          "eraseRoute",      "getRoute",       "eraseAcl",       "getAcl",
                          "addConfig",       "eraseConfig",    "getConfig",      "removeService",
                          "addContact",      "deleteContact",  "editContact",    "deleteRecentContact"};
const Texts kWithoutElement = {"applySIPProxyChanges", "getCustomButtons", "getRoute", "getAcl", "getConfig"};

// Steps that may find nothing to do.
const Texts kMayDoNothing = {"OnDeviceRemoved",
                             "OnDeviceChanged",
                             "GetDeviceAOR",
                             "GetDeviceListByGroup",
                             "GetIntercomDevice",
                             "EndOfflineSession",
                             "QueryInterface",
                             "system event OnItemRemoved",
                             "system event OnItemNameChanged",
                             "system event OnItemMoved"};
const Texts kAlwaysDone = {"AddIntercomDevice", "AddIntercomDevice, found one",
                           "GetGroupList",      "GetDeviceList",
                           "GetContactList",    "AddRecentContact",
                           "GetPopupTimeout",   "restart"};

const Texts kLines = {"mark",
                      "withdraw all",
                      "sysman kill sipproxy",
                      "sysman enable sipproxy",
                      "sysman disable sipproxy",
                      "ui DeviceAdded",
                      "ui DeviceRemoved",
                      "ui DeviceChanged",
                      "ui DeviceUpdated",
                      "ui DeviceDnDChanged",
                      "ui DeviceAutoAnswerChanged",
                      "ui DeviceMonitorModeChanged",
                      "ui DeviceCurrentStateChanged",
                      "ui DeviceSendVideoChanged",
                      "ui DeviceExcludeNavChanged",
                      "ui DeviceRingToneChanged",
                      "ui DeviceOrderChanged",
                      "ui GroupAdded",
                      "ui GroupRemoved",
                      "ui GroupChanged",
                      "ui ContactAdded",
                      "ui ContactDeleted",
                      "ui ContactEdited",
                      "ui RecentContactAdded",
                      "ui RecentContactDeleted",
                      "ui RecentContactsCleared",
                      "ui ServiceChanged",
                      "ui PopupTimeoutChanged",
                      "ui AGENT_EXTERNAL",
                      "ui addRoute",
                      "ui eraseRoute",
                      "ui addAcl",
                      "ui eraseAcl",
                      "ui addConfig",
                      "ui eraseConfig",
                      "device requestToAddDevice",
                      "device disconnectAgent",
                      "device setDeviceState",
                      "device findSessionId",
                      "device updateSipInfoFromDriver",
                      "device PassToDriver",
                      "device StartSipCall",
                      "device StartSipMonitor",
                      "device StartSipBroadcast",
                      "device HangupSipSession",
                      "log 3 Unable to add intercom device",
                      "log 3 IntercomAgent::OnReqGetDeviceState passed",
                      "log 3 IntercomAgent::OnReqSetDeviceState passed",
                      "log 3 failed to open connection",
                      "log 3 Failed to kill",
                      "log 3 Failed to enable",
                      "log 3 Failed to disable",
                      "log 6 IntercomAgent kill",
                      "log 6 IntercomAgent enable",
                      "log 6 IntercomAgent disable",
                      "log 7 IntercomAgent checking services",
                      "log 7 IntercomAgent has services",
                      "log 7 AddRecentContact:",
                      "log 7 OnReqDeleteRecentContact:",
                      "log 7 IntercomAgent::EndOfflineSession - finding local",
                      "log 7 IntercomAgent::EndOfflineSession - found local",
                      "log 7 IntercomAgent::EndOfflineSession - checking for broadcast",
                      "log 7 IntercomAgent::EndOfflineSession - connection status",
                      "log 7 IntercomAgent::EndOfflineSession - checking endpoint",
                      "log 7 IntercomAgent::EndOfflineSession - hangup endpoint",
                      "log 7 IntercomAgent::EndOfflineSession - finding remote",
                      "log 7 IntercomAgent::EndOfflineSession - found remote",
                      "log 7 IntercomAgent::EndOfflineSession - Error: No session"};

bool StartsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

/// "device d1 StartSipCall 0 3 x" is a "device StartSipCall", "ui <GroupAdded>..." a "ui GroupAdded".
std::string LineKind(const std::string& line) {
    for (const std::string& log : kLines) {
        if (StartsWith(log, "log ") && StartsWith(line, log)) return log;
    }
    if (StartsWith(line, "ui <")) return "ui " + line.substr(4, line.find_first_of(" />", 4) - 4);
    std::istringstream words(line);
    std::string first, second, third;
    words >> first >> second >> third;
    return first == "device" ? first + " " + third : line;
}

std::string Outcome(const Step& step, const Texts& lines) {
    if (lines.empty()) return "nothing";
    const std::string& last = lines.back();
    if (StartsWith(last, "answer <fail")) return "refused";
    if (last == std::string("answer ") + kNoElement) return "no element";
    if (last == std::string("answer ") + kNoSuchCommand) return "no such command";
    const Texts nothings = {"answer ", std::string("answer ") + kNobody, "answer " + IdsText(kIdsBefore)};
    for (const std::string& nothing : nothings) {
        if (step.kind != StepKind::UiCommand && last == nothing) return "nothing";
    }
    if (last == std::string("answer ") + kNobodyListens) return "nobody listens";
    return "done";
}

}  // namespace

void Coverage::CountSituations(const Step& step, const std::string& outcome, const AgentModel& agent) {
    const auto meet = [&](const char* situation, bool met) { situations_[situation] += met ? 1 : 0; };
    const std::size_t groups = agent.groups().size();
    const std::size_t recents = agent.recents().size();
    const bool grew = step.kind == StepKind::AddRecentContact;
    const bool founded = step.message.name == "addGroup" && outcome == "done";
    meet("the oldest call is pushed out", grew && recents == lastRecents_);
    meet("the usual bound is kept", grew && recents == kUsualBound && lastRecents_ == kUsualBound);
    meet("more calls than the usual bound", recents > kUsualBound);
    meet("a new group's id is taken", founded && groups == lastGroups_);
    meet("no device", agent.devices().empty());
    meet("mode 1", agent.mode() == 1);
    meet("mode 2", agent.mode() == 2);
    meet("mode 3", agent.mode() == 3);
    meet("services known to exist", agent.external());
    meet("device 99999 is registered", agent.Device(kHiddenId) != nullptr);
    std::set<const DeviceFacts*> objects;
    for (const auto& [id, device] : agent.devices())
        objects.insert(device);
    meet("one device under two ids", objects.size() < agent.devices().size());
    for (const auto& [id, group] : agent.groups())
        meet("a group called All", group.name == "All");
    for (const auto& contact : agent.contacts())
        meet("more than ten numbers", contact.phones.size() > kMostOrderedPhones);
    lastGroups_ = groups;
    lastRecents_ = recents;
}

void Coverage::Count(const Step& step, const Texts& lines, const AgentModel& agent) {
    const std::string outcome = Outcome(step, lines);
    outcomes_[KindText(step)][outcome]++;
    CountSituations(step, outcome, agent);
    for (const std::string& line : lines)
        lines_[LineKind(line)]++;
}

std::string Coverage::Table() const {
    std::string table;
    char row[160];
    for (const auto& [kind, outcomes] : outcomes_) {
        std::snprintf(row, sizeof row, "%-36s", kind.c_str());
        table += row;
        for (const auto& [outcome, count] : outcomes) {
            std::snprintf(row, sizeof row, "  %s %d", outcome.c_str(), count);
            table += row;
        }
        table += "\n";
    }
    for (const std::string& line : kLines) {
        const auto found = lines_.find(line);
        std::snprintf(row, sizeof row, "%-60s %d\n", line.c_str(), found == lines_.end() ? 0 : found->second);
        table += row;
    }
    for (const auto& [situation, count] : situations_) {
        std::snprintf(row, sizeof row, "%-60s %d\n", situation.c_str(), count);
        table += row;
    }
    return table;
}

Texts Coverage::Missing() const {
    Texts missing;
    const auto demand = [&](const std::string& kind, const std::string& outcome) {
        const auto found = outcomes_.find(kind);
        if (found == outcomes_.end() || found->second.count(outcome) == 0)
            missing.push_back(kind + ": " + outcome);
    };
    for (const std::string& name : AgentModel::UiCommandNames()) {
        if (name != "applySIPProxyChanges") demand("ui " + name, "done");
    }
    for (const std::string& name : kRefusable)
        demand("ui " + name, "refused");
    for (const std::string& name : kWithoutElement)
        demand("ui " + name, "no element");
    for (const std::string& name : AgentModel::PlainCommandNames()) {
        demand("plain " + name, "done");
        demand("plain " + name, "nothing");
    }
    for (const std::string& kind : kAlwaysDone)
        demand(kind, "done");
    for (const std::string& kind : kMayDoNothing)
        demand(kind, "done");
    for (const std::string& kind : kMayDoNothing)
        demand(kind, "nothing");
    for (const std::string& line : kLines) {
        if (lines_.count(line) == 0) missing.push_back("line: " + line);
    }
    for (const auto& [situation, count] : situations_) {
        if (count == 0) missing.push_back("situation: " + situation);
    }
    return missing;
}

}  // namespace model
