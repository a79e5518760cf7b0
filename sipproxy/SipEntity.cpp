#include "sipproxy/SipEntity.h"

namespace {

template <class Record, class Table>
void ReadFields(Record& record, const Table& table, const ICmdMessage& message) {
    for (const auto& field : table) {
        if (const auto* text = std::get_if<std::string Record::*>(&field.member))
            record.*(*text) = message.GetString(field.name);
        else
            record.*std::get<int Record::*>(field.member) = message.GetInt(field.name);
    }
}

template <class Record, class Table>
void ReadFields(Record& record, const Table& table, const DvXML::INode& node) {
    for (const auto& field : table) {
        if (const auto* text = std::get_if<std::string Record::*>(&field.member))
            record.*(*text) = node.NodeGetNamedValue(field.name);
        else
            record.*std::get<int Record::*>(field.member) = node.NodeGetNamedInt(field.name);
    }
}

template <class Record, class Table>
void WriteFields(const Record& record, const Table& table, DvXML::INode& node) {
    for (const auto& field : table) {
        if (const auto* text = std::get_if<std::string Record::*>(&field.member))
            node.NodeAddNamedValue(field.name, record.*(*text));
        else
            node.NodeAddNamedInt(field.name, record.*std::get<int Record::*>(field.member));
    }
}

}  // namespace

constinit const RecordField<SipConfig> SipConfig::kFields[] = {
    {"key", &SipConfig::key},
    {"domain", &SipConfig::domain},
    {"port", &SipConfig::port},
};

constinit const RecordField<SipAcl> SipAcl::kFields[] = {
    {"key", &SipAcl::key},
    {"peer", &SipAcl::peer},
    {"address", &SipAcl::address},
    {"mask", &SipAcl::mask},
    {"port", &SipAcl::port},
    {"family", &SipAcl::family},
    {"transport", &SipAcl::transport},
};

constinit const RecordField<SipRoute> SipRoute::kFields[] = {
    {"key", &SipRoute::key},
    {"method", &SipRoute::method},
    {"event", &SipRoute::event},
    {"matchingPattern", &SipRoute::matchingPattern},
    {"rewriteExp", &SipRoute::rewriteExp},
    {"order", &SipRoute::order},
};

constinit const RecordField<ServiceInfo> ServiceInfo::kFields[] = {
    {"name", &ServiceInfo::name},
    {"host", &ServiceInfo::host},
    {"username", &ServiceInfo::username},
    {"password", &ServiceInfo::password},
};

SipEntity::~SipEntity() = default;

template <class Record>
dv::auto_com<DvXML::INode> SipRecord<Record>::toXml() const {
    auto element = DvXML::CreateXmlNode("State", "");
    WriteFields(static_cast<const Record&>(*this), Record::kFields, *element);
    return element;
}

template class SipRecord<SipConfig>;
template class SipRecord<SipAcl>;
template class SipRecord<SipRoute>;

SipConfig::SipConfig(const ICmdMessage& message) {
    ReadFields(*this, kFields, message);
}
SipConfig::SipConfig(const DvXML::INode* node) {
    ReadFields(*this, kFields, *node);
}
SipConfig::SipConfig(const std::string& address, int portNumber) : domain(address), port(portNumber) {
    key = address;
}

SipAcl::SipAcl(const ICmdMessage& message) {
    ReadFields(*this, kFields, message);
}
SipAcl::SipAcl(const DvXML::INode* node) {
    ReadFields(*this, kFields, *node);
}

SipRoute::SipRoute(const ICmdMessage& message) {
    ReadFields(*this, kFields, message);
}
SipRoute::SipRoute(const DvXML::INode* node) {
    ReadFields(*this, kFields, *node);
}

ServiceInfo::ServiceInfo(const ICmdMessage& message) {
    ReadFields(*this, kFields, message);
}
ServiceInfo::ServiceInfo(const DvXML::INode* node) {
    ReadFields(*this, kFields, *node);
}

ServiceInfo::~ServiceInfo() = default;

dv::auto_com<DvXML::INode> ServiceInfo::toXml() const {
    auto element = DvXML::CreateXmlNode("service", name);
    WriteFields(*this, kFields, *element);
    return element;
}
