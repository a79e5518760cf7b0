#include "tests/driverhost/support/HostFixture.h"

#include <cstdio>
#include <utility>

namespace driverhost {

HostFixture::HostFixture() = default;

HostFixture::~HostFixture() {
    if (table_) table_->StopAll();
}

void HostFixture::Add(const std::string& name, const std::string& library, const std::string& config) {
    home_.drivers.push_back(
        {home_.drivers.size() + 1, name, library, std::string(TEST_PLUGINS) + "/" + library + ".so", config});
}

void HostFixture::Load() {
    table_.emplace(home_, services_);
    pages_.emplace(thread_, webFolder_);
    certificate_.emplace(tlsFiles_);
    trust_.emplace(ListenAddress{"127.0.0.1", 8350}, "box", &*certificate_);
    callers_.emplace(tokens_, store_, limits_, certificate_->IsThere(), [this] { return now_; });
    routes_.emplace(Served{*table_, keeper_, events_, metrics_, reports_, *trust_, *callers_, limits_,
                           *pages_, *certificate_,
                           [this] {
                               return Gauges{events_.Readers(), 0, 0};
                           },
                           [this] { return port_; }});
    table_->LoadLibraries();
    roots_.Load();
    callers_->Load();
    table_->LoadStates();
}

void HostFixture::Start() {
    Load();
    table_->StartAll();
    Turn();
}

Response HostFixture::Ask(const std::string& method, const std::string& target, const std::string& form) {
    return Ask(MakeRequest(method, target, form));
}

Response HostFixture::Ask(const Request& request) {
    std::optional<Response> answer;
    Begin(request, [&](Response response) { answer = std::move(response); });
    TurnUntil([&] { return answer.has_value(); });
    return answer.value_or(Response{});
}

void HostFixture::Begin(Request request, const Reply& reply) {
    Routes::Admission admission = routes_->Admit(request);
    if (admission.refusal) return reply(std::move(*admission.refusal));
    request.caller = std::move(admission.caller);
    routes_->Answer(request, reply);
}

Request HostFixture::MakeRequest(std::string_view method, std::string_view target, std::string_view form) {
    Request request;
    request.method = method;
    request.target = target;
    request.hosts = 1;
    request.host = "localhost";
    if (!form.empty()) request.contentType = "application/x-www-form-urlencoded";
    request.body = form;
    return request;
}

std::string HostFixture::Command(const std::string& driver, const std::string& command,
                                 const std::string& form) {
    return Ask("POST", "/drivers/" + driver + "/commands/" + command, form).body;
}

void HostFixture::Turn(std::chrono::milliseconds time) {
    thread_.After(time, [this] { thread_.Stop(); });
    thread_.Run();
}

std::string HostFixture::StoredState(const std::string& driver) const {
    std::string newest;
    for (int number = 1; number < 100; ++number) {
        std::array<char, 16> digits{};
        std::snprintf(digits.data(), digits.size(), "%010d", number);
        const std::string path = "/state/" + driver + "/" + digits.data() + ".xml";
        if (disk_.Has(path)) newest = disk_.ContentOf(path);
    }
    return newest.substr(0, newest.find("\n<!--"));
}

}  // namespace driverhost
