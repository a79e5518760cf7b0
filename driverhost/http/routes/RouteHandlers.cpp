// The operations behind the paths, except those of states.
#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

#include "driverhost/http/FormData.h"
#include "driverhost/http/routes/Routes.h"
#include "host/glue/CmdMessage.h"
#include "host/glue/Numbers.h"
#include "host/glue/XmlText.h"

namespace driverhost {
namespace {

constexpr std::string_view kEventStreamType = "text/event-stream";
constexpr std::string_view kMetricsType = "text/plain; version=0.0.4";
constexpr std::string_view kEventNameField = "name";
constexpr std::string_view kCommandPath = "/drivers/*/commands/*";  // as in the table of routes

void AddCommands(DvXML::INode& list, const std::vector<CommandInfo>& commands, const char* kind) {
    for (const CommandInfo& command : commands) {
        const auto element = DvXML::CreateXmlNode("command", "");
        element->NodeAddNamedValue("name", command.name);
        element->NodeAddNamedValue("kind", kind);
        element->NodeAddNamedValue("help", command.help);
        list.NodeAddChild(element.get());
    }
}

// The first field "name" is the name of the event. All others are parameters, even if they are called "name".
SystemEvent MakeEvent(unsigned int eventClass, Parameters fields) {
    SystemEvent event{eventClass, {}, std::move(fields)};
    const auto isName = [](const auto& field) { return field.first == kEventNameField; };
    const auto name = std::find_if(event.parameters.begin(), event.parameters.end(), isName);
    if (name == event.parameters.end()) return event;
    event.name = std::move(name->second);
    event.parameters.erase(name);
    return event;
}

Response StreamResponse(StreamStart start) {
    Response response;
    response.status = 200;
    response.contentType = kEventStreamType;
    response.stream = std::move(start);
    return response;
}

Response CommandResponse(const Driver& driver, const std::string& command, CommandResult result) {
    if (!result.fault.empty()) return ErrorResponse(500, result.fault + "; the log says more");
    if (!result.known) {
        return ErrorResponse(404, "driver " + driver.Name() + " has no command '" + command +
                                      "'; GET /drivers/" + driver.Name() + "/commands lists them");
    }
    return result.reply ? XmlResponse(std::move(*result.reply)) : EmptyResponse();
}

}  // namespace

Driver* Routes::FindDriver(const std::string& nameOrId, const Reply& reply) {
    Driver* driver = served_.drivers.Find(nameOrId);
    if (!driver) reply(ErrorResponse(404, "no driver '" + nameOrId + "'; GET /drivers lists them"));
    return driver;
}

Driver* Routes::FindRunning(const std::string& nameOrId, const Reply& reply) {
    Driver* driver = FindDriver(nameOrId, reply);
    if (!driver || driver->IsRunning()) return driver;
    reply(ErrorResponse(503, "driver " + driver->Name() + " does not run: " + driver->Failure() +
                                 "; POST /drivers/" + driver->Name() + "/restart tries again"));
    return nullptr;
}

void Routes::RunCommand(const Request& request, const Path& path, const Reply& reply) {
    Driver* driver = FindRunning(path[1], reply);
    if (!driver) return;
    Form form = ParseForm(request, served_.limits.formFields);
    if (form.status != 0) return reply(ErrorResponse(form.status, form.fault));
    const Roles roles = request.caller ? request.caller->roles : ROLE_NOBODY;
    const bool isAdmin = (roles & ROLE_ADMIN) != 0;
    const Deed deed = isAdmin ? Deed() : DeedOf({"POST", kCommandPath}, path, request.caller.get());
    if (const Verdict verdict = Judge(roles, deed); !verdict.ownParameter.empty()) {
        const Fault fault = ForeignDevice(verdict.ownParameter, form, *request.caller);
        if (!fault.empty()) return reply(ErrorResponse(403, fault));
    }
    const auto message = dv::CmdMessage::Create(path[3]);
    for (auto& [name, value] : form.fields)
        message->AddParameter(std::move(name), std::move(value));
    CommandResult result = driver->Run(*message);
    if (result.reply && !isAdmin) result.reply = Narrowed(*result.reply);
    ReplyStored(CommandResponse(*driver, path[3], std::move(result)), reply);
}

// Exactly as the host writes an id, and once: a driver might read what only looks like it as another one.
Fault Routes::ForeignDevice(std::string_view parameter, const Form& form, const Caller& caller) const {
    std::vector<std::string> given;
    for (const auto& [name, value] : form.fields)
        if (name == parameter) given.push_back(value);
    for (const auto& driver : served_.drivers.All()) {
        const bool isOwn = caller.tablets.contains(driver->Name());
        if (isOwn && given.size() == 1 && given[0] == std::to_string(driver->Entry().id)) return {};
    }
    return "a tablet may do this only for itself: " + std::string(parameter) +
           " must be there once and be the id of its own device";
}

void Routes::ListDrivers(const Request&, const Path&, const Reply& reply) {
    const auto list = DvXML::CreateXmlNode("drivers", "");
    for (const auto& driver : served_.drivers.All()) {
        const auto element = DvXML::CreateXmlNode("driver", "");
        element->NodeAddNamedULong("id", driver->Entry().id);
        element->NodeAddNamedValue("name", driver->Name());
        element->NodeAddNamedValue("library", driver->Entry().library);
        element->NodeAddNamedValue("status", driver->IsRunning() ? "running" : "failed");
        if (!driver->IsRunning()) element->NodeAddNamedValue("failure", driver->Failure());
        list->NodeAddChild(element.get());
    }
    reply(XmlResponse(list->NodeToText()));
}

void Routes::ListCommands(const Request&, const Path& path, const Reply& reply) {
    Driver* driver = FindRunning(path[1], reply);
    if (!driver) return;
    const auto list = DvXML::CreateXmlNode("commands", "");
    AddCommands(*list, driver->UICommands().Commands(), "ui");
    AddCommands(*list, driver->PlainCommands().Commands(), "plain");
    reply(XmlResponse(list->NodeToText()));
}

void Routes::Restart(const Request&, const Path& path, const Reply& reply) {
    Driver* driver = FindDriver(path[1], reply);
    if (!driver) return;
    ReplyRestarted(*driver, served_.drivers.Restart(*driver), reply);
}

void Routes::DeliverSystemEvent(const Request& request, const Path& path, const Reply& reply) {
    const auto eventClass = dv::ParseWhole<unsigned int>(path[1]);
    if (!eventClass) {
        return reply(
            ErrorResponse(400, "the event class '" + path[1] + "' is not a number; expected one like 11"));
    }
    Form form = ParseForm(request, served_.limits.formFields);
    if (form.status != 0) return reply(ErrorResponse(form.status, form.fault));
    const Fault faults = served_.drivers.Deliver(MakeEvent(*eventClass, std::move(form.fields)));
    ReplyStored(faults.empty() ? EmptyResponse() : ErrorResponse(500, faults), reply);
}

void Routes::FollowEvents(const Request& request, const Path&, const Reply& reply) {
    StreamStart start = served_.events.Begin(request.lastEventId);
    start.caller = request.caller;
    reply(StreamResponse(std::move(start)));
}

// The stream begins before the driver learns of it, so nothing that happens from then on is missed.
void Routes::FollowDriver(const Request& request, const Path& path, const Reply& reply) {
    Driver* driver = FindRunning(path[1], reply);
    if (!driver) return;
    StreamStart start = served_.events.Begin(std::nullopt);
    OpenedReader opened = driver->OpenReader();
    if (!opened.fault.empty()) return reply(ErrorResponse(500, opened.fault + "; the log says more"));
    if (!opened.reader) {
        return reply(ErrorResponse(
            409,
            "driver " + driver->Name() + " has no pages; GET /events has what all user interfaces are told"));
    }
    start.driverReader = std::move(opened.reader);
    start.caller = request.caller;
    reply(StreamResponse(std::move(start)));
}

void Routes::ReportHealth(const Request&, const Path&, const Reply& reply) {
    std::vector<std::string> warnings = served_.keeper.Warnings();
    for (const auto& driver : served_.drivers.All()) {
        if (!driver->IsRunning())
            warnings.push_back("driver " + driver->Name() + " does not run: " + driver->Failure());
    }
    if (std::string warning = served_.certificate.Warning(std::chrono::system_clock::now()); !warning.empty())
        warnings.push_back(std::move(warning));
    std::ranges::move(served_.reports.Warnings(), std::back_inserter(warnings));
    if (std::string trouble = served_.keeper.Trouble(); !trouble.empty()) {
        for (const std::string& warning : warnings)
            trouble.append("; ").append(warning);
        return reply(ErrorResponse(503, trouble));
    }
    const auto health = DvXML::CreateXmlNode("health", "ok");
    for (const std::string& warning : warnings)
        health->NodeAddNamedValue("warning", warning);
    reply(XmlResponse(health->NodeToText()));
}

void Routes::ReportMetrics(const Request&, const Path&, const Reply& reply) {
    Response response;
    response.status = 200;
    response.contentType = kMetricsType;
    response.body = served_.metrics.ToText(served_.gauges()) + served_.reports.MetricsText();
    reply(std::move(response));
}

// What is answered is stored: the answer waits until the state that this call changed is on disk.
void Routes::ReplyStored(Response response, const Reply& reply) {
    if (served_.keeper.IsSettled()) return reply(std::move(response));
    served_.keeper.Settle([response = std::move(response), reply](const std::string& error) {
        if (error.empty()) return reply(response);
        reply(
            ErrorResponse(503, "done, but not stored: " + error +
                                   "; the change is kept in memory, and the host keeps trying to store it"));
    });
}

}  // namespace driverhost
