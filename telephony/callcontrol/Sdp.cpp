#include "telephony/callcontrol/Sdp.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "telephony/protocol/Words.h"

namespace telephony {
namespace {

constexpr Words<Direction, 4> kAttributes{{{Direction::None, "a=inactive"},
                                           {Direction::Send, "a=sendonly"},
                                           {Direction::Receive, "a=recvonly"},
                                           {Direction::Both, "a=sendrecv"}}};

// How kCodecs are numbered and described where nobody has done so before.
struct AudioFormat {
    std::string_view codec;
    std::string_view number;
    std::string_view name;
};
constexpr std::array<AudioFormat, kCodecs.size()> kAudioFormats{{{"PCMA", "8", "PCMA/8000"},
                                                                 {"PCMU", "0", "PCMU/8000"},
                                                                 {"G722", "9", "G722/8000"},
                                                                 {"opus", "96", "opus/48000/2"}}};
constexpr char kKeysFormat[] =
    "a=rtpmap:101 telephone-event/8000\r\n"
    "a=fmtp:101 0-16\r\n";
constexpr char kVideoFormats[] =
    "RTP/AVP 99 100\r\n"
    "a=rtpmap:99 H264/90000\r\n"
    "a=fmtp:99 profile-level-id=42801f;packetization-mode=1\r\n"
    "a=rtpmap:100 VP8/90000\r\n";

// In "m=audio PORT RTP/AVP 8 0" the words before the formats.
constexpr std::size_t kFormatsOfMedia = 3;

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

// "PCMA" of "PCMA/8000".
std::string_view CodecOf(std::string_view name) {
    return FindCodec(name.substr(0, name.find('/')));
}

// Of an a=rtpmap, a=fmtp or a=rtcp-fb; empty in other lines.
std::string_view FormatDescribedIn(std::string_view line) {
    for (const std::string_view attribute : {"a=rtpmap:", "a=fmtp:", "a=rtcp-fb:"})
        if (line.starts_with(attribute)) {
            line.remove_prefix(attribute.size());
            return line.substr(0, line.find(' '));
        }
    return {};
}

std::string AudioFormats(const std::vector<std::string>& codecs) {
    std::string numbers = "RTP/AVP";
    std::string names;
    for (const std::string& codec : codecs)
        for (const AudioFormat& format : kAudioFormats) {
            if (format.codec != codec) continue;
            numbers += " " + std::string(format.number);
            names += "a=rtpmap:" + std::string(format.number) + " " + std::string(format.name) + "\r\n";
        }
    return numbers + " 101\r\n" + names + kKeysFormat;
}

bool Has(Direction direction, Direction wished) {
    return direction == Direction::Both || direction == wished;
}

Direction Of(bool sends, bool receives) {
    if (sends) return receives ? Direction::Both : Direction::Send;
    return receives ? Direction::Receive : Direction::None;
}

}  // namespace

std::string PlaceholderSdp(const std::string& address, const std::vector<std::string>& codecs,
                           Direction audio, Direction video) {
    std::string sdp = "v=0\r\no=- 1 1 IN IP4 " + address + "\r\ns=-\r\nc=IN IP4 " + address + "\r\nt=0 0\r\n";
    const auto add = [&](const char* media, const std::string& formats, Direction direction) {
        sdp += std::string("m=") + media + " 9 " + formats + std::string(TextIn(kAttributes, direction)) +
               "\r\n";
    };
    add("audio", AudioFormats(codecs), audio);
    if (video != Direction::None) add("video", kVideoFormats, video);
    return sdp;
}

std::string WithCodecs(std::string_view sdp, const std::vector<std::string>& codecs) {
    const auto lines = LinesOf(sdp);
    const auto media =
        std::ranges::find_if(lines, [](std::string_view l) { return l.starts_with("m=audio "); });
    if (media == lines.end()) return std::string(sdp);
    const auto end =
        std::find_if(media + 1, lines.end(), [](std::string_view l) { return l.starts_with("m="); });
    const auto words = WordsOf(*media);
    std::vector<std::string_view> kept;
    const auto keep = [&](std::string_view codec) {
        for (std::size_t at = kFormatsOfMedia; at < words.size(); ++at)
            if (CodecOf(FormatName({media, end}, words[at])) == codec) kept.push_back(words[at]);
    };
    for (const std::string& codec : codecs)
        keep(codec);
    if (kept.empty()) return std::string(sdp);
    keep({});
    std::string changed;
    for (auto line = lines.begin(); line != lines.end(); ++line) {
        const bool isOfMedia = line > media && line < end;
        const std::string_view format = isOfMedia ? FormatDescribedIn(*line) : std::string_view();
        if (!format.empty() && std::ranges::find(kept, format) == kept.end()) continue;
        if (line == media) {
            for (std::size_t at = 0; at < kFormatsOfMedia; ++at)
                changed += std::string(words[at]) + " ";
            for (const std::string_view number : kept)
                changed += std::string(number) + (number == kept.back() ? "" : " ");
        } else {
            changed += *line;
        }
        changed += "\r\n";
    }
    return changed;
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
