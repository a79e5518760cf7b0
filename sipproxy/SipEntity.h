// The SIP proxy's configuration records: domains, access-control entries, routes, and the accounts
// at external providers.
//
// They hold values and check none. Each is made from a command message or from its element, and
// never changes afterwards. Domains, entries and routes each write an element <State> with their
// fields as named values, in the order of the declarations below; only the list around it shows
// which kind they are.
#ifndef SIPPROXY_SIPENTITY_H
#define SIPPROXY_SIPENTITY_H

#include <boost/shared_ptr.hpp>
#include <map>
#include <string>
#include <variant>

#include "host/glue/LiveObjects.h"
#include "host/interfaces/ICmdMessage.h"

/// One field of a record: the name, which is both the message's parameter and the element's named
/// value, and the member. Text is taken as it is; a number is read by dv::ParseInt. A record's table
/// of fields serves both readers and the writer, so that none of them can forget a field.
template <class Record>
struct RecordField {
    const char* name;
    std::variant<std::string Record::*, int Record::*> member;
};

/// All operations: [driver thread]
class SipEntity : private dv::Counted {
public:
    /// A new element; the caller holds its one reference.
    virtual dv::auto_com<DvXML::INode> toXml() const = 0;
    /// The key under which the record is stored; valid as long as the record.
    virtual const std::string& getKey() const = 0;
    virtual ~SipEntity();
};

using SipEntityPtr = boost::shared_ptr<SipEntity>;
/// Records by key, in the order of the keys' bytes.
using SipEntityMap = std::map<std::string, SipEntityPtr>;

/// What the three kinds below share. `Record` derives from SipRecord<Record>.
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
    /// The address becomes both key and domain.
    SipConfig(const std::string& address, int portNumber);

private:
    friend class SipRecord<SipConfig>;
    static const RecordField<SipConfig> kFields[];

    std::string domain;
    int port = 0;
};

/// An access-control entry. The numbers are the proxy's own codes and are kept as they are.
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

/// An account at an external SIP provider, through which calls leave the home.
///
/// Its element: <service>Provider<name>Provider</name><host/><username/><password/></service>. The
/// password is in clear there, in replies and in the saved state.  All operations: [driver thread]
class ServiceInfo {
public:
    explicit ServiceInfo(const ICmdMessage& message);
    /// Reads the named values of a node, which is not null; ignores the element's own text.
    explicit ServiceInfo(const DvXML::INode* node);
    virtual ~ServiceInfo();

    /// The name, under which the service is stored.
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
