#include "telephony/proxy/Report.h"

#include <cstring>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

namespace proxy {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Fault, record, reason)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(State, kamailio, process, host, newRecords, accounts, faults)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Registration, user, contact, agent, received, expires)

namespace {

// Of what {re.subst} takes, "PATTERN -> REPLACEMENT".
std::string Readable(const std::string& expression) {
    const std::size_t between = expression.find('\x01', 1);
    return expression.substr(1, between - 1) + " -> " +
           expression.substr(between + 1, expression.size() - between - 2);
}

std::string Find(const Table& table, const std::string& key, const std::string& otherwise) {
    const auto found = table.find(key);
    return found == table.end() ? otherwise : found->second;
}

void AddRoutes(std::ostream& text, const Plan& plan) {
    for (std::size_t each = 0; each < plan.routeKeys.size(); ++each) {
        const std::string number = std::to_string(each);
        text << "route " << OneLine(plan.routeKeys[each]) << ", method "
             << Find(plan.fixed.at("route_methods"), number, "any") << ", event "
             << Find(plan.fixed.at("route_events"), number, "any") << ": "
             << Readable(plan.fixed.at("routes").at(number)) << "\n";
    }
}

// A device that no phone may register for, a panel or a page, is an account all the same.
void AddAccounts(std::ostream& text, const Tables& live) {
    std::set<std::string> users;
    for (const auto& [user, digest] : live.at("users"))
        users.insert(user);
    for (const auto& [name, user] : live.at("devices"))
        users.insert(user);
    for (const std::string& user : users) {
        text << "account " << user << ", "
             << (live.at("users").contains(user) ? "password set" : "no password");
        if (live.at("dnd").contains(user)) text << ", not to be disturbed";
        if (live.at("auto_answer").contains(user)) text << ", answers by itself";
        text << "\n";
    }
}

void AddFaults(std::ostream& text, const std::vector<Fault>& faults) {
    for (const Fault& fault : faults)
        text << "left out: " << OneLine(fault.record) << ": " << OneLine(fault.reason) << "\n";
}

const char* Name(Network::Transport transport) {
    switch (transport) {
        case Network::kUdp:
            return "UDP";
        case Network::kTcp:
            return "TCP";
        default:
            return "UDP and TCP";
    }
}

}  // namespace

std::string OneLine(const std::string& text) {
    std::string line;
    for (const char c : text) {
        const bool control = static_cast<unsigned char>(c) < ' ' || c == '\x7F';
        line += control ? '?' : c;
    }
    return line;
}

std::string ToJson(const State& state) {
    return nlohmann::json(state).dump(1) + "\n";
}
State StateFromJson(const std::string& text) {
    return nlohmann::json::parse(text).get<State>();
}
std::string StateFile(const std::string& folder) {
    return folder + "/state.json";
}

std::string StatusJson(const State& state, const std::vector<Registration>& registrations) {
    nlohmann::json status = state;
    status["registrations"] = registrations;
    return status.dump(1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

std::string StatusText(const State& state, const std::vector<Registration>& registrations) {
    std::ostringstream text;
    text << "Kamailio: " << state.kamailio;
    if (state.process != 0) text << " (process " << state.process << ")";
    text << "\nhost: " << state.host << "\n";
    if (state.newRecords) text << "the records have changed; applySIPProxyChanges takes them over\n";
    for (const std::string& user : state.accounts) {
        text << "account " << OneLine(user) << ":";
        bool found = false;
        for (const Registration& phone : registrations)
            if (phone.user == user) {
                text << (found ? ", " : " ") << OneLine(phone.contact) << " (" << OneLine(phone.agent) << ")";
                found = true;
            }
        text << (found ? "\n" : " not registered\n");
    }
    AddFaults(text, state.faults);
    return text.str();
}

std::vector<telephony::Metric> MetricsOf(const State& state, const Counts& counts,
                                         std::optional<std::size_t> registered) {
    using telephony::Metric;
    std::vector<Metric> metrics = {
        Metric::Gauge("kamailio_up", "Whether Kamailio runs and answers", state.kamailio == kRunning ? 1 : 0),
        Metric::Counter("kamailio_starts_total", "Starts of Kamailio", counts.starts),
        Metric::Gauge("host_up", "Whether the driver host is there", state.host == kConnected ? 1 : 0),
        Metric::Gauge("accounts", "Accounts that may register", state.accounts.size()),
        Metric::Gauge("records_left_out", "Records that the proxy cannot take", state.faults.size()),
        Metric::Counter("changes_taken_over_total", "Changes of accounts and groups that were taken over",
                        counts.takenOver),
    };
    if (registered)
        metrics.push_back(Metric::Gauge("registered_accounts", "Accounts that are registered", *registered));
    return metrics;
}

std::vector<std::string> WarningsOf(const State& state, const std::vector<std::string>& troubles) {
    std::vector<std::string> warnings;
    if (state.kamailio.starts_with(kNotRunning))
        warnings.push_back("Kamailio does not run: " + state.kamailio.substr(std::strlen(kNotRunning)));
    for (const std::string& trouble : troubles)
        if (!trouble.empty()) warnings.push_back(trouble);
    if (state.newRecords)
        warnings.push_back("the records have changed; applySIPProxyChanges takes them over");
    for (const Fault& fault : state.faults)
        warnings.push_back("left out: " + OneLine(fault.record) + ": " + OneLine(fault.reason));
    return warnings;
}

std::string CheckText(const Plan& plan) {
    std::ostringstream text;
    for (const Endpoint& endpoint : plan.listen)
        text << "listens on " << endpoint.Text() << ", UDP and TCP\n";
    for (const auto& [domain, value] : plan.fixed.at("domains"))
        text << "answers to " << domain << "\n";
    for (const Network& network : plan.networks) {
        text << "lets in " << network.address << "/" << network.mask << ", " << Name(network.transport);
        if (network.port != 0) text << ", port " << network.port;
        text << "\n";
    }
    AddRoutes(text, plan);
    for (const ServiceRecord& service : plan.services)
        text << "service " << OneLine(service.name) << " at " << OneLine(service.host)
             << ": not used by this proxy yet\n";
    AddAccounts(text, plan.live);
    for (const auto& [name, user] : plan.live.at("devices"))
        text << "call " << OneLine(name) << " for " << user << "\n";
    for (const auto& [name, users] : plan.live.at("groups"))
        text << "call " << OneLine(name) << " for " << (users == "," ? "nobody" : users) << "\n";
    for (const auto& [user, address] : plan.live.at("forward"))
        text << user << " is forwarded to " << address << "\n";
    AddFaults(text, plan.faults);
    return text.str();
}

}  // namespace proxy
