// Who may talk to the host: the check of Host, Origin and token that comes before anything else.
//
// A page of another origin can make a browser send requests here, and by DNS rebinding even under
// a name that points here. So Host must be a name that nobody else can point anywhere, and Origin,
// where there is one, must be this host itself.
#ifndef DRIVERHOST_HTTP_TRUST_H
#define DRIVERHOST_HTTP_TRUST_H

#include <optional>
#include <string>

#include "driverhost/http/Message.h"
#include "driverhost/settings/ListenAddress.h"

namespace driverhost {

class Trust {
public:
    /// `ownName` is the machine's name; an empty token asks for none.
    Trust(ListenAddress listen, std::string token, std::string ownName);

    /// The refusal, or none when the request may go on.
    std::optional<Response> Refuse(const Request& request) const;

private:
    bool IsOwnHost(std::string_view host) const;
    bool ShowsToken(const Request& request) const;

    const ListenAddress listen_;
    const std::string token_;
    const std::string ownName_;
};

/// The machine's name, empty when it has none.
std::string MachineName();

}  // namespace driverhost

#endif
