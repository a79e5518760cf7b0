// Whether a request may be meant for this host at all: Host and Origin are checked before anything else.
//
// A web page of another origin can make a browser send requests here; with DNS rebinding it can even do so
// under a name of its own. So Host must be a name that nobody else controls, and Origin, if there is one,
// must be this host.
#ifndef DRIVERHOST_HTTP_TRUST_H
#define DRIVERHOST_HTTP_TRUST_H

#include <optional>
#include <string>

#include "driverhost/http/Message.h"
#include "driverhost/settings/ListenAddress.h"

namespace driverhost {

class TlsCertificate;

class Trust {
public:
    /// `ownName` is the machine's name. The certificate may be null; if there is one, the names that it is
    /// for are the host's own.
    Trust(ListenAddress listen, std::string ownName, const TlsCertificate* certificate = nullptr);

    /// The refusal; none when the request may go on.
    std::optional<Response> Refuse(const Request& request) const;

private:
    bool IsTls() const;
    bool IsOwnHost(std::string_view host) const;
    bool IsSameOrigin(std::string_view origin, std::string_view host) const;

    const ListenAddress listen_;
    const std::string ownName_;
    const TlsCertificate* const certificate_;
};

/// The machine's name, empty when it has none.
std::string MachineName();

}  // namespace driverhost

#endif
