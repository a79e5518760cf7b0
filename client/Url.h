// The address of a driver host, and how requests are encoded.
#ifndef CLIENT_URL_H
#define CLIENT_URL_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// http://HOST[:PORT][/PREFIX] or https://…, with brackets around an IPv6 address.
struct Url {
    /// Throws WrongUse.
    static Url Parse(const std::string& text);

    std::string text;    // as given, for messages
    std::string host;    // without brackets
    std::string port;    // 80 when none was given, 443 with TLS
    std::string header;  // the Host line: host and port as given
    std::string prefix;  // precedes every path; does not end in a slash
    bool tls = false;    // https
};

/// Names and values, in order; names may repeat.
using Parameters = std::vector<std::pair<std::string, std::string>>;

/// Percent-encodes everything but letters, digits and -._~ (RFC 3986, section 2.3).
std::string PercentEncode(std::string_view text);

/// application/x-www-form-urlencoded.
std::string FormEncode(const Parameters& parameters);

#endif
