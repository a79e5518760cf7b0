#include "host/glue/XmlHelper.h"

#include <cstdint>

#include "host/glue/Assert.h"
#include "host/glue/Numbers.h"
#include "host/glue/XmlText.h"

namespace XmlHelper {
namespace {

bool IsMissing(const char* name) {
    return !name || !*name;
}

}  // namespace

long toXml(unsigned long value, DvXML::INode& parent, const char* name) {
    if (IsMissing(name)) return RESULT_BAD_NAME;
    parent.NodeAddNamedULong(name, value);
    return RESULT_OK;
}

long fromXml(unsigned long& value, DvXML::INode& node, const char* name) {
    const bool isNodeItself = !name || node.NodeGetName() == name;
    const DvXML::INode* source = isNodeItself ? &node : node.NodeFindChild(name);
    if (!source) return RESULT_NO_VALUE;
    const auto number = dv::ParseWhole<std::uint32_t>(dv::Trim(source->NodeGetText()));
    if (!number) return RESULT_BAD_NUMBER;
    value = *number;
    return RESULT_OK;
}

DvXML::INode* AddChild(DvXML::INode& parent, const char* name, const char* text) {
    if (IsMissing(name)) return nullptr;
    const dv::auto_com<DvXML::INode> child = DvXML::CreateXmlNode(name, text);
    parent.NodeAddChild(child.get());
    return child.get();
}

template <>
long toXml<unsigned long>(const std::vector<unsigned long>& list, DvXML::INode& parent,
                          const char* containerName, const char* itemName) {
    DvXML::INode* const container = containerName ? AddChild(parent, containerName, "") : &parent;
    if (!container) {
        dv::AssertWrite("dvshared/XmlHelper", 89, dv::StackTrace());
        return RESULT_NO_CONTAINER;
    }
    for (const unsigned long id : list)
        if (const long result = toXml(id, *container, itemName); result < 0) return result;
    return RESULT_OK;
}

template <>
long fromXml<unsigned long>(std::vector<unsigned long>& list, DvXML::INode& node, const char* containerName) {
    const bool descend = containerName && node.NodeGetName() != containerName;
    const DvXML::INode* const container = descend ? node.NodeFindChild(containerName) : &node;
    if (!container) return RESULT_NOT_FOUND;

    long result = RESULT_OK;
    for (DvXML::INode* child : container->NodeChildren()) {
        unsigned long id = 0;
        const long read = fromXml(id, *child, nullptr);
        if (read < 0)
            result = read;
        else
            list.push_back(id);
    }
    return result;
}

std::vector<unsigned long> ReadIdList(const std::string& xml) {
    std::vector<unsigned long> ids;
    const auto root = DvXML::ParseParameter(xml);
    if (!root) return ids;
    for (const DvXML::INode* child : root->NodeChildren()) {
        const auto number = dv::ParseLong(child->NodeGetText());
        if (number != 0 && number != -1) ids.push_back(dv::ToULong32(number));
    }
    return ids;
}

}  // namespace XmlHelper
