#include "telephony/callcontrol/NgClient.h"

#include <array>
#include <random>

#include "telephony/callcontrol/Bencode.h"
#include "telephony/callcontrol/Log.h"

namespace telephony {
namespace {

using std::chrono::milliseconds;

// An answer takes 0.1 to 0.4 ms; "play media" up to 17 ms. What takes longer was lost, or rtpengine is away.
constexpr std::array<milliseconds, 4> kWaits{milliseconds(150), milliseconds(300), milliseconds(550),
                                             milliseconds(1000)};

std::string RandomPrefix() {
    std::random_device random;
    return std::to_string(random()) + std::to_string(random()) + "_";
}

NgReply ToReply(nlohmann::json values) {
    NgReply reply;
    reply.answered = true;
    const std::string result = values.value("result", std::string());
    reply.ok = result == "ok" || result == "pong";
    if (!reply.ok) reply.reason = values.value("error-reason", "rtpengine said \"" + result + "\"");
    reply.values = std::move(values);
    return reply;
}

}  // namespace

bool NgReply::CallIsUnknown() const {
    return answered && !ok && reason.find("Unknown call") == 0;
}

struct NgClient::Question {
    Question(Loop& loop, std::string text, Handler whom)
        : datagram(std::move(text)), handler(std::move(whom)), again(loop) {}
    const std::string datagram;
    const Handler handler;
    std::size_t sent = 0;
    Timer again;
};

NgClient::NgClient(Loop& loop, Send send) : loop_(loop), send_(std::move(send)), prefix_(RandomPrefix()) {}
NgClient::~NgClient() = default;

void NgClient::Ask(nlohmann::json request, Handler handler) {
    const std::string cookie = prefix_ + std::to_string(next_++);
    questions_[cookie] =
        std::make_unique<Question>(loop_, cookie + " " + Bencode(request), std::move(handler));
    SendAgain(cookie);
}

void NgClient::SendAgain(const std::string& cookie) {
    Question& question = *questions_.at(cookie);
    if (question.sent == kWaits.size()) {
        NgReply none;
        none.reason = "rtpengine does not answer";
        Finish(cookie, none);
        return;
    }
    send_(question.datagram);
    question.again.Start(kWaits[question.sent++], [this, cookie] { SendAgain(cookie); });
}

void NgClient::Receive(std::string_view datagram) {
    const std::size_t space = datagram.find(' ');
    if (space == std::string_view::npos) return;
    const auto question = questions_.find(datagram.substr(0, space));
    if (question == questions_.end()) return;  // the answer to the first of two
    auto values = Unbencode(datagram.substr(space + 1));
    if (!values || !values->is_object()) return;  // asked again
    const std::string cookie = question->first;
    try {
        Finish(cookie, ToReply(std::move(*values)));
    } catch (const nlohmann::json::exception& error) {
        LogLine(std::string("an answer of rtpengine is not as it should be: ") + error.what());
    }
}

void NgClient::Finish(const std::string& cookie, const NgReply& reply) {
    // Out of the table first: the handler may ask the next thing.
    const auto node = questions_.extract(cookie);
    if (!reply.ok) ++(reply.answered ? refusals_ : silences_);
    node.mapped()->again.Stop();
    node.mapped()->handler(reply);
}

}  // namespace telephony
