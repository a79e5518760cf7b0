// What is done at each path.
#include <charconv>
#include <utility>

#include "driverhost/http/FormData.h"
#include "driverhost/http/Routes.h"
#include "host/glue/CmdMessage.h"
#include "host/glue/XmlText.h"

namespace driverhost {
namespace {

constexpr std::string_view kEventStreamType = "text/event-stream";
constexpr std::string_view kMetricsType = "text/plain; version=0.0.4";
constexpr std::string_view kEventNameField = "name";

void AddCommands(DvXML::INode& list, const std::vector<CommandInfo>& commands, const char* kind) {
    for (const CommandInfo& command : commands) {
        const auto element = DvXML::CreateXmlNode("command", "");
        element->NodeAddNamedValue("name", command.name);
        element->NodeAddNamedValue("kind", kind);
        element->NodeAddNamedValue("help", command.help);
        list.NodeAddChild(element.get());
    }
}

std::optional<unsigned int> ParseClass(const std::string& text) {
    unsigned int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// The first field "name" is the event's name, the others stay parameters, further "name"s too.
SystemEvent MakeEvent(unsigned int eventClass, Parameters fields) {
    SystemEvent event{eventClass, {}, std::move(fields)};
    const auto isName = [](const auto& field) { return field.first == kEventNameField; };
    const auto name = std::find_if(event.parameters.begin(), event.parameters.end(), isName);
    if (name == event.parameters.end()) return event;
    event.name = std::move(name->second);
    event.parameters.erase(name);
    return event;
}

Response CommandResponse(const Driver& driver, const std::string& command, CommandResult result) {
    if (!result.fault.empty()) return ErrorResponse(500, result.fault + "; its log tells more");
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
                                 "; POST /drivers/" + driver->Name() + "/restart tries it again"));
    return nullptr;
}

void Routes::RunCommand(const Request& request, const Path& path, const Reply& reply) {
    Driver* driver = FindRunning(path[1], reply);
    if (!driver) return;
    Form form = ParseForm(request, served_.limits.formFields);
    if (form.status != 0) return reply(ErrorResponse(form.status, form.fault));
    const auto message = dv::CmdMessage::Create(path[3]);
    for (auto& [name, value] : form.fields)
        message->AddParameter(std::move(name), std::move(value));
    ReplyStored(CommandResponse(*driver, path[3], driver->Run(*message)), reply);
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

void Routes::GetState(const Request&, const Path& path, const Reply& reply) {
    Driver* driver = FindRunning(path[1], reply);
    if (!driver) return;
    PulledState pulled = driver->PullState();
    if (!pulled.error.empty()) return reply(ErrorResponse(500, pulled.error + "; its log tells more"));
    reply(pulled.document ? XmlResponse(std::move(*pulled.document)) : EmptyResponse());
}

void Routes::PutState(const Request& request, const Path& path, const Reply& reply) {
    Driver* driver = FindDriver(path[1], reply);
    if (!driver) return;
    const auto document = DvXML::CreateXmlDocument("");
    if (document->DocumentParse(request.body) != 0) {
        return reply(ErrorResponse(400, "the document is not XML: " + document->DocumentGetError()));
    }
    const DvXML::INode& root = *document->DocumentGetRoot();
    if (const std::string fault = StateFault(*driver, root); !fault.empty()) {
        return reply(ErrorResponse(400, fault));
    }
    ReplyRestarted(*driver, served_.drivers.Restart(*driver, root.NodeToText()), reply);
}

// A driver that does not run cannot be asked; what it stored earlier tells instead.
std::string Routes::StateFault(Driver& driver, const DvXML::INode& root) {
    const auto document =
        driver.IsRunning() ? driver.PullState().document : served_.keeper.Stored(driver.StateKey());
    if (!document) {
        return driver.IsRunning() ? "driver " + driver.Name() + " keeps no state" : std::string();
    }
    const auto own = DvXML::ParseRoot(*document);
    if (!own || own->NodeGetName() == root.NodeGetName()) return {};
    return "the root element is '" + std::string(root.NodeGetName()) + "'; driver " + driver.Name() +
           " writes '" + std::string(own->NodeGetName()) + "'";
}

void Routes::Restart(const Request&, const Path& path, const Reply& reply) {
    Driver* driver = FindDriver(path[1], reply);
    if (!driver) return;
    ReplyRestarted(*driver, served_.drivers.Restart(*driver), reply);
}

void Routes::ReplyRestarted(const Driver& driver, const RestartResult& result, const Reply& reply) {
    switch (result.outcome) {
        case Restarted::Done:
            return ReplyStored(EmptyResponse(), reply);
        case Restarted::NotStored:
            return reply(ErrorResponse(503, "the state could not be stored, so driver " + driver.Name() +
                                                " was left alone: " + result.reason));
        case Restarted::Failed:
            break;
    }
    const std::string now = driver.IsRunning() ? " goes on as before: " : " does not run: ";
    ReplyStored(ErrorResponse(500, "driver " + driver.Name() + now + result.reason), reply);
}

void Routes::DeliverSystemEvent(const Request& request, const Path& path, const Reply& reply) {
    const auto eventClass = ParseClass(path[1]);
    if (!eventClass) {
        return reply(
            ErrorResponse(400, "the event class '" + path[1] + "' is not a number; expected one like 11"));
    }
    Form form = ParseForm(request, served_.limits.formFields);
    if (form.status != 0) return reply(ErrorResponse(form.status, form.fault));
    const std::string faults = served_.drivers.Deliver(MakeEvent(*eventClass, std::move(form.fields)));
    ReplyStored(faults.empty() ? EmptyResponse() : ErrorResponse(500, faults), reply);
}

void Routes::FollowEvents(const Request& request, const Path&, const Reply& reply) {
    Response response;
    response.status = 200;
    response.contentType = kEventStreamType;
    response.stream = served_.events.Begin(request.lastEventId);
    reply(std::move(response));
}

void Routes::TellHealth(const Request&, const Path&, const Reply& reply) {
    const std::string trouble = served_.keeper.Trouble();
    if (!trouble.empty()) return reply(ErrorResponse(503, trouble));
    const auto health = DvXML::CreateXmlNode("health", "ok");
    for (const auto& driver : served_.drivers.All()) {
        if (driver->IsRunning()) continue;
        health->NodeAddNamedValue("warning",
                                  "driver " + driver->Name() + " does not run: " + driver->Failure());
    }
    reply(XmlResponse(health->NodeToText()));
}

void Routes::TellMetrics(const Request&, const Path&, const Reply& reply) {
    Response response;
    response.status = 200;
    response.contentType = kMetricsType;
    response.body = served_.metrics.ToText(served_.gauges());
    reply(std::move(response));
}

// What was answered is stored: the answer waits until what this call marked is on disk.
void Routes::ReplyStored(Response response, const Reply& reply) {
    if (served_.keeper.IsSettled()) return reply(std::move(response));
    served_.keeper.Settle([response = std::move(response), reply](const std::string& error) {
        if (error.empty()) return reply(response);
        reply(ErrorResponse(503, "done, but not stored: " + error +
                                     "; the change is kept in memory and storing is tried again"));
    });
}

}  // namespace driverhost
