#include "driverhost/settings/ListenAddress.h"

#include <arpa/inet.h>

#include <cstring>

#include "host/glue/Numbers.h"

namespace driverhost {
namespace {

bool IsIPv6(const std::string& text) {
    in6_addr address{};
    return inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

bool IsIPv4(const std::string& text) {
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

}  // namespace

bool ListenAddress::IsLoopback() const {
    in6_addr v6{};
    if (inet_pton(AF_INET6, ip.c_str(), &v6) == 1) return std::memcmp(&v6, &in6addr_loopback, sizeof v6) == 0;
    return ip.starts_with("127.");
}

bool ListenAddress::IsWildcard() const {
    in6_addr v6{};
    if (inet_pton(AF_INET6, ip.c_str(), &v6) == 1) return std::memcmp(&v6, &in6addr_any, sizeof v6) == 0;
    return ip == "0.0.0.0";
}

std::string ListenAddress::ToText() const {
    const std::string host = ip.find(':') == std::string::npos ? ip : "[" + ip + "]";
    return host + ":" + std::to_string(port);
}

std::optional<ListenAddress> ParseListenAddress(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) return std::nullopt;
    const auto port = dv::ParseWhole<unsigned short>(text.substr(colon + 1));
    if (!port) return std::nullopt;
    std::string ip(text.substr(0, colon));
    if (ip == "localhost") ip = "127.0.0.1";
    if (ip.size() > 2 && ip.front() == '[' && ip.back() == ']') {
        ip = ip.substr(1, ip.size() - 2);
        return IsIPv6(ip) ? std::optional(ListenAddress{ip, *port}) : std::nullopt;
    }
    return IsIPv4(ip) ? std::optional(ListenAddress{ip, *port}) : std::nullopt;
}

bool IsIpAddress(const std::string& text) {
    return IsIPv4(text) || IsIPv6(text);
}

}  // namespace driverhost
