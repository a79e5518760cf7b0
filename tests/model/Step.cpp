#include "tests/model/Step.h"

#include <cstdio>

namespace model {
namespace {

std::string FactsText(const DeviceFacts& facts) {
    std::string text = facts.label + " id " + std::to_string(facts.id) + " key " + Quoted(facts.key) +
                       " name " + Quoted(facts.name) + " version " + std::to_string(facts.version);
    const std::pair<const char*, bool> flags[] = {{"camera", facts.camera},
                                                  {"display", facts.display},
                                                  {"answerWithVideo", facts.answerWithVideo},
                                                  {"dnd", facts.dnd},
                                                  {"monitorMode", facts.monitorMode},
                                                  {"doorStation", facts.doorStation},
                                                  {"answersRequests", facts.answersRequests}};
    for (const auto& [name, on] : flags)
        text += on ? std::string(" ") + name : "";
    for (const auto& [key, session] : facts.sessions) {
        text += " session " + Quoted(key) + "=" + std::to_string(session);
    }
    const std::pair<const char*, Reaction> reactions[] = {{"onAddress", facts.onAddress},
                                                          {"onCall", facts.onCall},
                                                          {"onHangup", facts.onHangup},
                                                          {"onDisconnect", facts.onDisconnect}};
    for (const auto& [name, reaction] : reactions) {
        if (reaction != Reaction::None)
            text += std::string(" ") + name + "=" + std::to_string(static_cast<int>(reaction));
    }
    return text + " victim " + std::to_string(facts.victim);
}

std::string MessageText(const Message& message) {
    std::string text;
    for (const Parameter& parameter : message.parameters)
        text += " " + parameter.name + "=" + Quoted(parameter.text);
    return text;
}

std::string SavedText(const Step& step) {
    switch (step.saved) {
        case SavedAs::Nothing:
            return "nothing";
        case SavedAs::OwnText:
            return "its own state as text";
        case SavedAs::OwnNode:
            return "its own state as element";
        case SavedAs::OtherText:
            return Quoted(step.treeText);
    }
    return "";
}

std::string Detail(const Step& step) {
    const std::string id = " " + std::to_string(step.id);
    switch (step.kind) {
        case StepKind::UiCommand:
        case StepKind::PlainCommand:
            return MessageText(step.message);
        case StepKind::AddDevice:
            return id + " driver " + std::to_string(step.slot);
        case StepKind::AddFound:
            return id + " found under " + std::to_string(step.otherId);
        case StepKind::ChangeDevice:
            return id + " property " + std::to_string(step.number);
        case StepKind::GetGroupList:
            return step.flag ? " with All" : " without All";
        case StepKind::AddRecentContact:
            return " " + Quoted(step.call.displayName) + Quoted(step.call.address);
        case StepKind::GetDeviceListByGroup:
            return " " + std::to_string(step.number);
        case StepKind::EndOfflineSession:
            return " " + Quoted(step.text) + " " + Quoted(step.otherText);
        case StepKind::SystemEvent:
            return " class " + std::to_string(step.number) + " " + ToText(*step.tree);
        case StepKind::QueryInterface:
            return " " + Quoted(step.text);
        case StepKind::ChangeFacts:
            return " " + FactsText(step.facts);
        case StepKind::Restart:
            return id + " address " + Quoted(step.text) + " with " + SavedText(step);
        case StepKind::RemoveDevice:
        case StepKind::GetDeviceAOR:
        case StepKind::GetIntercomDevice:
            return id;
        case StepKind::GetDeviceList:
        case StepKind::GetContactList:
        case StepKind::GetPopupTimeout:
            return "";
    }
    return "";
}

/// The event's name, of those that mean something.
std::string EventName(const Tree& event) {
    const std::string name = event.Value("name");
    const bool known = name == "OnItemRemoved" || name == "OnItemNameChanged" || name == "OnItemMoved";
    return known ? name : "of another name";
}

}  // namespace

std::string Quoted(const std::string& text) {
    std::string quoted = "[";
    for (const char c : text) {
        char hex[8];
        std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned int>(static_cast<unsigned char>(c)));
        quoted += c >= ' ' && c <= '~' ? std::string(1, c) : hex;
    }
    return quoted + "]";
}

std::string KindText(const Step& step) {
    switch (step.kind) {
        case StepKind::UiCommand:
            return "ui " + step.message.name;
        case StepKind::PlainCommand:
            return "plain " + step.message.name;
        case StepKind::AddDevice:
            return "AddIntercomDevice";
        case StepKind::AddFound:
            return "AddIntercomDevice, found one";
        case StepKind::RemoveDevice:
            return "OnDeviceRemoved";
        case StepKind::ChangeDevice:
            return "OnDeviceChanged";
        case StepKind::GetGroupList:
            return "GetGroupList";
        case StepKind::GetDeviceList:
            return "GetDeviceList";
        case StepKind::GetDeviceAOR:
            return "GetDeviceAOR";
        case StepKind::GetContactList:
            return "GetContactList";
        case StepKind::AddRecentContact:
            return "AddRecentContact";
        case StepKind::GetPopupTimeout:
            return "GetPopupTimeout";
        case StepKind::GetDeviceListByGroup:
            return "GetDeviceListByGroup";
        case StepKind::GetIntercomDevice:
            return "GetIntercomDevice";
        case StepKind::EndOfflineSession:
            return "EndOfflineSession";
        case StepKind::SystemEvent:
            return "system event " + EventName(*step.tree);
        case StepKind::QueryInterface:
            return "QueryInterface";
        case StepKind::ChangeFacts:
            return "device changes silently";
        case StepKind::Restart:
            return "restart";
    }
    return "";
}

std::string StepText(const Step& step) {
    std::string text = KindText(step) + Detail(step);
    for (const SysmanReply& reply : step.replies)
        text += " sysman=" + (reply ? Quoted(*reply) : "does not start");
    return text;
}

}  // namespace model
