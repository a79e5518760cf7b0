// An account at an external SIP provider, through which calls leave the home.
//
// Its element: <service>Provider<name>Provider</name><host/><username/><password/></service>.
// The password stands there in clear, in replies and in the saved state.
#ifndef SIPPROXY_SERVICEINFO_H
#define SIPPROXY_SERVICEINFO_H

#include <string>

#include "host/glue/LiveObjects.h"
#include "host/interfaces/ICmdMessage.h"
#include "sipproxy/RecordFields.h"

/// Never changed after construction.  All operations: [driver thread]
class ServiceInfo {
public:
    explicit ServiceInfo(const ICmdMessage& message);
    /// Reads the named values of a node, which is not null; the element's own text is not looked at.
    explicit ServiceInfo(const DvXML::INode* node);
    virtual ~ServiceInfo();

    /// The name, under which the store keeps the service.
    const std::string& getKey() const { return name; }

    /// A new element; the caller holds its one reference.
    dv::auto_com<DvXML::INode> toXml() const;

private:
    static const RecordField<ServiceInfo> kFields[];

    std::string name;
    std::string host;
    std::string username;
    std::string password;
    [[no_unique_address]] dv::Counted counted;
};

#endif
