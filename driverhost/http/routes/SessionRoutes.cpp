// Signing in: a session, which a browser keeps by a cookie that no script can read, for a token.
#include <utility>

#include "driverhost/http/FormData.h"
#include "driverhost/http/routes/Routes.h"

namespace driverhost {
namespace {

constexpr std::string_view kTokenField = "token";

Response SessionResponse(const Caller& caller, const std::string& setCookie) {
    const auto element = DvXML::CreateXmlNode("session", "");
    element->NodeSetAttribute("role", NameOfRole(caller.roles));
    if (caller.isOpen) element->NodeSetBoolAttribute("open", true);
    for (const std::string& name : caller.tablets) {
        const auto tablet = DvXML::CreateXmlNode("tablet", "");
        tablet->NodeSetAttribute("name", name);
        element->NodeAddChild(tablet.get());
    }
    Response response = XmlResponse(element->NodeToText());
    response.headers = setCookie;
    return response;
}

// Sends the answer once the change is on disk.
Callers::Done WhenStored(std::shared_ptr<Response> response, const Reply& reply) {
    return [response = std::move(response), reply](const Fault& error) {
        if (error.empty()) return reply(std::move(*response));
        Response failed = ErrorResponse(503, "done, but not stored: " + error +
                                                 "; when the host is started anew this session is as before");
        failed.headers = response->headers;
        reply(std::move(failed));
    };
}

}  // namespace

void Routes::SignIn(const Request& request, const Path&, const Reply& reply) {
    const Form form = ParseForm(request, served_.limits.formFields);
    if (form.status != 0) return reply(ErrorResponse(form.status, form.fault));
    if (request.caller && request.caller->isOpen) return reply(SessionResponse(*request.caller, {}));
    if (form.fields.size() != 1 || form.fields[0].first != kTokenField)
        return reply(ErrorResponse(400, "expected one form field: token=TOKEN"));
    const auto response = std::make_shared<Response>();
    auto signedIn = served_.callers.SignIn(request, form.fields[0].second, WhenStored(response, reply));
    if (signedIn.refusal) return reply(std::move(*signedIn.refusal));
    *response = SessionResponse(*signedIn.caller, signedIn.setCookie);
}

void Routes::TellSession(const Request& request, const Path&, const Reply& reply) {
    reply(SessionResponse(*request.caller, served_.callers.KeepCookie(request)));
}

void Routes::SignOut(const Request& request, const Path&, const Reply& reply) {
    const auto response = std::make_shared<Response>(EmptyResponse());
    response->headers = served_.callers.ForgetCookie();
    if (!served_.callers.SignOut(request, WhenStored(response, reply)))
        return reply(ErrorResponse(400,
                                   "there is no session to end; a token counts until the token file is "
                                   "without it and the host has had SIGHUP"));
    served_.events.WakeReaders();  // streams of the session see that it has ended
}

}  // namespace driverhost
