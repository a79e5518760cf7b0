#include "telephony/protocol/Event.h"

#include <stdexcept>

#include "telephony/protocol/Words.h"

namespace telephony {
namespace {

using nlohmann::json;

constexpr Words<EventKind, 18> kEvents{{{EventKind::Snapshot, "snapshot"},
                                        {EventKind::Refused, "refused"},
                                        {EventKind::Registered, "registered"},
                                        {EventKind::Lost, "lost"},
                                        {EventKind::Proxy, "proxy"},
                                        {EventKind::Media, "media"},
                                        {EventKind::PhoneCall, "phone-call"},
                                        {EventKind::Calling, "calling"},
                                        {EventKind::Ringing, "ringing"},
                                        {EventKind::LegUp, "leg-up"},
                                        {EventKind::Established, "established"},
                                        {EventKind::Modified, "modified"},
                                        {EventKind::Dtmf, "dtmf"},
                                        {EventKind::LegDown, "leg-down"},
                                        {EventKind::Ended, "ended"},
                                        {EventKind::PageInvite, "page-invite"},
                                        {EventKind::PageOffer, "page-offer"},
                                        {EventKind::PageKeyframe, "page-keyframe"}}};
constexpr Words<LegRole, 2> kRoles{{{LegRole::Caller, "caller"}, {LegRole::Callee, "callee"}}};
constexpr Words<LegState, 5> kStates{{{LegState::Waiting, "waiting"},
                                      {LegState::Calling, "calling"},
                                      {LegState::Ringing, "ringing"},
                                      {LegState::Up, "up"},
                                      {LegState::Down, "down"}}};

json ToJson(const LegReport& leg) {
    return {{"user", leg.user},
            {"role", TextIn(kRoles, leg.role)},
            {"state", TextIn(kStates, leg.state)},
            {"code", leg.code},
            {"reason", leg.reason},
            {"answered", leg.answered},
            {"codecs", leg.codecs},
            {"packetsReceived", leg.packetsReceived},
            {"packetsLost", leg.packetsLost},
            {"jitter", leg.jitter}};
}

json ToJson(const CallReport& call) {
    json legs = json::array();
    for (const LegReport& leg : call.legs)
        legs.push_back(ToJson(leg));
    return {{"id", call.id},          {"kind", TextOf(call.kind)}, {"byPhone", call.byPhone},
            {"called", call.called},  {"state", call.state},       {"seconds", call.seconds},
            {"legs", std::move(legs)}};
}

json ToJson(const RegisteredPhone& phone) {
    json object{
        {"user", phone.user}, {"contact", phone.contact}, {"agent", phone.agent}, {"since", phone.since}};
    if (!phone.name.empty()) object["name"] = phone.name;
    if (!phone.reason.empty()) object["reason"] = phone.reason;
    return object;
}

template <typename Enum>
Enum Known(std::optional<Enum> value, const std::string& text) {
    if (value) return *value;
    throw std::runtime_error("event: the word \"" + text + "\" is unknown");
}

template <typename Enum, std::size_t Count>
Enum EnumIn(const Words<Enum, Count>& words, const json& object, const char* name) {
    const std::string text = object.at(name);
    return Known(ValueIn(words, text), text);
}

LegReport ToLeg(const json& object) {
    LegReport leg;
    leg.user = object.at("user");
    leg.role = EnumIn(kRoles, object, "role");
    leg.state = EnumIn(kStates, object, "state");
    leg.code = object.at("code");
    leg.reason = object.at("reason");
    leg.answered = object.at("answered");
    leg.codecs = object.at("codecs");
    leg.packetsReceived = object.at("packetsReceived");
    leg.packetsLost = object.at("packetsLost");
    leg.jitter = object.value("jitter", -1L);
    return leg;
}

CallReport ToCall(const json& object) {
    CallReport call;
    call.id = object.at("id");
    const std::string kind = object.at("kind");
    call.kind = Known(ToCallKind(kind), kind);
    call.byPhone = object.at("byPhone");
    call.called = object.value("called", "");
    call.state = object.at("state");
    call.seconds = object.at("seconds");
    for (const json& leg : object.at("legs"))
        call.legs.push_back(ToLeg(leg));
    return call;
}

RegisteredPhone ToPhone(const json& object) {
    return {object.at("user"),  object.at("contact"),     object.at("agent"),
            object.at("since"), object.value("name", ""), object.value("reason", "")};
}

json ToJson(const PageInvitation& page) {
    json object{
        {"kind", TextOf(page.kind)}, {"audio", TextOf(page.audio)},       {"video", TextOf(page.video)},
        {"answers", page.answers},   {"role", TextIn(kRoles, page.role)}, {"from", page.from},
        {"name", page.name}};
    if (!page.called.empty()) object["called"] = page.called;
    return object;
}

PageInvitation ToPage(const json& object) {
    PageInvitation page;
    const std::string kind = object.at("kind");
    const std::string audio = object.at("audio");
    const std::string video = object.at("video");
    page.kind = Known(ToCallKind(kind), kind);
    page.audio = Known(ToDirection(audio), audio);
    page.video = Known(ToDirection(video), video);
    page.answers = object.at("answers");
    page.role = EnumIn(kRoles, object, "role");
    page.from = object.at("from");
    page.name = object.at("name");
    page.called = object.value("called", "");
    return page;
}

// The fields that hold one text or number, and are sent when they say something.
template <typename Visitor>
void VisitPlainFields(Visitor visit) {
    visit("id", &Event::id);
    visit("leg", &Event::leg);
    visit("code", &Event::code);
    visit("reason", &Event::reason);
    visit("by", &Event::by);
    visit("state", &Event::state);
    visit("digits", &Event::digits);
    visit("codecs", &Event::codecs);
    visit("seconds", &Event::seconds);
    visit("sdp", &Event::sdp);
}

bool CarriesCall(EventKind kind) {
    return kind == EventKind::PhoneCall || kind == EventKind::Calling || kind == EventKind::Ended;
}

void AddSnapshot(json& object, const Event& event) {
    object.update({{"version", kProtocolVersion},
                   {"proxy", event.proxy},
                   {"media", event.media},
                   {"phones", json::array()},
                   {"away", json::array()},
                   {"calls", json::array()}});
    for (const RegisteredPhone& phone : event.phones)
        object["phones"].push_back(ToJson(phone));
    for (const RegisteredPhone& phone : event.away)
        object["away"].push_back(ToJson(phone));
    for (const CallReport& call : event.calls)
        object["calls"].push_back(ToJson(call));
}

void ReadSnapshot(const json& object, Event& event) {
    event.proxy = object.at("proxy");
    event.media = object.at("media");
    for (const json& phone : object.at("phones"))
        event.phones.push_back(ToPhone(phone));
    for (const json& phone : object.value("away", json::array()))
        event.away.push_back(ToPhone(phone));
    for (const json& call : object.at("calls"))
        event.calls.push_back(ToCall(call));
}

Event FromJson(const json& object) {
    Event event;
    event.kind = EnumIn(kEvents, object, "event");
    VisitPlainFields([&](const char* name, auto field) {
        const auto found = object.find(name);
        if (found != object.end()) found->get_to(event.*field);
    });
    if (CarriesCall(event.kind)) event.call = ToCall(object.at("call"));
    if (event.kind == EventKind::Registered || event.kind == EventKind::Lost)
        event.phone = ToPhone(object.at("phone"));
    if (event.kind == EventKind::Snapshot) ReadSnapshot(object, event);
    if (event.kind == EventKind::PageInvite) event.page = ToPage(object);
    return event;
}

}  // namespace

std::string ToLine(const Event& event) {
    json object{{"event", TextOf(event.kind)}};
    VisitPlainFields([&](const char* name, auto field) {
        if (event.*field != Event().*field) object[name] = event.*field;
    });
    if (CarriesCall(event.kind)) object["call"] = ToJson(event.call);
    if (event.kind == EventKind::Registered || event.kind == EventKind::Lost)
        object["phone"] = ToJson(event.phone);
    if (event.kind == EventKind::Snapshot) AddSnapshot(object, event);
    if (event.kind == EventKind::PageInvite) object.update(ToJson(event.page));
    // Texts of phones may hold anything, also what is no UTF-8.
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

Event ParseEvent(std::string_view line) {
    try {
        return FromJson(json::parse(line));
    } catch (const json::exception& error) {
        throw std::runtime_error(std::string("event: ") + error.what());
    }
}

std::string_view TextOf(EventKind kind) {
    return TextIn(kEvents, kind);
}
std::string_view TextOf(LegRole role) {
    return TextIn(kRoles, role);
}
std::string_view TextOf(LegState state) {
    return TextIn(kStates, state);
}

}  // namespace telephony
