// The driver host as sipproxy sees it: HTTP over its unix socket.
#ifndef TELEPHONY_PROXY_HOST_H
#define TELEPHONY_PROXY_HOST_H

#include <string>
#include <utility>
#include <vector>

#include "telephony/proxy/Records.h"

namespace proxy {

class Host {
public:
    explicit Host(std::string socketPath);

    /// Everything that the agent keeps for the proxy. Throws Failure when the host is not there, does
    /// not answer in time, or answers with what makes no sense.
    Records Read() const;

    /// Gives the agent the address under which devices reach the proxy, if it has none. Returns whether
    /// it had none. Throws as Read does.
    bool OfferAddress(const std::string& address) const;

private:
    const std::string path_;
};

}  // namespace proxy

#endif
