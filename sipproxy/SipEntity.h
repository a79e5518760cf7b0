// The SIP proxy's configuration records: domains, access-control entries and routes.
//
// They hold values and check none. Each is made from a command message or from its element, and
// never changed afterwards. Every kind writes an element <State> with its fields as named
// values, in the order of the declarations below; the list around it tells the kinds apart.
#ifndef SIPPROXY_SIPENTITY_H
#define SIPPROXY_SIPENTITY_H

#include <boost/shared_ptr.hpp>
#include <map>
#include <string>

#include "host/glue/LiveObjects.h"
#include "host/interfaces/ICmdMessage.h"
#include "sipproxy/RecordFields.h"

/// All operations: [driver thread]
class SipEntity : private dv::Counted {
public:
    /// A new element; the caller holds its one reference.
    virtual dv::auto_com<DvXML::INode> toXml() const = 0;
    /// The key under which a store keeps the record; valid as long as the record.
    virtual const std::string& getKey() const = 0;
    virtual ~SipEntity();
};

using SipEntityPtr = boost::shared_ptr<SipEntity>;
/// Records by key, in the order of the keys' bytes.
using SipEntityMap = std::map<std::string, SipEntityPtr>;

/// What the three kinds share. `Record` derives from SipRecord<Record>.
template <class Record>
class SipRecord : public SipEntity {
public:
    dv::auto_com<DvXML::INode> toXml() const override;
    const std::string& getKey() const override { return key; }

protected:
    std::string key;
};

/// A domain that the proxy serves.
class SipConfig final : public SipRecord<SipConfig> {
public:
    explicit SipConfig(const ICmdMessage& message);
    /// Reads the element written by toXml; not null.
    explicit SipConfig(const DvXML::INode* node);
    /// The string is both key and domain.
    SipConfig(const std::string& address, int portNumber);

private:
    friend class SipRecord<SipConfig>;
    static const RecordField<SipConfig> kFields[];

    std::string domain;
    int port = 0;
};

/// An access-control entry. The numbers are codes of the proxy's and stay as they are.
class SipAcl final : public SipRecord<SipAcl> {
public:
    explicit SipAcl(const ICmdMessage& message);
    /// Reads the element written by toXml; not null.
    explicit SipAcl(const DvXML::INode* node);

private:
    friend class SipRecord<SipAcl>;
    static const RecordField<SipAcl> kFields[];

    std::string peer;
    std::string address;
    int mask = 0;
    int port = 0;
    int family = 0;
    int transport = 0;
};

/// A route.
class SipRoute final : public SipRecord<SipRoute> {
public:
    explicit SipRoute(const ICmdMessage& message);
    /// Reads the element written by toXml; not null.
    explicit SipRoute(const DvXML::INode* node);

private:
    friend class SipRecord<SipRoute>;
    static const RecordField<SipRoute> kFields[];

    std::string method;
    std::string event;
    std::string matchingPattern;
    std::string rewriteExp;
    int order = 0;
};

extern template class SipRecord<SipConfig>;
extern template class SipRecord<SipAcl>;
extern template class SipRecord<SipRoute>;

#endif
