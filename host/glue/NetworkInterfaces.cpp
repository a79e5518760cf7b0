#include "host/glue/NetworkInterfaces.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "host/glue/Log.h"

namespace {

std::optional<std::string> overriding;

dv::InterfaceAddress ReadAddress(const ifaddrs& entry) {
    sockaddr_in address{};
    std::memcpy(&address, entry.ifa_addr, sizeof address);
    return {if_nametoindex(entry.ifa_name), (entry.ifa_flags & IFF_UP) != 0,
            (entry.ifa_flags & IFF_LOOPBACK) != 0, ntohl(address.sin_addr.s_addr)};
}

std::vector<dv::InterfaceAddress> ReadAddresses() {
    std::vector<dv::InterfaceAddress> addresses;
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) {
        LogXMessage(dv::LOG_LEVEL_ERROR, "cannot read the network interfaces (%s); there is no own address",
                    std::strerror(errno));
        return addresses;
    }
    for (const ifaddrs* entry = first; entry; entry = entry->ifa_next) {
        if (entry->ifa_addr && entry->ifa_addr->sa_family == AF_INET)
            addresses.push_back(ReadAddress(*entry));
    }
    freeifaddrs(first);
    return addresses;
}

bool IsLinkLocal(std::uint32_t address) {
    return (address & 0xFFFF0000U) == 0xA9FE0000U;
}

bool IsUsable(const dv::InterfaceAddress& candidate) {
    return candidate.up && !candidate.loopback && !IsLinkLocal(candidate.address);
}

std::string ToDottedText(std::uint32_t address) {
    const in_addr network{htonl(address)};
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &network, text.data(), text.size());
    return text.data();
}

std::string OwnAddress() {
    const std::optional<std::uint32_t> address = dv::ChooseAddress(ReadAddresses());
    return address ? ToDottedText(*address) : std::string();
}

}  // namespace

std::optional<std::uint32_t> dv::ChooseAddress(std::vector<InterfaceAddress> candidates) {
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const auto& left, const auto& right) { return left.index < right.index; });
    const auto found = std::find_if(candidates.begin(), candidates.end(), &IsUsable);
    if (found == candidates.end()) return std::nullopt;
    return found->address;
}

NetworkInterfaces::NetworkInterfaces() : ipv4_(overriding ? *overriding : OwnAddress()) {}

void NetworkInterfaces::Override(std::optional<std::string> address) {
    overriding = std::move(address);
}
