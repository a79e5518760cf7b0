// Which of the machine's addresses is the controller's own. Internal to host/.
#ifndef HOST_GLUE_ADDRESSCHOICE_H
#define HOST_GLUE_ADDRESSCHOICE_H

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace dv {

/// One IPv4 address of one network interface.
struct InterfaceAddress {
    unsigned int index;  // of the interface
    bool up;
    bool loopback;
    std::uint32_t address;  // in host byte order
};

/// 169.254.0.0/16 (RFC 3927).
constexpr bool IsLinkLocal(std::uint32_t address) {
    return (address & 0xFFFF0000U) == 0xA9FE0000U;
}

/// The first usable address in index order, of one interface in the order given.
inline std::optional<std::uint32_t> ChooseAddress(std::vector<InterfaceAddress> candidates) {
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const auto& left, const auto& right) { return left.index < right.index; });
    for (const InterfaceAddress& candidate : candidates) {
        const bool usable = candidate.up && !candidate.loopback && !IsLinkLocal(candidate.address);
        if (usable) return candidate.address;
    }
    return std::nullopt;
}

}  // namespace dv

#endif
