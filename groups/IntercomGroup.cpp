#include "groups/IntercomGroup.h"

#include <algorithm>

#include "host/glue/ElementSource.h"
#include "host/glue/XmlHelper.h"

namespace {

// The group as it is when its element is asked for. Nearly all who ask want the text, and that needs no
// nodes.
class GroupElement final : public DvXML::ElementSource {
public:
    GroupElement(int id, const std::string& name, const std::vector<unsigned long>& devices)
        : id_(id), name_(name), devices_(devices) {}

    void Describe(DvXML::IElementSink& sink) const override {
        sink.Begin("group");
        sink.NamedNumber("groupId", id_);
        sink.NamedValue("name", name_);
        if (!devices_.empty()) DescribeDevices(sink);
        sink.End();
    }

private:
    ~GroupElement() override = default;

    void DescribeDevices(DvXML::IElementSink& sink) const {
        sink.Begin("devices");
        for (const unsigned long id : devices_)
            sink.NamedNumber("device", id);
        sink.End();
    }

    const int id_;
    const std::string name_;
    const std::vector<unsigned long> devices_;
};

}  // namespace

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
    const auto element = dv::auto_com<GroupElement>::adopt(new GroupElement(groupId_, name_, devices_));
    return DvXML::CreateXmlNode(*element);
}
