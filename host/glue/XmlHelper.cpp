#include "host/glue/XmlHelper.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

#include "host/glue/Trim.h"

namespace XmlHelper {
namespace {

bool IsMissing(const char* name) {
    return !name || !*name;
}

std::optional<unsigned long> ReadNumber(std::string_view text) {
    const std::string_view digits = dv::Trim(text);
    if (digits.empty()) return std::nullopt;
    std::uint64_t number = 0;
    for (const char c : digits) {
        if (c < '0' || c > '9') return std::nullopt;
        number = number * 10 + static_cast<std::uint64_t>(c - '0');
        if (number > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    }
    return number;
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
    const std::optional<unsigned long> number = ReadNumber(source->NodeGetText());
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
