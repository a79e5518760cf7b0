#include "driverhost/runtime/Digest.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>
#include <span>
#include <stdexcept>
#include <vector>

namespace driverhost {
namespace {

std::string HexText(std::span<const unsigned char> bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const unsigned char byte : bytes)
        text.append({digits[byte >> 4U], digits[byte & 15U]});
    return text;
}

}  // namespace

std::string Sha256(std::string_view content) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    if (EVP_Digest(content.data(), content.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("this system's OpenSSL refuses SHA-256");
    return HexText(std::span(digest).first(size));
}

std::string RandomDigits(std::size_t bytes) {
    std::vector<unsigned char> random(bytes);
    if (RAND_bytes(random.data(), static_cast<int>(bytes)) != 1)
        throw std::runtime_error("this system's OpenSSL has no random numbers");
    return HexText(random);
}

}  // namespace driverhost
