// The controller's own network address.
#ifndef HOST_GLUE_NETWORKINTERFACES_H
#define HOST_GLUE_NETWORKINTERFACES_H

#include <optional>
#include <string>

#include "host/interfaces/Export.h"

class DVHOST_API NetworkInterfaces {
public:
    /// Takes the addresses as they are now.
    NetworkInterfaces();

    /// The IPv4 address, as dotted text, of the first interface in index order that is up, not
    /// loopback and not link-local (169.254.0.0/16, RFC 3927); empty when there is none.
    const std::string& IPv4() const { return ipv4_; }

    /// What every later object answers instead; present and empty means "no address", absent
    /// ends the override. The home file's <address> arrives here.  [driver thread]
    static void Override(std::optional<std::string> address);

private:
    std::string ipv4_;
};

#endif
