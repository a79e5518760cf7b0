#include "host/xml/Writer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "host/xml/Name.h"
#include "host/xml/Node.h"
#include "host/xml/Reader.h"
#include "host/xml/Utf8.h"

namespace DvXML {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD
constexpr std::size_t kFirstBytes = 512;                   // room that a text begins with

bool IsAscii(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

// What stands for an ASCII character; empty when it stands for itself.
constexpr std::string_view EscapeOf(unsigned char byte, bool inAttribute) {
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
            return inAttribute ? "&quot;" : "";
        case '\t':
            return inAttribute ? "&#9;" : "";
        default:
            return byte < 0x20 ? kReplacement : "";
    }
}

class Escapes {
public:
    explicit constexpr Escapes(bool inAttribute) {
        for (unsigned byte = 0; byte < escapes_.size(); ++byte) {
            escapes_[byte] = EscapeOf(static_cast<unsigned char>(byte), inAttribute);
            plain_[byte] = escapes_[byte].empty();
        }
    }

    /// True for an ASCII character that stands for itself.
    bool IsPlain(char c) const { return plain_[static_cast<unsigned char>(c)]; }
    std::string_view Of(char ascii) const { return escapes_[static_cast<unsigned char>(ascii)]; }

private:
    std::array<std::string_view, 0x80> escapes_{};
    std::array<bool, 0x100> plain_{};
};

constexpr Escapes kTextEscapes(false);
constexpr Escapes kAttributeEscapes(true);

// U+FFFE and U+FFFF, the only well-formed characters above the controls that XML 1.0 forbids.
bool IsForbidden(std::string_view character) {
    return character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF";
}

// A text that grows. Most pieces are a few bytes long: asking for room once for several of them and
// writing them without a call each is half the time of a document.
class Output {
public:
    Output() : text_(kFirstBytes, '\0') {}

    std::string Finish() {
        text_.resize(length_);
        return std::move(text_);
    }

    void Put(char c) {
        *Room(1) = c;
        ++length_;
    }
    void Put(std::string_view piece) {
        std::memcpy(Room(piece.size()), piece.data(), piece.size());
        length_ += piece.size();
    }
    void PutEscaped(std::string_view text, const Escapes& escapes);

private:
    // Where to write so many bytes.
    char* Room(std::size_t bytes) {
        if (text_.size() - length_ < bytes) text_.resize(std::max(text_.size() * 2, length_ + bytes));
        return text_.data() + length_;
    }
    std::size_t PutPlain(std::string_view text, const Escapes& escapes);
    std::size_t PutSpecial(std::string_view text, const Escapes& escapes);

    std::string text_;  // its bytes from length_ on are room
    std::size_t length_ = 0;
};

void Output::PutEscaped(std::string_view text, const Escapes& escapes) {
    while (!text.empty()) {
        text.remove_prefix(PutPlain(text, escapes));
        if (!text.empty()) text.remove_prefix(PutSpecial(text, escapes));
    }
}

// Copies what stands for itself at the beginning of the text and tells how much that is.
std::size_t Output::PutPlain(std::string_view text, const Escapes& escapes) {
    char* to = Room(text.size());
    const char* from = text.data();
    const char* const end = from + text.size();
    while (from != end && escapes.IsPlain(*from))
        *to++ = *from++;
    const auto done = static_cast<std::size_t>(from - text.data());
    length_ += done;
    return done;
}

// The same for the one character there that has an escape or is not ASCII.
std::size_t Output::PutSpecial(std::string_view text, const Escapes& escapes) {
    if (IsAscii(text.front())) {
        Put(escapes.Of(text.front()));
        return 1;
    }
    const std::size_t length = Utf8Length(text);
    const std::string_view character = text.substr(0, length);
    Put(length == 0 || IsForbidden(character) ? kReplacement : character);
    return std::max<std::size_t>(length, 1);
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

void PutName(Output& out, const Name& name) {
    if (name.IsPlain() || IsLegalName(name.Text()))
        out.Put(name.Text());
    else
        out.Put(LegalName(name.Text()));
}

void PutAttribute(Output& out, std::string_view name, std::string_view value) {
    out.Put(' ');
    out.Put(name);
    out.Put("=\"");
    out.PutEscaped(value, kAttributeEscapes);
    out.Put('"');
}

void PutAttributes(Output& out, const Node& node) {
    std::vector<std::string> replaced;
    for (const Attribute& attribute : node.GetAttributes()) {
        if (attribute.name.IsPlain() || IsLegalName(attribute.name.Text())) {
            PutAttribute(out, attribute.name.Text(), attribute.value);
            continue;
        }
        std::string name = LegalName(attribute.name.Text());
        while (node.FindAttribute(name) ||
               std::find(replaced.begin(), replaced.end(), name) != replaced.end()) {
            name += '_';
        }
        PutAttribute(out, name, attribute.value);
        replaced.push_back(std::move(name));
    }
}

// Writes the start tag and the node's own text. True when child elements and an end tag are to follow.
bool Open(Output& out, const Node& node) {
    out.Put('<');
    PutName(out, node.GetName());
    PutAttributes(out, node);
    if (node.NodeGetText().empty() && node.GetChildren().empty()) {
        out.Put("/>");
        return false;
    }
    out.Put('>');
    out.PutEscaped(node.NodeGetText(), kTextEscapes);
    return true;
}

void Close(Output& out, const Node& node) {
    out.Put("</");
    PutName(out, node.GetName());
    out.Put('>');
}

struct OpenElement {
    const Node* node;
    std::size_t nextChild;
};

}  // namespace

// Keeps the open elements in a list of its own instead of recursing: trees may be of any depth.
std::string WriteXml(const Node& root) {
    Output out;
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
    return out.Finish();
}

}  // namespace DvXML
