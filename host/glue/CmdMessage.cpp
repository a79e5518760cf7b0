#include "host/glue/CmdMessage.h"

#include <algorithm>

#include "host/glue/Numbers.h"

namespace dv {

auto_com<CmdMessage> CmdMessage::Create(std::string name) {
    return auto_com<CmdMessage>::adopt(new CmdMessage(std::move(name)));
}

CmdMessage& CmdMessage::AddParameter(std::string name, std::string value) {
    parameters_.emplace_back(std::move(name), std::move(value));
    return *this;
}

bool CmdMessage::HasParameter(std::string_view name) const {
    return Find(name) != nullptr;
}

const std::string& CmdMessage::GetString(std::string_view name) const {
    static const std::string absent;
    const std::string* value = Find(name);
    return value ? *value : absent;
}

int CmdMessage::GetInt(std::string_view name) const {
    return ParseInt(GetString(name));
}

unsigned long CmdMessage::GetULong(std::string_view name) const {
    return ParseULong(GetString(name));
}

auto_com<DvXML::INode> CmdMessage::ToXml() const {
    auto_com<DvXML::INode> element = DvXML::CreateXmlNode(name_, "");
    for (const auto& [name, value] : parameters_)
        element->NodeAddNamedValue(name, value);
    return element;
}

const std::string* CmdMessage::Find(std::string_view name) const {
    const auto found = std::find_if(parameters_.begin(), parameters_.end(),
                                    [&](const auto& parameter) { return parameter.first == name; });
    return found == parameters_.end() ? nullptr : &found->second;
}

}  // namespace dv
