#include "driverhost/http/Trust.h"

#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

#include "driverhost/http/server/TlsCertificate.h"

namespace driverhost {
namespace {

// How the origin of a page begins, and the port that browsers leave out.
struct Scheme {
    std::string_view begin;
    std::string_view port;
};

constexpr Scheme kHttp{"http://", ":80"};
constexpr Scheme kHttps{"https://", ":443"};

bool EqualNames(std::string_view left, std::string_view right) {
    return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

// The port makes no difference: behind a forwarded port, clients use another number.
std::string_view WithoutPort(std::string_view host) {
    const std::size_t colon = host.rfind(':');
    const std::size_t bracket = host.rfind(']');
    if (colon == std::string_view::npos) return host;
    return bracket != std::string_view::npos && colon < bracket ? host : host.substr(0, colon);
}

// A browser leaves the default port out of Host, but may write it in Origin.
std::string_view WithoutDefaultPort(std::string_view authority, const Scheme& scheme) {
    if (authority.ends_with(scheme.port)) authority.remove_suffix(scheme.port.size());
    return authority;
}

}  // namespace

Trust::Trust(ListenAddress listen, std::string ownName, const TlsCertificate* certificate)
    : listen_(std::move(listen)), ownName_(std::move(ownName)), certificate_(certificate) {}

bool Trust::IsTls() const {
    return certificate_ && certificate_->IsThere();
}

std::optional<Response> Trust::Refuse(const Request& request) const {
    if (request.hosts != 1) return ErrorResponse(400, "a request needs exactly one Host line");
    if (request.door == Door::Local) return std::nullopt;  // no browser and no stranger comes this way
    if (!IsOwnHost(WithoutPort(request.host))) {
        return ErrorResponse(
            403, "the name in Host is not one of this host's names; use its address or localhost");
    }
    if (request.door == Door::Plain) return std::nullopt;  // nothing there is worth asking who comes
    if (request.origin && !IsSameOrigin(*request.origin, request.host)) {
        return ErrorResponse(
            403, "requests from pages of other origins are refused; open the page from this host");
    }
    return std::nullopt;
}

// These are names for which no foreign name server answers. A host that others can reach may have several
// addresses, and is also reached by the machine's own name.
bool Trust::IsOwnHost(std::string_view host) const {
    const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    const std::string ip(bracketed ? host.substr(1, host.size() - 2) : host);
    if (EqualNames(host, "localhost") || host == "127.0.0.1" || host == "[::1]") return true;
    const bool isAddress = IsIpAddress(ip) && bracketed == (ip.find(':') != std::string::npos);
    if (isAddress && (ip == listen_.ip || !listen_.IsLoopback())) return true;
    if (certificate_ && certificate_->IsFor(ip)) return true;
    if (listen_.IsLoopback() || ownName_.empty()) return false;
    return EqualNames(host, ownName_) || EqualNames(host, ownName_ + ".local");
}

bool Trust::IsSameOrigin(std::string_view origin, std::string_view host) const {
    const Scheme& scheme = IsTls() ? kHttps : kHttp;
    if (!origin.starts_with(scheme.begin)) return false;
    return EqualNames(WithoutDefaultPort(origin.substr(scheme.begin.size()), scheme),
                      WithoutDefaultPort(host, scheme));
}

std::string MachineName() {
    std::array<char, 256> name{};
    if (gethostname(name.data(), name.size() - 1) != 0) return {};
    return name.data();
}

}  // namespace driverhost
