// Where the host listens.
#ifndef DRIVERHOST_SETTINGS_LISTENADDRESS_H
#define DRIVERHOST_SETTINGS_LISTENADDRESS_H

#include <optional>
#include <string>
#include <string_view>

namespace driverhost {

struct ListenAddress {
    std::string ip;  // IPv4 or IPv6, without brackets
    unsigned short port = 0;

    /// Only this machine can reach it.
    bool IsLoopback() const;
    /// 0.0.0.0 or ::, which stand for all addresses of the machine.
    bool IsWildcard() const;
    /// ADDRESS:PORT, an IPv6 address in brackets.
    std::string ToText() const;
};

/// Reads ADDRESS:PORT, where ADDRESS is an IPv4 address, an IPv6 address in brackets, or localhost.
std::optional<ListenAddress> ParseListenAddress(std::string_view text);

/// True for an IPv4 address, or an IPv6 address without brackets.
bool IsIpAddress(const std::string& text);

}  // namespace driverhost

#endif
