// The address of a driver host, and the encodings of a request.
#ifndef CLIENT_URL_H
#define CLIENT_URL_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// http://HOST[:PORT][/PREFIX]; an IPv6 address stands in brackets.
struct Url {
    /// Throws WrongUse with what is wrong.
    static Url Parse(const std::string& text);

    std::string text;    // as it was given, for messages
    std::string host;    // without brackets
    std::string port;    // 80 when none was given
    std::string header;  // for the Host field: host and port as in the text
    std::string prefix;  // before every path; no slash at its end
};

/// Names and values, in order; names may repeat.
using Parameters = std::vector<std::pair<std::string, std::string>>;

/// Everything but letters, digits and -._~ percent-encoded (RFC 3986, section 2.3).
std::string PercentEncode(std::string_view text);

/// application/x-www-form-urlencoded.
std::string FormEncode(const Parameters& parameters);

#endif
