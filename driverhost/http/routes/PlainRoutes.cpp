// The port without TLS: how a browser comes to trust the other one, and the way there.
#include <utility>

#include "driverhost/http/routes/Routes.h"

namespace driverhost {
namespace {

constexpr std::string_view kAuthorityType = "application/x-x509-ca-cert";  // phones offer to install it
constexpr std::string_view kPageType = "text/html; charset=utf-8";
constexpr char kPageRules[] = "Content-Security-Policy: default-src 'none'; frame-ancestors 'none'\r\n";
constexpr unsigned short kHttpsPort = 443;

// Whoever could change this page on its way could change the certificate, too. So the fingerprint here only
// says what to look for.
constexpr std::string_view kPageBegin = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><meta name="viewport" content="width=device-width">
<title>Home intercom: certificate</title></head><body>
<h1>Trust this home's intercom</h1>
<p>Browsers give camera and microphone only to pages that they can trust. Do this once on each tablet, phone or computer.</p>
<ol>
<li>Download the <a href="/ca.pem">certificate of this home's authority</a>.</li>
<li>Compare its SHA-256 fingerprint with the one in the host's log, or with what <code>scripts/certificate FOLDER --show</code>
prints on the host itself. Go on only if they are the same:<br><code>)";
constexpr std::string_view kPageMiddle = R"(</code></li>
<li>Install it as an authority:
<ul>
<li>Android: Settings, Security, Encryption and credentials, Install a certificate, CA certificate.</li>
<li>iPad, iPhone: open it in Safari, install the profile in Settings; then General, About, Certificate Trust Settings.</li>
<li>Windows: open it, Install Certificate, Trusted Root Certification Authorities.</li>
<li>macOS: open it in Keychain Access and set it to Always Trust.</li>
<li>Firefox: Settings, Privacy and Security, View Certificates, Authorities, Import.</li>
<li>Chromium on Linux: Settings, Privacy and security, Security, Manage certificates, Authorities, Import.</li>
</ul></li>
<li>Open <a href=")";
constexpr std::string_view kPageEnd = R"(">the intercom</a>.</li>
</ol></body></html>
)";

// Only names of this host come so far, see Trust; so nobody is led elsewhere.
std::string SecureOrigin(std::string_view host, unsigned short port) {
    const std::size_t colon = host.rfind(':');
    const std::size_t bracket = host.rfind(']');
    const bool hasPort =
        colon != std::string_view::npos && (bracket == std::string_view::npos || bracket < colon);
    std::string origin = "https://" + std::string(hasPort ? host.substr(0, colon) : host);
    if (port != kHttpsPort) origin.append(":").append(std::to_string(port));
    return origin;
}

}  // namespace

Response Routes::AnswerPlain(const Request& request) const {
    if (request.method != "GET" && request.method != "HEAD") return OtherMethodResponse("GET, HEAD");
    const std::string origin = SecureOrigin(request.host, served_.port());
    Response response;
    if (request.target == "/ca.pem") {
        response.status = 200;
        response.contentType = kAuthorityType;
        response.body = served_.certificate.Authority();
    } else if (request.target == "/") {
        response.status = 200;
        response.contentType = kPageType;
        response.headers = kPageRules;
        response.body.append(kPageBegin).append(served_.certificate.Fingerprint()).append(kPageMiddle);
        response.body.append(origin).append("/").append(kPageEnd);
    } else if (request.target.starts_with('/')) {
        response = ErrorResponse(308, "this port has only / and /ca.pem; everything else is at " + origin);
        response.headers = "Location: " + origin + std::string(request.target) + "\r\n";
    } else {
        response = ErrorResponse(400, "malformed path: expected one that begins with a slash");
    }
    return response;
}

}  // namespace driverhost
