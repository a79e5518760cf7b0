#include "driverhost/http/routes/Routes.h"

#include <algorithm>
#include <utility>

#include "driverhost/http/FormData.h"

namespace driverhost {
namespace {

constexpr std::string_view kAny = "*";

// Splits "/drivers/front%20door/state" into its decoded parts. None when it is malformed.
std::optional<std::vector<std::string>> SplitPath(std::string_view path) {
    std::vector<std::string> parts;
    parts.reserve(static_cast<std::size_t>(std::count(path.begin(), path.end(), '/')));
    while (path.starts_with('/')) {
        path.remove_prefix(1);
        const std::string_view part = path.substr(0, path.find('/'));
        auto decoded = PercentDecode(part, Plus::IsPlus);
        if (!decoded || !XmlTextFault(*decoded).empty()) return std::nullopt;
        parts.push_back(std::move(*decoded));
        path.remove_prefix(part.size());
    }
    return parts;
}

bool Matches(const std::vector<std::string_view>& pattern, const std::vector<std::string>& path) {
    return std::equal(pattern.begin(), pattern.end(), path.begin(), path.end(),
                      [](std::string_view expected, const std::string& part) {
                          return expected == kAny ? !part.empty() : expected == part;
                      });
}

Response NotSignedIn() {
    Response response = ErrorResponse(
        401,
        "sign in first: a page with a session (POST /session), a program with Authorization: Bearer TOKEN");
    response.headers = "WWW-Authenticate: Bearer\r\n";
    return response;
}

}  // namespace

Routes::Routes(Served served) : served_(std::move(served)) {}

Routes::Route::Route(std::string_view method, std::string_view path, Handler givenHandler, bool local)
    : place{method, path}, handler(givenHandler), onlyLocal(local) {
    while (path.starts_with('/')) {
        path.remove_prefix(1);
        pattern.push_back(path.substr(0, path.find('/')));
        path.remove_prefix(pattern.back().size());
    }
}

const std::vector<Routes::Route>& Routes::Table() {
    static const std::vector<Route> table = {
        {"POST", "/drivers/*/commands/*", &Routes::RunCommand},
        {"GET", "/drivers", &Routes::ListDrivers},
        {"GET", "/drivers/*/commands", &Routes::ListCommands},
        {"GET", "/drivers/*/state", &Routes::GetState},
        {"PUT", "/drivers/*/state", &Routes::PutState},
        {"GET", "/drivers/*/state/generations", &Routes::ListGenerations},
        {"GET", "/drivers/*/state/generations/*", &Routes::GetGeneration},
        {"POST", "/drivers/*/restart", &Routes::Restart},
        {"POST", "/system-events/*", &Routes::DeliverSystemEvent},
        {"GET", "/events", &Routes::FollowEvents},
        {"GET", "/tablets/*/events", &Routes::FollowDriver},
        {"GET", "/health", &Routes::ReportHealth},
        {"GET", "/metrics", &Routes::ReportMetrics},
        {"GET", "/sip/accounts", &Routes::ListSipAccounts, true},
        {"POST", "/session", &Routes::SignIn},
        {"GET", "/session", &Routes::TellSession},
        {"DELETE", "/session", &Routes::SignOut},
    };
    return table;
}

std::vector<Routes::Place> Routes::Places() {
    std::vector<Place> places;
    for (const Route& route : Table())
        places.push_back(route.place);
    return places;
}

Routes::Match Routes::Find(const Request& request, const Path& path) {
    Match match;
    for (const Route& route : Table()) {
        if (route.onlyLocal && request.door != Door::Local) continue;
        if (!Matches(route.pattern, path)) continue;
        if (route.place.method == request.method) return {&route, {}};
        match.methods.append(match.methods.empty() ? "" : ", ").append(route.place.method);
    }
    return match;
}

// Nobody but admin is looked at closely: most requests are from programs that may do everything.
Routes::Admission Routes::Admit(const Request& head) const {
    const bool isState = head.method == "PUT" && head.target.ends_with("/state");
    Admission admission{served_.trust.Refuse(head),
                        isState ? served_.limits.stateBytes : served_.limits.bodyBytes};
    if (admission.refusal || head.door == Door::Plain) return admission;
    auto [caller, refusal, isBySession] = served_.callers.Identify(head);
    if (!caller) admission.bodyLimit = std::min(admission.bodyLimit, kSmallBody);
    if (!refusal && isBySession && !head.origin && head.method != "GET" && head.method != "HEAD") {
        refusal = ErrorResponse(
            403, "with a session, what changes something needs the page's own Origin; programs show a token");
    }
    const bool isAdmin = caller && (caller->roles & ROLE_ADMIN) != 0;
    if (!refusal && !isAdmin) refusal = RefuseDeed(head, caller.get());
    admission.refusal = std::move(refusal);
    admission.caller = std::move(caller);
    return admission;
}

// Pages and paths that there are not hold nothing, so everybody may ask for them.
std::optional<Response> Routes::RefuseDeed(const Request& head, const Caller* caller) const {
    const auto path = SplitPath(head.target.substr(0, head.target.find('?')));
    const Match match = path ? Find(head, *path) : Match();
    if (!match.route && match.methods.empty()) return std::nullopt;
    const Roles roles = caller ? caller->roles : ROLE_NOBODY;
    const Deed deed = match.route ? DeedOf(match.route->place, *path, caller) : Deed();
    if (match.route && Judge(roles, deed).isGranted) return std::nullopt;
    if (!caller) return NotSignedIn();
    if (!match.route) return std::nullopt;  // whoever is known may know the methods
    return ErrorResponse(
        403, "the role " + std::string(NameOfRole(roles)) + " may not do this; " + WhoMay(deed) + " may");
}

Deed Routes::DeedOf(const Place& place, const Path& path, const Caller* caller) const {
    Deed deed{place.method, place.path};
    if (path.size() < 2) return deed;
    Driver* const driver = served_.drivers.Find(path[1]);
    deed.isOfAgent = driver && driver->Entry().library == kAgentLibrary;
    const bool hasName = caller && caller->tablets.contains(driver ? driver->Name() : path[1]);
    // A name in the token file makes no tablet of another driver.
    deed.isOfOwn = hasName && (!driver || !driver->IsRunning() || driver->HasPages());
    if (path.size() > 3) deed.command = path[3];
    return deed;
}

void Routes::Answer(const Request& request, const Reply& reply) {
    if (request.door == Door::Plain) return reply(AnswerPlain(request));
    if (request.caller && request.caller->hasEnded) return reply(NotSignedIn());  // while the body came
    const std::size_t query = request.target.find('?');
    if (query != std::string_view::npos && query + 1 < request.target.size()) {
        return reply(ErrorResponse(400, "parameters in the address are not read; send them as form fields"));
    }
    const auto path = SplitPath(request.target.substr(0, query));
    if (!path)
        return reply(ErrorResponse(400, "malformed path: expected UTF-8 text, percent-encoded where needed"));
    const Match match = Find(request, *path);
    if (match.route) return (this->*match.route->handler)(request, *path, reply);
    reply(match.methods.empty() ? FindPage(request, *path) : OtherMethodResponse(match.methods));
}

// What is no path of the interface may be one of the pages.
Response Routes::FindPage(const Request& request, const Path& path) const {
    if (auto page = served_.pages.Answer(request, path)) return std::move(*page);
    std::string text =
        "no such path; GET /drivers lists the drivers, and POST /drivers/NAME/commands/COMMAND runs a "
        "command";
    if (!served_.pages.HasFolder()) text += "; there are no pages, because driverhost runs without --web-dir";
    return ErrorResponse(404, text);
}

}  // namespace driverhost
