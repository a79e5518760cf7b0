// The values that steps are filled with: numbers, texts, documents, devices.
#include <iterator>

#include "tests/model/Generator.h"
#include "tests/model/Pools.h"
#include "tests/model/Render.h"

namespace model {

const Generator::Rules& Generator::CommandRules() {
    constexpr unsigned int kOften = 40;
    static const std::vector<ParameterRule> keyOrIndex = {{"key", Fill::EntityKey, kOften},
                                                          {"index", Fill::Index, kOften}};
    static const std::vector<ParameterRule> entityKey = {{"key", Fill::EntityKey}};
    static const std::vector<ParameterRule> device = {{"idDevice", Fill::DeviceId}};
    static const std::vector<ParameterRule> call = {{"source", Fill::DeviceId},
                                                    {"destination", Fill::DeviceId},
                                                    {"video", Fill::Number},
                                                    {"ring", Fill::Number}};
    static const Rules rules = {
        {"addGroup", {{"name", Fill::GroupName}}},
        {"copyGroup", {{"groupId", Fill::GroupId}, {"name", Fill::GroupName}}},
        {"deleteGroup", {{"groupId", Fill::GroupId}}},
        {"getGroupList", {}},
        {"getGroup", {{"groupId", Fill::GroupId}}},
        {"getDeviceList", {}},
        {"setDeviceOrder", {{"xml", Fill::Ids}}},
        {"getDeviceState", device},
        {"setDeviceState", {{"idDevice", Fill::DeviceId}, {"state", Fill::Text, kOften}}},
        {"getPopupTimeout", {}},
        {"setPopupTimeout", {{"timeout", Fill::Number}}},
        {"getIsExternal", {}},
        {"setGroupState", {{"groupId", Fill::GroupId}, {"name", Fill::GroupName}, {"xml", Fill::Ids}}},
        {"getSipUserGroup", {{"groupName", Fill::GroupName}}},
        {"getCustomButtons", device},
        {"addUser",
         {{"key", Fill::DeviceKey},
          {"user", Fill::Text},
          {"domain", Fill::Address},
          {"realm", Fill::Text, kOften},
          {"password", Fill::Text},
          {"name", Fill::Text, kOften},
          {"email", Fill::Text, kOften},
          {"forwardAddress", Fill::Text, kOften}}},
        {"eraseUser", {{"key", Fill::DeviceKey}}},
        {"getUser", {{"key", Fill::DeviceKey, kOften}, {"index", Fill::Index, kOften}}},
        {"addRoute",
         {{"key", Fill::EntityKey},
          {"method", Fill::Text},
          {"event", Fill::Text},
          {"matchingPattern", Fill::Text},
          {"rewriteExp", Fill::Text},
          {"order", Fill::Number}}},
        {"eraseRoute", entityKey},
        {"getRoute", keyOrIndex},
        {"addAcl",
         {{"key", Fill::EntityKey},
          {"peer", Fill::Text},
          {"address", Fill::Address},
          {"mask", Fill::Number},
          {"port", Fill::Number},
          {"family", Fill::Number},
          {"transport", Fill::Number}}},
        {"eraseAcl", entityKey},
        {"getAcl", keyOrIndex},
        {"addConfig", {{"key", Fill::EntityKey}, {"domain", Fill::Address}, {"port", Fill::Number}}},
        {"eraseConfig", entityKey},
        {"getConfig", keyOrIndex},
        {"getSipProxyIP", {}},
        {"setSipProxyIP", {{"address", Fill::Address}}},
        {"applySIPProxyChanges", {}},
        {"editService",
         {{"name", Fill::EntityKey},
          {"host", Fill::Address},
          {"username", Fill::Text},
          {"password", Fill::Text}}},
        {"getServiceList", {}},
        {"removeService", {{"name", Fill::EntityKey}}},
        {"addContact",
         {{"contactId", Fill::ContactId},
          {"displayName", Fill::Text},
          {"firstName", Fill::Text},
          {"lastName", Fill::Text},
          {"phoneType", Fill::Phones}}},
        {"deleteContact", {{"contactId", Fill::ContactId}}},
        {"editContact",
         {{"contactId", Fill::ContactId}, {"displayName", Fill::Text}, {"phoneType", Fill::Phones}}},
        {"getContactList", {}},
        {"getRecentContactList", {}},
        {"deleteRecentContact", {{"id", Fill::RecentId}}},
        {"clearRecentContactList", {}},
        {"SIP_EXTERNAL_CALL",
         {{"source", Fill::DeviceId}, {"destination", Fill::Address}, {"video", Fill::Number}}},
        {"SIP_REGULAR_CALL", call},
        {"SIP_MONITOR_CALL", call},
        {"SIP_BROADCAST_CALL",
         {{"source", Fill::DeviceId}, {"destinations", Fill::Ids}, {"video", Fill::Number}}},
        {"CUSTOM_BUTTON", {{"idDevice", Fill::DeviceId}, {"button", Fill::Text, kOften}}}};
    return rules;
}

Parameter Generator::Filled(const ParameterRule& rule) {
    const auto plain = [&](const std::string& text) { return Parameter{rule.name, text, std::nullopt}; };
    switch (rule.fill) {
        case Fill::GroupName:
            return plain(dice_.Pick(pools::kGroupNames));
        case Fill::GroupId:
            return plain(dice_.Percent(90) ? std::to_string(GroupId()) : NumberText());
        case Fill::Ids:
            return Document(rule.name, IdList(dice_.Coin() ? "xml" : "devices"));
        case Fill::DeviceId:
            return plain(DeviceIdText());
        case Fill::Index:
            return plain(dice_.Coin() ? std::to_string(dice_.Below(7)) : dice_.Pick(pools::kIdTexts));
        case Fill::Number:
            return plain(NumberText());
        case Fill::Text:
            return plain(Text());
        case Fill::DeviceKey:
            return plain(DeviceKey());
        case Fill::EntityKey:
            return plain(dice_.Pick(dice_.Percent(90) ? pools::kKeys : pools::kAddresses));
        case Fill::ContactId: {
            const auto& contacts = Agent().contacts();
            const bool none = contacts.empty();
            return plain(SmallNumber(none ? 0 : contacts[dice_.Below(contacts.size())].id, none));
        }
        case Fill::RecentId: {
            const auto& recents = Agent().recents();
            const bool none = recents.empty();
            return plain(SmallNumber(none ? 0 : recents[dice_.Below(recents.size())].id, none));
        }
        case Fill::Phones:
            return Document(rule.name, PhoneList(dice_.Coin() ? "phoneType" : "a"));
        case Fill::Address:
            return plain(dice_.Pick(pools::kAddresses));
    }
    return plain("");
}

std::string Generator::Text() {
    return dice_.Pick(dice_.Percent(95) ? carried_ : anything_);
}

unsigned long Generator::DeviceId() {
    const auto& devices = Agent().devices();
    if (devices.empty() || dice_.Percent(30)) return dice_.Pick(pools::kDeviceIds);
    return std::next(devices.begin(), static_cast<long>(dice_.Below(devices.size())))->first;
}

std::string Generator::DeviceIdText() {
    if (dice_.Percent(8)) return dice_.Pick(pools::kIdTexts);
    const unsigned long id = DeviceId();
    return dice_.Percent(10) ? std::to_string(static_cast<int>(id)) : std::to_string(id);
}

std::string Generator::DeviceKey() {
    const auto& devices = Agent().devices();
    if (devices.empty() || dice_.Percent(30)) return dice_.Pick(pools::kKeys);
    return std::next(devices.begin(), static_cast<long>(dice_.Below(devices.size())))->second->key;
}

std::string Generator::NumberText() {
    return dice_.Pick(pools::kNumberTexts);
}

int Generator::GroupId() {
    const auto& groups = Agent().groups();
    if (groups.empty() || dice_.Percent(20)) return static_cast<int>(dice_.Below(7)) - 2;
    return std::next(groups.begin(), static_cast<long>(dice_.Below(groups.size())))->first;
}

std::string Generator::SmallNumber(int existing, bool any) {
    if (!any && dice_.Percent(60)) return std::to_string(existing);
    return dice_.Percent(80) ? std::to_string(dice_.Below(9)) : NumberText();
}

/// A parameter with the tree as text or, now and then, with a text that cannot be read.
Parameter Generator::Document(const std::string& name, const Tree& tree) {
    if (dice_.Percent(10)) return {name, Malformed(dice_), std::nullopt};
    std::string text = Render(tree, dice_);
    // It arrives as UTF-8, whatever it declares.
    if (text.starts_with("<?xml") && dice_.Coin()) text.replace(text.find("UTF-8"), 5, "utf-16");
    return {name, text, ReadBack(tree)};
}

Tree Generator::IdList(const std::string& name) {
    static const std::vector<std::string> items = {"device", "idDevice", "d"};
    Tree list(name, dice_.Percent(10) ? "7" : "");
    for (std::size_t count = dice_.Below(6); count > 0; count--) {
        Tree item(dice_.Pick(items), dice_.Percent(85) ? DeviceIdText() : dice_.Pick(pools::kIdTexts));
        if (dice_.Percent(5)) item.Add("device", DeviceIdText());
        list.Add(item);
    }
    return list;
}

Tree Generator::PhoneList(const std::string& name) {
    static const std::vector<std::string> flags = {"true", "false", "1", "0", " TRUE ", "yes", ""};
    Tree list(name);
    const std::size_t count = dice_.Percent(8) ? 9 + dice_.Below(5) : dice_.Below(5);
    while (list.children.size() < count) {
        Tree phone(dice_.Pick(pools::kKinds), Carried());
        if (dice_.Coin()) phone.attributes.emplace_back("speedDial", dice_.Pick(flags));
        if (dice_.Percent(5)) phone.attributes.emplace_back("speeddial", "true");
        if (dice_.Percent(5)) phone.Add("note", Carried());
        list.Add(phone);
    }
    return list;
}

DeviceFacts Generator::Facts(std::size_t slot) {
    static const std::vector<int> versions = {1, 1, 1, 1, 1, 1, 2, 2, 3, 0, -1};
    static const std::vector<unsigned char> sessions = {0, 1, 7, 254, 255};
    DeviceFacts facts;
    facts.label = "d" + std::to_string(slot);
    facts.id = dice_.Pick(pools::kDeviceIds);
    facts.key = dice_.Pick(pools::kKeys);
    facts.name = Text();
    facts.version = dice_.Pick(versions);
    facts.state = ReadInt(NumberText());
    facts.volume = static_cast<unsigned short>(dice_.Below(65536));
    facts.victim = dice_.Pick(pools::kDeviceIds);
    ChangeFlags(facts);
    for (const std::string& key : pools::kKeys) {
        if (dice_.Percent(45)) facts.sessions[key] = dice_.Pick(sessions);
    }
    if (dice_.Coin()) facts.buttons = Tree("buttons", Text());
    facts.answersRequests = dice_.Percent(70);
    return facts;
}

void Generator::ChangeFlags(DeviceFacts& facts) {
    for (bool* flag : {&facts.camera, &facts.display, &facts.answerWithVideo, &facts.autoAnswer,
                       &facts.excludeFromNav, &facts.ringDoorbell, &facts.thirdParty}) {
        *flag = dice_.Coin();
    }
    for (bool* flag : {&facts.dnd, &facts.monitorMode, &facts.doorStation})
        *flag = dice_.Percent(25);
    for (Reaction* reaction : {&facts.onAddress, &facts.onCall, &facts.onHangup, &facts.onDisconnect}) {
        *reaction = SomeReaction();
    }
}

Reaction Generator::SomeReaction() {
    static const std::vector<Reaction> reactions = {Reaction::Announce, Reaction::Report, Reaction::Leave,
                                                    Reaction::Evict};
    return dice_.Percent(75) ? Reaction::None : dice_.Pick(reactions);
}

}  // namespace model
