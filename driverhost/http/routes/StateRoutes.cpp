// The operations behind the paths of a driver's state.
#include <utility>

#include "driverhost/http/routes/Routes.h"
#include "host/glue/Numbers.h"

namespace driverhost {
namespace {

dv::auto_com<DvXML::INode> GenerationElement(const Generation& generation) {
    auto element = DvXML::CreateXmlNode("generation", "");
    element->NodeAddNamedValue("number", std::to_string(generation.number));
    element->NodeAddNamedValue("time", dv::UtcText(std::chrono::system_clock::to_time_t(generation.written)));
    element->NodeAddNamedValue("bytes", std::to_string(generation.bytes));
    element->NodeAddNamedValue("checksum", generation.fault.empty() ? "good" : "damaged");
    if (!generation.fault.empty()) element->NodeAddNamedValue("fault", generation.fault);
    return element;
}

Response ListResponse(const std::vector<Generation>& generations) {
    const auto list = DvXML::CreateXmlNode("generations", "");
    for (const Generation& generation : generations)
        list->NodeAddChild(GenerationElement(generation).get());
    return XmlResponse(list->NodeToText());
}

Response GenerationResponse(const std::string& driver, std::uint64_t number,
                            const std::optional<Generation>& generation) {
    const std::string lists = "; GET /drivers/" + driver + "/state/generations lists those that are kept";
    if (!generation) {
        return ErrorResponse(404,
                             "driver " + driver + " has no generation " + std::to_string(number) + lists);
    }
    if (generation->fault.empty()) return XmlResponse(generation->document);
    return ErrorResponse(500, "generation " + std::to_string(number) + " of driver " + driver +
                                  " is damaged: " + generation->fault + lists);
}

Response LookFailed(const Fault& error) {
    return ErrorResponse(503, "the stored documents cannot be read: " + error);
}

}  // namespace

void Routes::GetState(const Request&, const Path& path, const Reply& reply) {
    Driver* driver = FindRunning(path[1], reply);
    if (!driver) return;
    PulledState pulled = driver->PullState();
    if (!pulled.error.empty()) return reply(ErrorResponse(500, pulled.error + "; the log says more"));
    reply(pulled.document ? XmlResponse(std::move(*pulled.document)) : EmptyResponse());
}

void Routes::PutState(const Request& request, const Path& path, const Reply& reply) {
    Driver* driver = FindDriver(path[1], reply);
    if (!driver) return;
    const auto document = DvXML::CreateXmlDocument("");
    if (document->DocumentParse(request.body) != 0) {
        return reply(ErrorResponse(400, "the document is not XML: " + document->DocumentGetError()));
    }
    ReplyRestarted(*driver, served_.drivers.RestartWith(*driver, *document->DocumentGetRoot()), reply);
}

// The store's thread reads them, while the driver thread goes on.
void Routes::ListGenerations(const Request&, const Path& path, const Reply& reply) {
    Driver* driver = FindDriver(path[1], reply);
    if (!driver) return;
    served_.keeper.ListGenerations(driver->StateKey(),
                                   [reply](const std::vector<Generation>& generations, const Fault& error) {
                                       reply(error.empty() ? ListResponse(generations) : LookFailed(error));
                                   });
}

void Routes::GetGeneration(const Request&, const Path& path, const Reply& reply) {
    Driver* driver = FindDriver(path[1], reply);
    if (!driver) return;
    const auto number = dv::ParseWhole<std::uint64_t>(path[4]);
    if (!number) {
        return reply(
            ErrorResponse(400, "the generation '" + path[4] + "' is not a number; expected one like 7"));
    }
    served_.keeper.ExamineGeneration(
        driver->StateKey(), *number,
        [reply, name = driver->Name(), number = *number](const std::optional<Generation>& generation,
                                                         const Fault& error) {
            reply(error.empty() ? GenerationResponse(name, number, generation) : LookFailed(error));
        });
}

void Routes::ReplyRestarted(const Driver& driver, const RestartResult& result, const Reply& reply) {
    switch (result.outcome) {
        case Restarted::Done:
            return ReplyStored(EmptyResponse(), reply);
        case Restarted::Refused:
            return ReplyStored(ErrorResponse(400, result.reason), reply);
        case Restarted::NotStored:
            return reply(ErrorResponse(503, "the state could not be stored, so driver " + driver.Name() +
                                                " was left with what it had: " + result.reason));
        case Restarted::Failed:
            break;
    }
    const std::string now = driver.IsRunning() ? " goes on as before: " : " does not run: ";
    ReplyStored(ErrorResponse(500, "driver " + driver.Name() + now + result.reason), reply);
}

}  // namespace driverhost
