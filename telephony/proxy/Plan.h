// What the proxy runs with: the records that hold, in the form in which Kamailio takes them, and the
// faults of those that do not. Checked with the functions that Kamailio itself uses.
#ifndef TELEPHONY_PROXY_PLAN_H
#define TELEPHONY_PROXY_PLAN_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "telephony/proxy/Records.h"

namespace proxy {

inline constexpr int kSipPort = 5060;

struct Endpoint {
    std::string address;  // IPv4, as inet_ntop writes it
    int port = kSipPort;
    std::string Text() const { return address + ":" + std::to_string(port); }
    bool operator==(const Endpoint&) const = default;
};

/// A network that may speak to the proxy.
struct Network {
    /// Kamailio's number of the entry's group: which transport it holds for.
    enum Transport : int { kAny = 1, kUdp = 2, kTcp = 3 };
    std::string address;  // without the bits behind the mask
    int mask = 0;
    int port = 0;  // 0: any
    Transport transport = kAny;
    bool operator==(const Network&) const = default;
};

/// A record that is left out, and why.
struct Fault {
    std::string record;  // as in "route out"
    std::string reason;
};

/// Texts by key. Kamailio reads each as a hash table of its own.
using Table = std::map<std::string, std::string>;
using Tables = std::map<std::string, Table>;

/// Where Kamailio and call control meet, on loopback: no domain may have these ports.
inline constexpr int kEventsPort = 5061;
inline constexpr int kCallControlPort = 5070;

struct Plan {
    // Needs a new start of Kamailio.
    std::vector<Endpoint> listen;
    std::vector<Network> networks;
    Tables fixed;  // domains, ports, routes, route_methods, route_events
    // Is taken over while it runs.
    Tables live;  // users, devices, folded, groups, dnd, auto_answer, forward

    // For people.
    std::vector<std::string> routeKeys;  // by the routes' numbers
    std::vector<ServiceRecord> services;
    std::vector<Fault> faults;

    /// The loopback address by which this machine's own programs reach the proxy.
    const std::string& Loopback() const;
    /// Where phones reach the proxy: the first address outside this machine, with its port unless it is 5060.
    std::string AddressForDevices() const;
};

/// Whether an IPv4 address is one of this machine's.
using IsLocal = std::function<bool(const std::string& address)>;
bool IsAddressOfThisMachine(const std::string& address);

/// Whether no program listens there, neither by UDP nor by TCP. Kamailio would share a port that another
/// program has, and take its messages.
bool IsFree(const Endpoint& endpoint);

/// Who is to reach the proxy.
enum class Reach {
    kHome,        // whoever reaches the addresses that the records name
    kThisMachine  // its own programs: the addresses are names of the proxy, and only loopback is listened on
};

Plan MakePlan(const Records& records, const IsLocal& isLocal, Reach reach = Reach::kHome);

/// A route's pattern and replacement as one expression of Kamailio's; throws std::invalid_argument
/// with the reason when the pattern or the replacement is not one that it can take.
std::string RouteExpression(const std::string& pattern, const std::string& rewrite);

}  // namespace proxy

#endif
