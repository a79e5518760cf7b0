#include "drivers/panel/Operations.h"

DvXML::INode& Operations::Add(const std::string& name) {
    if (operations_.size() == kMaxOperations) {
        operations_.pop_front();
        ++dropped_;
    }
    operations_.push_back(DvXML::CreateXmlNode(name, ""));
    return *operations_.back();
}

void Operations::Clear() {
    operations_.clear();
    dropped_ = 0;
}

dv::auto_com<DvXML::INode> Operations::ToXml() const {
    dv::auto_com<DvXML::INode> element = DvXML::CreateXmlNode("operations", "");
    if (dropped_ != 0) element->NodeSetAttribute("dropped", std::to_string(dropped_));
    for (const auto& operation : operations_)
        element->NodeAddChild(operation.get());
    return element;
}
