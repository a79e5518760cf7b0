// Saved states that no agent wrote: parts are missing, repeated or out of range.
#include "tests/model/Generator.h"
#include "tests/model/Pools.h"

namespace model {

Tree Generator::SavedState() {
    static const std::vector<std::string> nextIds = {"0", "1", "1", "2", "2", "3", "4", "50", "-3", "abc"};
    static const std::vector<std::string> bounds = {"0", "1", "2", "3", "5", "50", "50", "-1", "abc"};
    Tree state("IntercomState");
    const auto addOften = [&](const std::string& name, const std::string& value) {
        if (dice_.Percent(90)) state.Add(name, value);
    };
    addOften("version", Carried());
    addOften("nextGroupId", dice_.Pick(nextIds));
    addOften("popupTimeout", NumberText());
    if (dice_.Percent(80)) state.Add(SavedOrder());
    std::vector<Tree> groups, contacts;
    for (std::size_t count = dice_.Below(7); count > 0; count--)
        groups.push_back(SavedGroup());
    for (std::size_t count = dice_.Below(5); count > 0; count--)
        contacts.push_back(SavedContact());
    AddList(state, "groups", groups);
    AddList(state, "contacts", contacts);
    addOften("maxRecentCalls", dice_.Pick(bounds));
    for (const char* store : {"Route", "Acl", "Config"}) {
        std::vector<Tree> records;
        const auto& fields = CommandRules().at(std::string("add") + store);
        for (std::size_t count = dice_.Below(5); count > 0; count--)
            records.push_back(SavedRecord(fields));
        AddList(state, std::string(1, static_cast<char>(store[0] - 'A' + 'a')) + (store + 1) + "s", records);
    }
    std::vector<Tree> services;
    const auto& fields = CommandRules().at("editService");
    for (std::size_t count = dice_.Below(4); count > 0; count--)
        services.push_back(SavedRecord(fields));
    AddList(state, "services", services);
    if (dice_.Percent(10)) std::swap(state.children.front(), state.children.back());
    return state;
}

/// Mostly once, sometimes twice or not at all.
void Generator::AddList(Tree& state, const std::string& name, std::vector<Tree> records) {
    Tree list(name);
    list.children = std::move(records);
    if (dice_.Percent(90)) state.Add(list);
    if (dice_.Percent(5)) state.Add(Tree(name));
}

Tree Generator::SavedOrder() {
    return dice_.Percent(90) ? Tree("order").Add(IdList("devices")) : Tree("order").Add("idDevice", "5");
}

Tree Generator::SavedGroup() {
    static const std::vector<std::string> names = {"group", "group", "group", "group", "other", "devices"};
    Tree group(dice_.Pick(names));
    if (dice_.Percent(95)) group.Add("groupId", dice_.Percent(90) ? std::to_string(dice_.Below(6)) : "-1");
    if (dice_.Percent(95)) group.Add("name", dice_.Pick(pools::kGroupNames));
    if (dice_.Percent(80)) group.Add(IdList("devices"));
    return group;
}

Tree Generator::SavedContact() {
    Tree contact(dice_.Percent(90) ? "contact" : "Contact");
    for (const char* name : {"displayName", "firstName", "lastName", "address"}) {
        if (dice_.Percent(90)) contact.Add(name, Carried());
    }
    if (dice_.Percent(95)) contact.Add("contactId", std::to_string(dice_.Below(9)));
    if (dice_.Percent(90)) contact.Add(PhoneList("phoneType"));
    return contact;
}

Tree Generator::SavedRecord(const std::vector<ParameterRule>& fields) {
    Tree record(dice_.Percent(90) ? "State" : "other", dice_.Percent(5) ? Carried() : "");
    for (const ParameterRule& field : fields) {
        if (dice_.Percent(5)) continue;
        const std::string value = field.fill == Fill::Text ? Carried() : Filled(field).text;
        record.Add(field.name, value);
    }
    return record;
}

}  // namespace model
