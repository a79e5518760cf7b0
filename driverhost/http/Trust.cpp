#include "driverhost/http/Trust.h"

#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

#include "driverhost/http/server/TlsCertificate.h"

namespace driverhost {
namespace {

constexpr std::string_view kBearer = "Bearer ";

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

// Takes the same time whether the token is right or wrong, so that nobody can guess it piece by piece.
bool EqualSecrets(std::string_view given, std::string_view secret) {
    unsigned int difference = given.size() == secret.size() ? 0 : 1;
    for (std::size_t at = 0; at < given.size(); ++at) {
        const auto other = static_cast<unsigned char>(secret[at % secret.size()]);
        difference |= static_cast<unsigned int>(static_cast<unsigned char>(given[at]) ^ other);
    }
    return difference == 0;
}

}  // namespace

Trust::Trust(ListenAddress listen, std::string token, std::string ownName, const TlsCertificate* certificate)
    : listen_(std::move(listen)),
      token_(std::move(token)),
      ownName_(std::move(ownName)),
      certificate_(certificate) {}

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
    if (!ShowsToken(request)) {
        Response response =
            ErrorResponse(401, "the token is missing or wrong; send Authorization: Bearer TOKEN");
        response.headers = "WWW-Authenticate: Bearer\r\n";
        return response;
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

bool Trust::ShowsToken(const Request& request) const {
    if (token_.empty()) return true;
    if (!request.authorization || request.authorization->size() < kBearer.size()) return false;
    const std::string_view scheme = request.authorization->substr(0, kBearer.size());
    return EqualNames(scheme, kBearer) && EqualSecrets(request.authorization->substr(kBearer.size()), token_);
}

std::string MachineName() {
    std::array<char, 256> name{};
    if (gethostname(name.data(), name.size() - 1) != 0) return {};
    return name.data();
}

}  // namespace driverhost
