#include "groups/IntercomGroup.h"

#include <algorithm>

#include "host/glue/XmlHelper.h"

IntercomGroup::IntercomGroup(int id, const std::string& name) : name_(name), groupId_(id) {}

IntercomGroup::IntercomGroup(DvXML::INode* node)
    : name_(node->NodeGetNamedValue("name")), groupId_(node->NodeGetNamedInt("groupId")) {
    // A group without devices has no list, and what is not an id is left out: neither is an error.
    XmlHelper::fromXml<unsigned long>(devices_, *node, "devices");
}

void IntercomGroup::AddToGroup(unsigned long id) {
    if (std::find(devices_.begin(), devices_.end(), id) == devices_.end()) devices_.push_back(id);
}

void IntercomGroup::RemoveFromGroup(unsigned long id) {
    const auto found = std::find(devices_.begin(), devices_.end(), id);
    if (found != devices_.end()) devices_.erase(found);
}

dv::auto_com<DvXML::INode> IntercomGroup::toXml() const {
    auto group = DvXML::CreateXmlNode("group", "");
    group->NodeAddNamedInt("groupId", groupId_);
    group->NodeAddNamedValue("name", name_);
    if (!devices_.empty()) XmlHelper::toXml<unsigned long>(devices_, *group, "devices", "device");
    return group;
}
