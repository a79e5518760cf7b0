// What the agent keeps for the SIP proxy, as sipproxy reads it. Nothing here is checked: see Plan.h.
#ifndef TELEPHONY_PROXY_RECORDS_H
#define TELEPHONY_PROXY_RECORDS_H

#include <string>
#include <vector>

namespace proxy {

/// The realm of every account, so that digests stay valid when the home's address changes.
inline constexpr char kRealm[] = "intercom";

struct DomainRecord {
    std::string key;
    std::string domain;
    int port = 0;
};

struct AccessRecord {
    std::string key;
    std::string peer;
    std::string address;
    int mask = 0;
    int port = 0;
    int family = 0;
    int transport = 0;
};

struct RouteRecord {
    std::string key;
    std::string method;
    std::string event;
    std::string pattern;
    std::string rewrite;
    int order = 0;
};

/// An account at a provider. Its password is not read: nothing here uses it.
struct ServiceRecord {
    std::string name;
    std::string host;
    std::string username;
};

/// A device as the proxy sees it. The password itself is never kept.
struct Account {
    unsigned long device = 0;
    std::string key;
    std::string user;
    std::string digest;  // MD5 of "user:realm:password" (RFC 2617, section 3.2.2.2); empty: cannot register
    std::string intercomName;
    std::string forwardAddress;
    bool doNotDisturb = false;
    bool autoAnswer = false;
    bool ringDoorbell = false;
};

struct Group {
    std::string name;
    std::vector<unsigned long> devices;
};

struct Records {
    // Taken over when Kamailio is started.
    std::vector<DomainRecord> domains;
    std::vector<AccessRecord> access;
    std::vector<RouteRecord> routes;
    std::vector<ServiceRecord> services;
    // Followed while it runs.
    std::vector<Account> accounts;
    std::vector<Group> groups;
};

/// The digest of an account. Empty when the password is.
std::string DigestOf(const std::string& user, const std::string& password);

/// The records as they are stored for a start without the host. Reading throws std::runtime_error
/// when the text is not such a document.
std::string ToJson(const Records& records);
Records FromJson(const std::string& text);

}  // namespace proxy

#endif
