#include "telephony/proxy/Records.h"

#include <openssl/evp.h>

#include <array>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace proxy {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(DomainRecord, key, domain, port)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(AccessRecord, key, peer, address, mask, port, family, transport)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(RouteRecord, key, method, event, pattern, rewrite, order)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ServiceRecord, name, host, username)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Account, device, key, user, digest, intercomName, forwardAddress,
                                   doNotDisturb, autoAnswer, ringDoorbell)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Group, name, devices)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Records, domains, access, routes, services, accounts, groups)

std::string DigestOf(const std::string& user, const std::string& password) {
    if (password.empty()) return "";
    const std::string text = user + ":" + kRealm + ":" + password;
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes;
    unsigned int size = 0;
    if (EVP_Digest(text.data(), text.size(), bytes.data(), &size, EVP_md5(), nullptr) != 1)
        throw std::runtime_error("this system's OpenSSL refuses MD5, which SIP digests need");
    std::string hex;
    for (unsigned int at = 0; at < size; ++at) {
        hex += "0123456789abcdef"[bytes[at] >> 4];
        hex += "0123456789abcdef"[bytes[at] & 15];
    }
    return hex;
}

std::string ToJson(const Records& records) {
    return nlohmann::json(records).dump(1) + "\n";
}

Records FromJson(const std::string& text) {
    return nlohmann::json::parse(text).get<Records>();
}

}  // namespace proxy
