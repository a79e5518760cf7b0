#include "host/xml/Writer.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "host/xml/Node.h"
#include "host/xml/Reader.h"
#include "host/xml/Utf8.h"

namespace DvXML {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

enum class Place { TEXT, ATTRIBUTE };

// What stands for a byte; empty when the byte stands for itself or begins a longer character.
constexpr std::string_view EscapeOf(unsigned char byte, Place place) {
    switch (byte) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '\n':
            return "&#10;";
        case '\r':
            return "&#13;";
        case '"':
            return place == Place::ATTRIBUTE ? "&quot;" : "";
        case '\t':
            return place == Place::ATTRIBUTE ? "&#9;" : "";
        default:
            return byte < 0x20 ? kReplacement : "";
    }
}

constexpr std::array<std::string_view, 0x80> MakeEscapes(Place place) {
    std::array<std::string_view, 0x80> escapes{};
    for (std::size_t byte = 0; byte < escapes.size(); ++byte) {
        escapes[byte] = EscapeOf(static_cast<unsigned char>(byte), place);
    }
    return escapes;
}

constexpr auto kTextEscapes = MakeEscapes(Place::TEXT);
constexpr auto kAttributeEscapes = MakeEscapes(Place::ATTRIBUTE);

// U+FFFE and U+FFFF, the only well-formed characters above the controls that XML 1.0 forbids.
bool IsForbidden(std::string_view character) {
    return character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF";
}

void AppendEscaped(std::string& out, std::string_view text, Place place) {
    const auto& escapes = place == Place::TEXT ? kTextEscapes : kAttributeEscapes;
    std::size_t unwritten = 0;  // what lies before `at` and is yet to be copied as it stands
    for (std::size_t at = 0; at < text.size();) {
        const auto byte = static_cast<unsigned char>(text[at]);
        std::size_t length = 1;
        std::string_view instead;
        if (byte < 0x80) {
            instead = escapes[byte];
        } else {
            length = Utf8Length(text.substr(at));
            if (length == 0 || IsForbidden(text.substr(at, length))) instead = kReplacement;
            length = std::max<std::size_t>(length, 1);
        }
        if (!instead.empty()) {
            out.append(text, unwritten, at - unwritten).append(instead);
            unwritten = at + length;
        }
        at += length;
    }
    out.append(text, unwritten);
}

bool IsAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsAsciiNameStart(char c) {
    return IsAsciiLetter(c) || c == '_' || c == ':';
}

bool IsAsciiNameCharacter(char c) {
    return IsAsciiNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

bool IsAscii(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

bool IsAsciiNameOrBeyond(char c) {
    return !IsAscii(c) || IsAsciiNameCharacter(c);
}

// Which characters beyond ASCII a name may hold differs between editions of XML, so the reader is
// asked about those; it is asked about nothing that could be taken for markup.
bool IsLegalName(std::string_view name) {
    if (name.empty() || (IsAscii(name.front()) && !IsAsciiNameStart(name.front()))) return false;
    if (!std::all_of(name.begin(), name.end(), &IsAsciiNameOrBeyond)) return false;
    return std::all_of(name.begin(), name.end(), IsAscii) || IsReadableName(name);
}

// The name with "_" for each character, or byte beyond ASCII, that is not `kept`.
std::string Replaced(std::string_view name, bool (*kept)(char)) {
    std::string replaced(name);
    std::replace_if(
        replaced.begin(), replaced.end(), [kept](char c) { return !kept(c); }, '_');
    return IsLegalName(replaced) ? replaced : "_" + replaced;
}

// The reader is asked about whole names only, so that a long one takes no longer than its length.
std::string LegalName(std::string_view name) {
    std::string legal = Replaced(name, &IsAsciiNameOrBeyond);
    return IsLegalName(legal) ? legal : Replaced(name, &IsAsciiNameCharacter);
}

void AppendName(std::string& out, std::string_view name) {
    if (IsLegalName(name)) {
        out.append(name);
    } else {
        out.append(LegalName(name));
    }
}

void AppendAttribute(std::string& out, std::string_view name, std::string_view value) {
    out.append(" ").append(name).append("=\"");
    AppendEscaped(out, value, Place::ATTRIBUTE);
    out += '"';
}

void AppendAttributes(std::string& out, const Node& node) {
    std::vector<std::string> replaced;
    for (const Attribute& attribute : node.GetAttributes()) {
        if (IsLegalName(attribute.name)) {
            AppendAttribute(out, attribute.name, attribute.value);
            continue;
        }
        std::string name = LegalName(attribute.name);
        while (node.FindAttribute(name) ||
               std::find(replaced.begin(), replaced.end(), name) != replaced.end()) {
            name += '_';
        }
        AppendAttribute(out, name, attribute.value);
        replaced.push_back(std::move(name));
    }
}

// Writes the start tag and the node's own text. True when child elements and an end tag are to follow.
bool Open(std::string& out, const Node& node) {
    out += '<';
    AppendName(out, node.NodeGetName());
    AppendAttributes(out, node);
    if (node.NodeGetText().empty() && node.GetChildren().empty()) {
        out += "/>";
        return false;
    }
    out += '>';
    AppendEscaped(out, node.NodeGetText(), Place::TEXT);
    return true;
}

void Close(std::string& out, const Node& node) {
    out += "</";
    AppendName(out, node.NodeGetName());
    out += '>';
}

struct OpenElement {
    const Node* node;
    std::size_t nextChild;
};

}  // namespace

// Keeps the open elements in a list of its own instead of recursing: trees may be of any depth.
std::string WriteXml(const Node& root) {
    std::string out;
    std::vector<OpenElement> open;
    if (Open(out, root)) open.push_back({&root, 0});
    while (!open.empty()) {
        const Node& node = *open.back().node;
        if (open.back().nextChild == node.GetChildren().size()) {
            Close(out, node);
            open.pop_back();
            continue;
        }
        const Node& child = *node.GetChildren()[open.back().nextChild++];
        if (Open(out, child)) open.push_back({&child, 0});
    }
    return out;
}

}  // namespace DvXML
