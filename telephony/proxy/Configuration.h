// Writes what Kamailio reads: its script, in which only addresses, numbers and paths change, and the
// records as rows of a database. No text of a record becomes part of the script.
#ifndef TELEPHONY_PROXY_CONFIGURATION_H
#define TELEPHONY_PROXY_CONFIGURATION_H

#include <string>
#include <vector>

#include "telephony/proxy/Plan.h"

namespace proxy {

/// By what Kamailio and call control know each other. Made for each start.
struct Secrets {
    std::string header;
    std::string password;
    /// From the system's random numbers; throws Failure when there are none.
    static Secrets Make();
};

/// Where the two meet.
struct Meeting {
    Endpoint sip;          // Kamailio's, on loopback
    Endpoint events;       // Kamailio tells there who registers
    Endpoint callControl;  // listens there
    static Meeting For(const Plan& plan);
};

/// Names of the files in the folder of a running proxy.
std::string ScriptFile(const std::string& folder);
std::string ContactsFile(const std::string& folder);
std::string SecretsFile(const std::string& folder);

/// The script. Throws nothing that a record could cause.
std::string Script(const Plan& plan, const std::string& folder);

/// All that Kamailio needs for a start: script, records, contacts of the accounts that are still there,
/// and the file for call control. Throws Failure when the folder does not take it.
void WriteConfiguration(const Plan& plan, const Secrets& secrets, const std::string& folder);

/// The records alone, for tables that Kamailio is asked to read again.
void WriteRecords(const Plan& plan, const Secrets& secrets, const std::string& folder);

/// A phone that is registered, as Kamailio has noted it.
struct Registration {
    std::string user;
    std::string contact;
    std::string agent;
    std::string received;  // the address it was seen under, when another
    std::string expires;   // UTC
};
std::vector<Registration> ReadRegistrations(const std::string& folder);

}  // namespace proxy

#endif
