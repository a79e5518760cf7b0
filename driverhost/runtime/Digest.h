// SHA-256, as the text of its hexadecimal digits.
#ifndef DRIVERHOST_RUNTIME_DIGEST_H
#define DRIVERHOST_RUNTIME_DIGEST_H

#include <string>
#include <string_view>

namespace driverhost {

/// 64 small hexadecimal digits. Throws std::runtime_error when this system's OpenSSL refuses SHA-256.
std::string Sha256(std::string_view content);

/// So many bytes that nobody can guess, as hexadecimal digits. Throws std::runtime_error when the system has
/// none.
std::string RandomDigits(std::size_t bytes);

}  // namespace driverhost

#endif
