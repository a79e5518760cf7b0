// The controller's own network address.
#ifndef HOST_GLUE_NETWORKINTERFACES_H
#define HOST_GLUE_NETWORKINTERFACES_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/interfaces/Export.h"

namespace dv {

/// One IPv4 address of one network interface.
struct InterfaceAddress {
    unsigned int index;  // of the interface
    bool up;
    bool loopback;
    std::uint32_t address;  // in host byte order
};

/// The first usable address in index order, of one interface in the order given: up, not loopback and not
/// link-local (169.254.0.0/16, RFC 3927).
DVHOST_API std::optional<std::uint32_t> ChooseAddress(std::vector<InterfaceAddress> candidates);

}  // namespace dv

class DVHOST_API NetworkInterfaces {
public:
    /// Takes the addresses as they are now.
    NetworkInterfaces();

    /// The machine's usable address (dv::ChooseAddress) as dotted text; empty when there is none.
    const std::string& IPv4() const { return ipv4_; }

    /// What every later object answers instead; present and empty means "no address", absent
    /// ends the override. The home file's <address> arrives here.  [driver thread]
    static void Override(std::optional<std::string> address);

private:
    std::string ipv4_;
};

#endif
