#include "sipproxy/ServiceInfo.h"

constinit const RecordField<ServiceInfo> ServiceInfo::kFields[] = {
    {"name", &ServiceInfo::name},
    {"host", &ServiceInfo::host},
    {"username", &ServiceInfo::username},
    {"password", &ServiceInfo::password},
};

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
