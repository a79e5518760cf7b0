#include "host/glue/XmlHelper.h"

#include <cstdint>

#include "host/glue/Numbers.h"

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

}  // namespace XmlHelper
