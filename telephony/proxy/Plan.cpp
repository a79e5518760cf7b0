#include "telephony/proxy/Plan.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <regex>
#include <set>
#include <stdexcept>

namespace proxy {

namespace {

constexpr int kHighestPort = 65535;
constexpr int kAddressBits = 32;
constexpr std::size_t kLongestUser = 64;
constexpr std::size_t kLongestAddress = 512;  // more would be too deep for the C++ library's expressions
constexpr std::size_t kMostRoutes = 1000;     // Kamailio's bound on rounds of a loop, as it is configured
constexpr std::ptrdiff_t kMostBranches = 30;  // what Kamailio forks at most

// Numbers of the records.
constexpr int kFamilyIpv4 = AF_INET;
constexpr int kTransportTls = 1;
constexpr int kTransportTcp = 2;
constexpr int kTransportUdp = 3;

std::optional<in_addr> ParseAddress(const std::string& text) {
    in_addr address{};
    if (::inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
    return address;
}

std::string AddressText(in_addr address) {
    char text[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &address, text, sizeof text);
}

bool IsLoopback(const std::string& address) {
    return address.starts_with("127.");
}

// ASCII only, as Kamailio's own transformation does it.
std::string Folded(std::string text) {
    for (char& letter : text)
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    return text;
}

bool IsLetterOrDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsHostName(const std::string& text) {
    const auto allowed = [](char c) { return IsLetterOrDigit(c) || c == '-' || c == '.'; };
    constexpr std::size_t kLongestName = 253;
    return !text.empty() && text.size() <= kLongestName && std::ranges::all_of(text, allowed) &&
           text.front() != '.' && text.front() != '-';
}

// What a SIP address may carry left of the "@" without escapes, less what only confuses.
bool IsUserName(const std::string& text) {
    constexpr std::string_view kOthers = "-_.+~!*";
    const auto allowed = [&](char c) { return IsLetterOrDigit(c) || kOthers.find(c) != kOthers.npos; };
    return !text.empty() && text.size() <= kLongestUser && std::ranges::all_of(text, allowed);
}

bool IsPort(int port) {
    return port > 0 && port <= kHighestPort;
}

int PortOf(int port) {
    if (port == 0) return kSipPort;
    if (!IsPort(port))
        throw std::invalid_argument("port " + std::to_string(port) + " is none; give 1 to 65535");
    if (port == kEventsPort || port == kCallControlPort)
        throw std::invalid_argument("port " + std::to_string(port) +
                                    " is where the proxy meets call control; give another");
    return port;
}

class Planner {
public:
    Planner(const Records& records, const IsLocal& isLocal, Reach reach)
        : records_(records), isLocal_(isLocal), reach_(reach) {}

    Plan Make() {
        AddDomains();
        AddNetworks();
        AddRoutes();
        AddAccounts();
        AddGroups();
        plan_.services = records_.services;
        return std::move(plan_);
    }

private:
    // Runs `add`, which throws std::invalid_argument when the record cannot be taken.
    template <class Add>
    void Try(const std::string& record, Add add) {
        try {
            add();
        } catch (const std::invalid_argument& fault) {
            plan_.faults.push_back({record, fault.what()});
        }
    }

    void Listen(const Endpoint& endpoint) {
        if (std::ranges::find(plan_.listen, endpoint) == plan_.listen.end()) plan_.listen.push_back(endpoint);
        plan_.fixed["ports"][std::to_string(endpoint.port)] = "1";
        plan_.fixed["domains"][endpoint.address] = "1";
    }

    void AddDomains() {
        // Tables that stay empty are there all the same: Kamailio reads each.
        for (const char* const table : {"domains", "ports", "routes", "route_methods", "route_events"})
            plan_.fixed[table];
        for (const DomainRecord& record : records_.domains)
            Try("domain " + record.key, [&] { AddDomain(record); });
        // Programs of this machine, call control among them, come by a loopback address.
        std::set<int> ports = portsOfNames_;
        for (const Endpoint& endpoint : plan_.listen)
            ports.insert(endpoint.port);
        if (ports.empty()) ports.insert(kSipPort);
        std::set<std::string> addresses;
        for (const Endpoint& endpoint : plan_.listen)
            addresses.insert(endpoint.address);
        if (std::ranges::none_of(addresses, IsLoopback))
            for (const int port : ports)
                Listen({"127.0.0.1", port});
        for (const std::string& address : addresses)
            for (const int port : portsOfNames_)
                Listen({address, port});
        plan_.fixed["domains"][kRealm] = "1";
    }

    // An address is listened on at its own port; a name's port counts at every address.
    void AddDomain(const DomainRecord& record) {
        const int port = PortOf(record.port);
        if (const std::optional<in_addr> address = ParseAddress(record.domain)) {
            const std::string text = AddressText(*address);
            if (address->s_addr == INADDR_ANY || !isLocal_(text))
                throw std::invalid_argument("no network interface of this machine has the address " + text);
            if (reach_ == Reach::kHome || IsLoopback(text)) return Listen({text, port});
            return AddName(text, port);
        }
        if (!IsHostName(record.domain))
            throw std::invalid_argument("the domain is neither an IPv4 address nor a host name");
        AddName(Folded(record.domain), port);
    }

    void AddName(const std::string& name, int port) {
        plan_.fixed["domains"][name] = "1";
        portsOfNames_.insert(port);
    }

    void AddNetworks() {
        for (const AccessRecord& record : records_.access)
            Try("access-control entry " + record.key, [&] { AddNetwork(record); });
        if (records_.access.empty()) {
            // Whoever lists nobody means the home's own network, never the internet.
            plan_.networks = {{"10.0.0.0", 8},
                              {"172.16.0.0", 12},
                              {"192.168.0.0", 16},
                              {"169.254.0.0", 16},
                              {"127.0.0.0", 8}};
        }
        // The machine itself is never locked out, not even by a list of nothing but faults.
        for (const Endpoint& endpoint : plan_.listen) {
            const Network own{endpoint.address, kAddressBits};
            if (std::ranges::find(plan_.networks, own) == plan_.networks.end()) plan_.networks.push_back(own);
        }
    }

    void AddNetwork(const AccessRecord& record) {
        const std::optional<in_addr> address = ParseAddress(record.address);
        if (!address) {
            if (record.address.empty() && !record.peer.empty())
                throw std::invalid_argument("it names a peer alone, which needs TLS; give an address");
            throw std::invalid_argument("the address is no IPv4 address");
        }
        if (record.mask < 0 || record.mask > kAddressBits)
            throw std::invalid_argument("mask " + std::to_string(record.mask) + " is none; give 0 to 32");
        if (record.mask == 0 && address->s_addr != 0)
            throw std::invalid_argument(
                "mask 0 lets everybody in; give 32 for this address alone, or the address 0.0.0.0");
        if (record.port < 0 || record.port > kHighestPort)
            throw std::invalid_argument("port " + std::to_string(record.port) + " is none; give 0 to 65535");
        if (record.family != 0 && record.family != kFamilyIpv4)
            throw std::invalid_argument("family " + std::to_string(record.family) +
                                        " is not served; give 2 (IPv4) or 0");
        plan_.networks.push_back(
            {NetworkText(*address, record.mask), record.mask, record.port, TransportOf(record.transport)});
    }

    static std::string NetworkText(in_addr address, int mask) {
        const std::uint32_t bits = mask == 0 ? 0 : ~std::uint32_t{0} << (kAddressBits - mask);
        address.s_addr &= htonl(bits);
        return AddressText(address);
    }

    static Network::Transport TransportOf(int number) {
        switch (number) {
            case 0:
                return Network::kAny;
            case kTransportTcp:
                return Network::kTcp;
            case kTransportUdp:
                return Network::kUdp;
            case kTransportTls:
                throw std::invalid_argument("TLS is not served; give 2 (TCP), 3 (UDP) or 0");
            default:
                throw std::invalid_argument("transport " + std::to_string(number) +
                                            " is not known; give 2 (TCP), 3 (UDP) or 0");
        }
    }

    void AddRoutes() {
        std::vector<const RouteRecord*> ordered;
        for (const RouteRecord& record : records_.routes)
            ordered.push_back(&record);
        std::ranges::stable_sort(ordered, {}, [](const RouteRecord* record) { return record->order; });
        for (const RouteRecord* const record : ordered)
            Try("route " + record->key, [&] { AddRoute(*record); });
    }

    void AddRoute(const RouteRecord& record) {
        const auto isToken = [](const std::string& text) {
            return std::ranges::all_of(text,
                                       [](char c) { return IsLetterOrDigit(c) || c == '-' || c == '.'; });
        };
        const bool any = record.method.empty() || record.method == "*";
        if (!any && !isToken(record.method)) throw std::invalid_argument("the method is no SIP method");
        if (!isToken(record.event)) throw std::invalid_argument("the event is no SIP event");
        const std::string number = std::to_string(plan_.fixed["routes"].size());
        if (plan_.fixed["routes"].size() == kMostRoutes)
            throw std::invalid_argument("there are 1000 before it");
        plan_.fixed["routes"][number] = RouteExpression(record.pattern, record.rewrite);
        if (!any) plan_.fixed["route_methods"][number] = record.method;
        if (!record.event.empty()) plan_.fixed["route_events"][number] = record.event;
        plan_.routeKeys.push_back(record.key);
    }

    void AddAccounts() {
        for (const char* const table :
             {"users", "devices", "folded", "groups", "dnd", "auto_answer", "forward"})
            plan_.live[table];
        std::set<std::string> folded;
        for (const Account& account : records_.accounts)
            Try(Name(account), [&] {
                if (!IsUserName(account.user))
                    throw std::invalid_argument(
                        "its user cannot be one of SIP: letters, digits and - _ . + ~ ! * make up to 64 of "
                        "it");
                if (!folded.insert(Folded(account.user)).second)
                    throw std::invalid_argument("another device has the user " + account.user);
                AddAccount(account);
            });
        AddNames();
    }

    static std::string Name(const Account& account) { return "device " + std::to_string(account.device); }

    void AddAccount(const Account& account) {
        taken_.push_back(&account);
        userOf_[account.device] = account.user;
        if (!account.digest.empty()) plan_.live["users"][account.user] = account.digest;
        if (account.doNotDisturb) plan_.live["dnd"][account.user] = "1";
        if (account.autoAnswer) plan_.live["auto_answer"][account.user] = "1";
        if (account.forwardAddress.empty()) return;
        Try(Name(account),
            [&] { plan_.live["forward"][account.user] = ForwardAddress(account.forwardAddress); });
    }

    // As far as Kamailio's parser is strict: a user, a host and perhaps a port; parameters are not looked at.
    static std::string ForwardAddress(const std::string& text) {
        static const std::regex address(R"(sip:[^@:;?<>"[\]]+@([^@:;?<>"]+)(:[0-9]{1,5})?(;[^?<>"]*)?)");
        const std::string uri = text.starts_with("sip:") ? text : "sip:" + text;
        const bool printable = uri.size() <= kLongestAddress &&
                               std::ranges::all_of(uri, [](char c) { return c > ' ' && c < '\x7F'; });
        std::smatch parts;
        if (!printable || !std::regex_match(uri, parts, address) || !IsHostName(parts[1]) ||
            (parts[2].matched && !IsPort(std::stoi(parts[2].str().substr(1)))))
            throw std::invalid_argument("its forward address is no SIP address; it is not forwarded");
        return uri;
    }

    // A device is called by its intercom name, its user or its key, in this order; exactly written, and
    // then in any case. Who comes first keeps a name.
    void AddNames() {
        for (const auto part : {&Account::intercomName, &Account::user, &Account::key})
            for (const Account* const account : taken_)
                AddCallName(*account, account->*part);
    }

    void AddCallName(const Account& account, const std::string& name) {
        if (name.empty()) return;
        const auto [entry, isNew] = plan_.live["devices"].emplace(name, account.user);
        const bool isAnothers = !isNew && entry->second != account.user;
        if (isAnothers && said_.emplace(account.device, name).second)
            plan_.faults.push_back({Name(account), "another device is called " + name + " already"});
        plan_.live["folded"].emplace(Folded(name), account.user);
    }

    void AddGroups() {
        for (const Group& group : records_.groups)
            Try("group " + group.name, [&] { AddGroup(group); });
        if (!plan_.live["groups"].contains("doorbell")) AddDoorbell();
    }

    void AddGroup(const Group& group) {
        if (group.name.empty()) return;  // nobody can call it
        std::vector<std::string> users;
        for (const unsigned long device : group.devices)
            if (const auto user = userOf_.find(device); user != userOf_.end()) users.push_back(user->second);
        StoreGroup(group.name, std::move(users));
    }

    // Without a group of that name the doorbell is for the devices that chime.
    void AddDoorbell() {
        std::vector<std::string> users;
        for (const Account* const account : taken_)
            if (account->ringDoorbell) users.push_back(account->user);
        Try("the doorbell", [&] { StoreGroup("doorbell", std::move(users)); });
    }

    // Devices without a password have no phone, and only call control can reach them. They come last, so that
    // the phones ring when it is away.
    void StoreGroup(const std::string& name, std::vector<std::string> users) {
        const auto isPhone = [&](const std::string& user) { return plan_.live["users"].contains(user); };
        const auto others = std::stable_partition(users.begin(), users.end(), isPhone);
        std::string list;
        for (const std::string& user : users)
            list += (list.empty() ? "" : ",") + user;
        // A group of nobody is a name of the home all the same.
        plan_.live["groups"].emplace(name, list.empty() ? "," : list);
        if (others - users.begin() > kMostBranches)
            throw std::invalid_argument("it has more than 30 phones; without call control the first 30 ring");
    }

    const Records& records_;
    const IsLocal& isLocal_;
    const Reach reach_;
    Plan plan_;
    std::set<int> portsOfNames_;
    std::vector<const Account*> taken_;
    std::map<unsigned long, std::string> userOf_;
    std::set<std::pair<unsigned long, std::string>> said_;  // names that are another device's
};

}  // namespace

const std::string& Plan::Loopback() const {
    return std::ranges::find_if(listen, [](const Endpoint& e) { return IsLoopback(e.address); })->address;
}

namespace {

bool CanBind(const Endpoint& endpoint, int type) {
    const std::optional<in_addr> address = ParseAddress(endpoint.address);
    const int handle = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
    if (handle < 0 || !address) return false;
    // Connections that have ended hold their port for a while; a listener holds it all the same.
    const int yes = 1;
    if (type == SOCK_STREAM) ::setsockopt(handle, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr = *address;
    name.sin_port = htons(static_cast<std::uint16_t>(endpoint.port));
    const bool bound = ::bind(handle, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0;
    ::close(handle);
    return bound;
}

}  // namespace

std::string Plan::AddressForDevices() const {
    const auto outside =
        std::ranges::find_if(listen, [](const Endpoint& endpoint) { return !IsLoopback(endpoint.address); });
    const Endpoint& endpoint = outside == listen.end() ? listen.front() : *outside;
    return endpoint.port == kSipPort ? endpoint.address : endpoint.Text();
}

bool IsAddressOfThisMachine(const std::string& address) {
    return CanBind({address, 0}, SOCK_DGRAM);
}

bool IsFree(const Endpoint& endpoint) {
    return CanBind(endpoint, SOCK_DGRAM) && CanBind(endpoint, SOCK_STREAM);
}

Plan MakePlan(const Records& records, const IsLocal& isLocal, Reach reach) {
    return Planner(records, isLocal, reach).Make();
}

}  // namespace proxy
