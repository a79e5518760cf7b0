// What two ends of a SIP dialog (RFC 3261, section 12) know of each other, as plain data: requests are
// written from it, and the journal keeps it, so that a later process can still say BYE.
#ifndef TELEPHONY_CALLCONTROL_DIALOG_H
#define TELEPHONY_CALLCONTROL_DIALOG_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "telephony/callcontrol/Libre.h"

namespace telephony {

struct Dialog {
    std::string callId;
    std::string localTag;
    std::string remoteTag;            // empty while nobody has answered
    std::string local;                // our From, or To of an INVITE that we received, with the tag
    std::string remote;               // the other
    std::string target;               // request URI of what is sent next
    std::vector<std::string> routes;  // Route headers, the first is the next hop
    std::uint32_t cseq = 0;           // of our last request
    std::uint32_t remoteCseq = 0;     // of the other end's
    std::string via;                  // of an INVITE under way: a CANCEL repeats it
    bool established = false;

    /// The dialog of a call that we make.
    static Dialog Outgoing(const std::string& from, const std::string& to, const std::string& target);
    /// The dialog of an INVITE that came in.
    static Dialog Incoming(const struct sip_msg& invite);

    /// Takes over what the answer to our INVITE says: tag, target, routes.
    void Establish(const struct sip_msg& answer);
    bool IsOf(const struct sip_msg& request) const;

    /// Route, From, To, Call-ID and CSeq of a request, each with its line end.
    std::string Headers(const std::string& method, std::uint32_t number) const;
    /// Where a request goes first; empty: to the target.
    const std::string& NextHop() const { return routes.empty() ? target : routes.front(); }
};

void to_json(nlohmann::json& json, const Dialog& dialog);
void from_json(const nlohmann::json& json, Dialog& dialog);

/// The address between < and >, or all of it when there is none.
std::string AddressIn(const std::string& header);

/// As it may stand between quotes in a header.
std::string Quoted(const std::string& name);

/// A user as it may stand in a URI (RFC 3261, section 25.1): what may not is percent-encoded.
std::string UserPart(const std::string& user);

/// "sip:USER@DOMAIN", or with the host that the name itself has behind an "@".
std::string AddressOf(const std::string& name, const std::string& domain);
/// Back again.
std::string UserOf(std::string_view userPart);

}  // namespace telephony

#endif
