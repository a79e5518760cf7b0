#include "sipproxy/SipEntity.h"

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
