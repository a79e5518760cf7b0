#include "telephony/callcontrol/Sdp.h"

#include <optional>
#include <vector>

#include "telephony/protocol/Words.h"

namespace telephony {
namespace {

constexpr Words<Direction, 4> kAttributes{{{Direction::None, "a=inactive"},
                                           {Direction::Send, "a=sendonly"},
                                           {Direction::Receive, "a=recvonly"},
                                           {Direction::Both, "a=sendrecv"}}};

constexpr char kAudioFormats[] =
    "RTP/AVP 8 0 101\r\n"
    "a=rtpmap:8 PCMA/8000\r\n"
    "a=rtpmap:0 PCMU/8000\r\n"
    "a=rtpmap:101 telephone-event/8000\r\n"
    "a=fmtp:101 0-16\r\n";
constexpr char kVideoFormats[] =
    "RTP/AVP 99 100\r\n"
    "a=rtpmap:99 H264/90000\r\n"
    "a=fmtp:99 profile-level-id=42801f;packetization-mode=1\r\n"
    "a=rtpmap:100 VP8/90000\r\n";

// What libraries of phones know without a=rtpmap (RFC 3551).
constexpr Words<int, 4> kStaticCodecs{
    {{0, "PCMU/8000"}, {8, "PCMA/8000"}, {9, "G722/8000"}, {18, "G729/8000"}}};

std::vector<std::string_view> LinesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (!line.empty()) lines.push_back(line);
    }
    return lines;
}

std::vector<std::string_view> WordsOf(std::string_view line) {
    std::vector<std::string_view> words;
    while (!line.empty()) {
        const std::size_t end = line.find(' ');
        if (end != 0) words.push_back(line.substr(0, end));
        line.remove_prefix(end == std::string_view::npos ? line.size() : end + 1);
    }
    return words;
}

std::string FormatName(const std::vector<std::string_view>& lines, std::string_view format) {
    const std::string map = "a=rtpmap:" + std::string(format) + " ";
    for (const std::string_view line : lines)
        if (line.starts_with(map)) return std::string(line.substr(map.size()));
    for (const auto& [number, name] : kStaticCodecs)
        if (std::to_string(number) == format) return std::string(name);
    return std::string(format);
}

bool Has(Direction direction, Direction wished) {
    return direction == Direction::Both || direction == wished;
}

Direction Of(bool sends, bool receives) {
    if (sends) return receives ? Direction::Both : Direction::Send;
    return receives ? Direction::Receive : Direction::None;
}

}  // namespace

std::string PlaceholderSdp(const std::string& address, Direction audio, Direction video) {
    std::string sdp = "v=0\r\no=- 1 1 IN IP4 " + address + "\r\ns=-\r\nc=IN IP4 " + address + "\r\nt=0 0\r\n";
    const auto add = [&](const char* media, const char* formats, Direction direction) {
        sdp += std::string("m=") + media + " 9 " + formats + std::string(TextIn(kAttributes, direction)) +
               "\r\n";
    };
    add("audio", kAudioFormats, audio);
    if (video != Direction::None) add("video", kVideoFormats, video);
    return sdp;
}

std::string WithDirection(std::string_view sdp, Direction direction) {
    const std::string attribute(TextIn(kAttributes, direction));
    std::string changed;
    bool inMedia = false;
    const auto endMedia = [&] {
        if (inMedia) changed += attribute + "\r\n";
    };
    for (const std::string_view line : LinesOf(sdp)) {
        if (line.starts_with("m=")) {
            endMedia();
            inMedia = true;
        }
        if (ValueIn(kAttributes, line)) continue;
        changed += std::string(line) + "\r\n";
    }
    endMedia();
    return changed;
}

std::string WithOrigin(std::string_view sdp, std::uint64_t session, std::uint64_t version,
                       const std::string& address) {
    std::string changed;
    for (const std::string_view line : LinesOf(sdp))
        if (line.starts_with("o="))
            changed += "o=- " + std::to_string(session) + " " + std::to_string(version) + " IN IP4 " +
                       address + "\r\n";
        else
            changed += std::string(line) + "\r\n";
    return changed;
}

Direction DirectionOf(std::string_view sdp) {
    bool sends = false;
    bool receives = false;
    bool counts = false;
    Direction session = Direction::Both;
    std::optional<Direction> media;
    const auto endMedia = [&] {
        if (!counts) return;
        sends |= Has(media.value_or(session), Direction::Send);
        receives |= Has(media.value_or(session), Direction::Receive);
    };
    bool inMedia = false;
    for (const std::string_view line : LinesOf(sdp)) {
        if (line.starts_with("m=")) {
            endMedia();
            const auto words = WordsOf(line);
            counts = words.size() > 1 && words[1] != "0";
            inMedia = true;
            media.reset();
        } else if (const auto direction = ValueIn(kAttributes, line)) {
            if (inMedia)
                media = direction;
            else
                session = *direction;
        }
    }
    endMedia();
    return Of(sends, receives);
}

Direction Mirrored(Direction direction) {
    return Of(Has(direction, Direction::Receive), Has(direction, Direction::Send));
}

Direction Common(Direction one, Direction other) {
    return Of(Has(one, Direction::Send) && Has(other, Direction::Send),
              Has(one, Direction::Receive) && Has(other, Direction::Receive));
}

std::string CodecsOf(std::string_view sdp) {
    const auto lines = LinesOf(sdp);
    std::string codecs;
    for (const std::string_view line : lines) {
        const auto words = WordsOf(line);
        if (!line.starts_with("m=") || words.size() < 4 || words[1] == "0") continue;
        codecs += (codecs.empty() ? "" : " ") + FormatName(lines, words[3]);
    }
    return codecs;
}

std::string ReceivesAt(std::string_view sdp) {
    std::string address;
    std::string port;
    for (const std::string_view line : LinesOf(sdp)) {
        const auto words = WordsOf(line);
        if (line.starts_with("m=") && !port.empty()) break;  // the second media
        if (line.starts_with("m=") && words.size() > 1) port = words[1];
        if (line.starts_with("c=") && words.size() > 2) address = words[2];
    }
    return port.empty() ? std::string() : address + ":" + port;
}

}  // namespace telephony
