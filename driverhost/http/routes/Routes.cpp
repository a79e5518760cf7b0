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

}  // namespace

Routes::Routes(Served served) : served_(std::move(served)) {}

const std::vector<Routes::Route>& Routes::Table() {
    static const std::vector<Route> table = {
        {"POST", {"drivers", "*", "commands", "*"}, &Routes::RunCommand},
        {"GET", {"drivers"}, &Routes::ListDrivers},
        {"GET", {"drivers", "*", "commands"}, &Routes::ListCommands},
        {"GET", {"drivers", "*", "state"}, &Routes::GetState},
        {"PUT", {"drivers", "*", "state"}, &Routes::PutState},
        {"GET", {"drivers", "*", "state", "generations"}, &Routes::ListGenerations},
        {"GET", {"drivers", "*", "state", "generations", "*"}, &Routes::GetGeneration},
        {"POST", {"drivers", "*", "restart"}, &Routes::Restart},
        {"POST", {"system-events", "*"}, &Routes::DeliverSystemEvent},
        {"GET", {"events"}, &Routes::FollowEvents},
        {"GET", {"tablets", "*", "events"}, &Routes::FollowDriver},
        {"GET", {"health"}, &Routes::ReportHealth},
        {"GET", {"metrics"}, &Routes::ReportMetrics},
        {"GET", {"sip", "accounts"}, &Routes::ListSipAccounts, true},
    };
    return table;
}

Routes::Admission Routes::Admit(const Request& head) const {
    const bool isState = head.method == "PUT" && head.target.ends_with("/state");
    return {served_.trust.Refuse(head), isState ? served_.limits.stateBytes : served_.limits.bodyBytes};
}

void Routes::Answer(const Request& request, const Reply& reply) {
    if (request.door == Door::Plain) return reply(AnswerPlain(request));
    const std::size_t query = request.target.find('?');
    if (query != std::string_view::npos && query + 1 < request.target.size()) {
        return reply(ErrorResponse(400, "parameters in the address are not read; send them as form fields"));
    }
    const auto path = SplitPath(request.target.substr(0, query));
    if (!path)
        return reply(ErrorResponse(400, "malformed path: expected UTF-8 text, percent-encoded where needed"));
    Find(request, *path, reply);
}

void Routes::Find(const Request& request, const Path& path, const Reply& reply) {
    std::string allowed;
    for (const Route& route : Table()) {
        if (route.onlyLocal && request.door != Door::Local) continue;
        if (!Matches(route.pattern, path)) continue;
        if (route.method == request.method) return (this->*route.handler)(request, path, reply);
        allowed.append(allowed.empty() ? "" : ", ").append(route.method);
    }
    reply(allowed.empty() ? FindPage(request, path) : OtherMethodResponse(allowed));
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
