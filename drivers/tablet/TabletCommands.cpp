// The commands that pages send. Each is answered with <success/>, or with <error> and the reason.
#include <limits>

#include "drivers/calls/Values.h"
#include "drivers/tablet/Tablet.h"
#include "host/glue/Log.h"

namespace {

// Rises when a page of the old kind would no longer understand the driver, or the driver it.
constexpr std::int64_t kPageVersion = 1;

constexpr char kDigits[] = "0123456789*#ABCD";

const std::string& Required(const ICmdMessage& message, const std::string& name) {
    const std::string& value = message.GetString(name);
    if (value.empty()) throw PageRefusal("parameter " + name + " is missing");
    return value;
}

std::int64_t Number(const ICmdMessage& message, const std::string& name) {
    const std::string& text = Required(message, name);
    if (const auto number = Values::ReadWhole(text, 1, std::numeric_limits<std::int64_t>::max()))
        return *number;
    throw PageRefusal(name + " must be a number from 1 on, not \"" + text + "\"");
}

}  // namespace

struct Tablet::CommandRow {
    const char* name;
    void (Tablet::*handler)(unsigned long reader, const ICmdMessage&);
    const char* help;
};

// clang-format off
const Tablet::CommandRow Tablet::kCommands[] = {
    {"tabletHello",    &Tablet::OnReqHello,    "a page is there and wants to be told of calls (reader version)"},
    {"tabletRinging",  &Tablet::OnReqRinging,  "the page rings (reader call)"},
    {"tabletAnswer",   &Tablet::OnReqAnswer,   "the page answers an invite or an offer (reader call sdp)"},
    {"tabletDecline",  &Tablet::OnReqDecline,  "the page does not take a call that rings (reader call)"},
    {"tabletHangup",   &Tablet::OnReqHangup,   "the page ends its call (reader call)"},
    {"tabletHold",     &Tablet::OnReqHold,     "the page holds its call (reader call)"},
    {"tabletResume",   &Tablet::OnReqResume,   "the page resumes its call (reader call)"},
    {"tabletKeyframe", &Tablet::OnReqKeyframe, "the page can show none of the pictures that come (reader call)"},
    {"tabletDigits",   &Tablet::OnReqDigits,   "digits to the other end (reader call digits)"},
    {"tabletPing",     &Tablet::OnReqPing,     "the page of this call is alive, each second (reader call)"},
    {"tabletBye",      &Tablet::OnReqBye,      "the page closes (reader)"},
};
// clang-format on

void Tablet::RegisterCommands() {
    for (const CommandRow& row : kCommands) {
        const auto answer = [this, handler = row.handler](const ICmdMessage& message) -> Reply {
            Reply reply = DvXML::CreateXmlNode("success", "");
            try {
                (this->*handler)(static_cast<unsigned long>(Number(message, "reader")), message);
            } catch (const PageRefusal& refusal) {
                reply = DvXML::CreateXmlNode("error", refusal.what());
            }
            Settle();
            return reply;
        };
        GetUICmdDispatcher().RegisterUICmd(row.name, answer, row.help);
    }
}

const std::string& Tablet::CallOf(unsigned long reader, const ICmdMessage& message) const {
    if (!pages_.IsThere(reader))
        throw PageRefusal("the page " + std::to_string(reader) + " is not known; say tabletHello first");
    return Required(message, "call");
}

// The reply to the hello is the welcome, on the stream: what follows it there is in order.
void Tablet::OnReqHello(unsigned long reader, const ICmdMessage& message) {
    if (const std::int64_t version = Number(message, "version"); version != kPageVersion)
        throw PageRefusal("this tablet speaks version " + std::to_string(kPageVersion) + ", and the page " +
                          std::to_string(version) + "; load the page anew");
    if (!pages_.Greet(reader))
        throw PageRefusal("no stream of this tablet has the reader " + std::to_string(reader) +
                          "; follow /tablets/" + key + "/events first");
    LogXMessage(dv::LOG_LEVEL_INFO, "page %lu is open", reader);
    pages_.Send(reader, *Welcome(reader));
    pageCalls_.Invite(reader);
}

void Tablet::OnReqRinging(unsigned long reader, const ICmdMessage& message) {
    pageCalls_.Ring(reader, CallOf(reader, message));
}

void Tablet::OnReqAnswer(unsigned long reader, const ICmdMessage& message) {
    pageCalls_.Answer(reader, CallOf(reader, message), message.GetString("sdp"));
}

void Tablet::OnReqDecline(unsigned long reader, const ICmdMessage& message) {
    pageCalls_.Decline(reader, CallOf(reader, message));
}

void Tablet::OnReqHangup(unsigned long reader, const ICmdMessage& message) {
    pageCalls_.HangUp(reader, CallOf(reader, message));
}

void Tablet::OnReqHold(unsigned long reader, const ICmdMessage& message) {
    pageCalls_.SetHeld(reader, CallOf(reader, message), true);
}

void Tablet::OnReqResume(unsigned long reader, const ICmdMessage& message) {
    pageCalls_.SetHeld(reader, CallOf(reader, message), false);
}

void Tablet::OnReqKeyframe(unsigned long reader, const ICmdMessage& message) {
    pageCalls_.AskForKeyframe(reader, CallOf(reader, message));
}

void Tablet::OnReqDigits(unsigned long reader, const ICmdMessage& message) {
    const std::string& digits = Required(message, "digits");
    if (digits.size() > telephony::kMostDigits || digits.find_first_not_of(kDigits) != std::string::npos)
        throw PageRefusal("digits must be at most " + std::to_string(telephony::kMostDigits) +
                          " of 0-9 * # A-D");
    pageCalls_.SendDigits(reader, CallOf(reader, message), digits);
}

void Tablet::OnReqPing(unsigned long reader, const ICmdMessage& message) {
    pageCalls_.Ping(reader, CallOf(reader, message));
}

void Tablet::OnReqBye(unsigned long reader, const ICmdMessage&) {
    if (!pages_.Leave(reader)) return;
    LogXMessage(dv::LOG_LEVEL_INFO, "page %lu is gone: it was closed", reader);
    pageCalls_.OnPageGone(reader);
}
