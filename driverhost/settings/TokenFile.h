// Small files that the command line names: the tokens that requests show, and what TLS needs.
#ifndef DRIVERHOST_SETTINGS_TOKENFILE_H
#define DRIVERHOST_SETTINGS_TOKENFILE_H

#include <cstddef>
#include <string>
#include <vector>

namespace driverhost {

/// Who somebody is to the host; what each may stands in http/rights/Rights.cpp. Several go together: the
/// roles of one caller are the sum.
enum Role : unsigned int { ROLE_NOBODY = 0, ROLE_ADMIN = 1, ROLE_HOUSEHOLD = 2, ROLE_TABLET = 4 };
using Roles = unsigned int;

/// What one line of the token file gives to whoever shows its token.
struct Token {
    std::string hash;  // SHA-256 of the token, which itself is not kept
    Role role = ROLE_ADMIN;
    std::string tablet;    // with ROLE_TABLET, the name of its driver
    std::size_t line = 0;  // for messages
};

/// The tokens of a file. A line is `TOKEN` or `admin TOKEN`, `household TOKEN` or `tablet NAME TOKEN`, in
/// which NAME is percent-encoded where it has blanks; empty lines and those that begin with # say nothing.
/// Throws OptionError when the file cannot be read, when others than its owner may read or change it, or when
/// a line is faulty; the text names the line and never the token.
std::vector<Token> ReadTokenFile(const std::string& path);

/// The content of a file. `option` is named in faults. Throws OptionError when it cannot be read, is no file,
/// or has more than `mostBytes`.
std::string ReadSmallFile(const std::string& option, const std::string& path, std::size_t mostBytes);

/// The same of a secret one. Throws OptionError, too, when others than its owner may read or change it.
std::string ReadOwnersFile(const std::string& option, const std::string& path, std::size_t mostBytes);

}  // namespace driverhost

#endif
