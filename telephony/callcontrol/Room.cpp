#include "telephony/callcontrol/Room.h"

#include <cmath>
#include <numbers>

#include "telephony/callcontrol/Log.h"

namespace telephony {
namespace {

using nlohmann::json;

// "port-latching" keeps the port that the caller was told when the callee answers; both others together keep
// a stranger who sends to a port from being heard, and from being sent what was meant for a phone.
const json kFlags{"port-latching", "strict-source", "asymmetric"};
// Else a listener must take every codec of the speaker, telephone-events with them.
const json kListenerFlags{"port-latching", "strict-source", "asymmetric", "allow-transcoding"};
constexpr char kPlaysDigits[] = "inject-DTMF";
// Else the description has no a=mid, by which pages tell their media apart.
constexpr char kNamesMedia[] = "generate-mid";

// How the end that gets a description is spoken to.
const json kPlain = json::object({{"ICE", "remove"}});
// A phone across from a page; without these it would be told of WebRTC.
const json kPlainFromPage = json::object(
    {{"ICE", "remove"}, {"transport-protocol", "RTP/AVP"}, {"rtcp-mux", json::array({"demux"})}});
// DTLS is begun by the page: rtpengine cannot know yet where the page is.
const json kWebRtc = json::object({{"ICE", "force"},
                                   {"transport-protocol", "UDP/TLS/RTP/SAVPF"},
                                   {"DTLS", "passive"},
                                   {"SDES", json::array({"off"})},
                                   {"rtcp-mux", json::array({"accept"})}});

// Without ICE-lite towards pages both ends claim one role of ICE for ever when the page's checks are faster
// than its answer.
json KeysOfOffer(bool fromPage, bool toPage) {
    json keys = toPage ? kWebRtc : fromPage ? kPlainFromPage : kPlain;
    if (toPage) {
        keys["ICE-lite"] = fromPage ? "both" : "forward";
        keys["rtcp-mux"] = json::array({"offer"});
    } else if (fromPage) {
        keys["ICE-lite"] = "backward";
    }
    return keys;
}

json KeysOfAnswer(bool fromPage, bool toPage) {
    return toPage ? kWebRtc : fromPage ? kPlainFromPage : kPlain;
}

json FlagsFor(const json& flags, bool toPage) {
    json all = flags;
    if (toPage) all.push_back(kNamesMedia);
    return all;
}

constexpr int kRate = 8000;
constexpr int kToneHertz = 425;
constexpr int kToneSeconds = 1;
constexpr int kFileSeconds = 3;  // ends in the pause: repeating leaves a gap, which is not heard there
constexpr double kLoudness = 6000;
constexpr int kRepetitions = 200;

constexpr int kDigitMilliseconds = 120;
constexpr int kDigitPause = 100;     // the shortest that rtpengine makes
constexpr int kDigitLoudness = -10;  // dBm0
// RFC 4733, section 3.2: the numbers of their events.
constexpr std::string_view kDigits = "0123456789*#ABCD";

void AppendNumber(std::string& bytes, std::uint32_t number, int count) {
    for (int i = 0; i < count; ++i)
        bytes += static_cast<char>((number >> (8 * i)) & 0xff);
}

// A WAV file: it travels in the request, so rtpengine reads no file of ours.
std::string RingbackWav() {
    constexpr std::uint32_t kBytes = kFileSeconds * kRate * 2;
    std::string wav = "RIFF";
    AppendNumber(wav, 36 + kBytes, 4);
    wav += "WAVEfmt ";
    AppendNumber(wav, 16, 4);
    AppendNumber(wav, 1, 2);  // PCM
    AppendNumber(wav, 1, 2);  // one channel
    AppendNumber(wav, kRate, 4);
    AppendNumber(wav, kRate * 2, 4);
    AppendNumber(wav, 2, 2);
    AppendNumber(wav, 16, 2);
    wav += "data";
    AppendNumber(wav, kBytes, 4);
    for (int i = 0; i < kFileSeconds * kRate; ++i) {
        const double phase = 2 * std::numbers::pi * kToneHertz * i / kRate;
        const double sample = i < kToneSeconds * kRate ? kLoudness * std::sin(phase) : 0;
        AppendNumber(wav, static_cast<std::uint32_t>(static_cast<int>(sample)), 2);
    }
    return wav;
}

long NumberIn(const json& object, const char* name) {
    const auto found = object.find(name);
    return found != object.end() && found->is_number_integer() ? found->get<long>() : 0;
}

void Count(const json& stream, Traffic& traffic) {
    const json flags = stream.value("flags", json::array());
    const bool rtcpOnly = std::find(flags.begin(), flags.end(), "RTCP") != flags.end() &&
                          std::find(flags.begin(), flags.end(), "RTP") == flags.end();
    const long packets = NumberIn(stream.value("stats", json::object()), "packets");
    (rtcpOnly ? traffic.rtcp : traffic.rtp) += packets;
}

}  // namespace

void Room::Ask(const char* command, json keys, Handler handler) {
    keys["command"] = command;
    keys["call-id"] = name_;
    ng_.Ask(std::move(keys), std::move(handler));
}

Room::Handler Room::LogFailure(const char* what) const {
    return [what = std::string(what), name = name_](const NgReply& reply) {
        if (!reply.ok && !reply.CallIsUnknown()) LogLine(name + ": " + what + " failed: " + reply.reason);
    };
}

void Room::OfferPlaceholder(const std::string& sdp, Handler handler) {
    // The caller has no tag before it has answered.
    json keys = KeysOfOffer(false, IsPage(kCallerTag));
    keys.update({{"from-tag", kPlaceholderTag}, {"flags", FlagsFor(kFlags, IsPage(kCallerTag))}});
    Negotiate("offer", std::move(keys), sdp, std::move(handler));
}

void Room::Offer(const std::string& from, const std::string& to, const std::string& sdp,
                 const std::vector<std::string>& codecs, Handler handler) {
    json keys = KeysOfOffer(IsPage(from), IsPage(to));
    keys.update({{"from-tag", from}, {"to-tag", to}, {"flags", FlagsFor(kFlags, IsPage(to))}});
    // The answer of the one names one codec, and perhaps no digits; the other must be offered all the same.
    if (!codecs.empty()) keys["codec"] = {{"transcode", codecs}};
    if (!codecs.empty()) keys["codec"]["transcode"].push_back("telephone-event");
    Negotiate("offer", std::move(keys), sdp, std::move(handler));
}

void Room::Answer(const std::string& from, const std::string& to, const std::string& sdp, Handler handler) {
    json keys = KeysOfAnswer(IsPage(to), IsPage(from));
    keys.update({{"from-tag", from}, {"to-tag", to}, {"flags", FlagsFor(kFlags, IsPage(from))}});
    Negotiate("answer", std::move(keys), sdp, std::move(handler));
}

void Room::Negotiate(const char* command, json keys, const std::string& sdp, Handler handler) {
    keys["sdp"] = sdp;
    keys["replace"] = json{"origin", "session-connection"};
    if (takesDigits_) keys["flags"].push_back(kPlaysDigits);
    Ask(command, std::move(keys), std::move(handler));
}

void Room::Subscribe(const std::string& source, const std::string& listener,
                     const std::vector<std::string>& codecs, Handler handler) {
    json keys = ListenersKeys(listener);
    keys.update({{"from-tags", {source}}, {"codec", {{"transcode", codecs}}}});
    Ask("subscribe request", std::move(keys), std::move(handler));
}

json Room::ListenersKeys(const std::string& listener) const {
    // Whoever speaks, it is rtpengine that offers it to the listener; but what it offers is made of what the
    // speaker, who is the caller, has told.
    json keys = IsPage(listener) ? KeysOfOffer(false, true) : IsPage(kCallerTag) ? kPlainFromPage : kPlain;
    keys.update({{"to-tag", listener}, {"flags", FlagsFor(kListenerFlags, IsPage(listener))}});
    return keys;
}

void Room::SubscribeAnswer(const std::string& listener, const std::string& sdp, Handler handler) {
    json keys = ListenersKeys(listener);
    keys["sdp"] = sdp;
    Ask("subscribe answer", std::move(keys), std::move(handler));
}

void Room::Unsubscribe(const std::string& listener) {
    Ask("unsubscribe", {{"to-tag", listener}}, LogFailure("taking a listener out"));
}

void Room::PlayRingback(const std::string& to, Handler handler) {
    static const std::string wav = RingbackWav();
    Ask("play media", {{"from-tag", to}, {"blob", wav}, {"repeat-times", kRepetitions}},
        [log = LogFailure("ringback"), handler = std::move(handler)](const NgReply& reply) {
            log(reply);
            handler(reply);
        });
}

void Room::StopRingback(const std::string& to) {
    Ask("stop media", {{"from-tag", to}}, LogFailure("ending the ringback"));
}

void Room::Block(const std::string& from) {
    json keys = json::object();
    if (!from.empty()) keys["from-tag"] = from;
    Ask("block media", std::move(keys), LogFailure("closing the gate"));
}

void Room::Unblock(const std::string& from) {
    json keys = json::object();
    if (!from.empty()) keys["from-tag"] = from;
    Ask("unblock media", std::move(keys), LogFailure("opening the gate"));
}

void Room::PlayDigit(const std::string& from, char digit, Handler handler) {
    Ask("play DTMF",
        {{"from-tag", from},
         {"code", std::string(1, digit)},
         {"duration", kDigitMilliseconds},
         {"pause", kDigitPause},
         {"volume", kDigitLoudness}},
        std::move(handler));
}

std::optional<RoomDigit> DigitIn(std::string_view datagram) {
    const json told = json::parse(datagram, nullptr, false);
    if (!told.is_object()) return std::nullopt;
    const auto text = [&](const char* name) {
        const auto found = told.find(name);
        return found != told.end() && found->is_string() ? found->get<std::string>() : std::string();
    };
    const auto event = told.find("event");
    if (text("type") != "DTMF" || event == told.end() || !event->is_number_unsigned() ||
        event->get<std::size_t>() >= kDigits.size())
        return std::nullopt;
    return RoomDigit{text("callid"), text("source_tag"), kDigits[event->get<std::size_t>()]};
}

void Room::Query(Handler handler) {
    Ask("query", json::object(), std::move(handler));
}
void Room::Delete() {
    Ask("delete", json::object(), LogFailure("deleting the room"));
}

std::map<std::string, Traffic> TrafficIn(const NgReply& reply) {
    std::map<std::string, Traffic> traffic;
    const json ssrcs = reply.values.value("SSRC", json::object());
    const json tags = reply.values.value("tags", json::object());
    for (const auto& [tag, end] : tags.items())
        for (const json& media : end.value("medias", json::array()))
            for (const json& stream : media.value("streams", json::array())) {
                Traffic& counted = traffic[tag];
                Count(stream, counted);
                const auto source = ssrcs.find(std::to_string(NumberIn(stream, "SSRC")));
                if (source == ssrcs.end()) continue;
                if (source->contains("cumulative loss"))
                    counted.lost = std::max(counted.lost, 0L) + NumberIn(*source, "cumulative loss");
                if (const auto reports = source->find("average MOS"); reports != source->end())
                    counted.jitter = std::max(counted.jitter, NumberIn(*reports, "jitter"));
            }
    return traffic;
}

}  // namespace telephony
