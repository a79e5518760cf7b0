#include "host/xml/Writer.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
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

using Word = std::uint64_t;

constexpr Word EachByte(unsigned char byte) {
    return ~Word{0} / 0xFF * byte;
}

Word WordAt(const char* from) {
    Word word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

// True when none of the eight characters is beyond ASCII, a control, or one of "&<>. Most texts hold none of
// these, which so takes few steps to see. A subtraction borrows from the top bit of a byte that is below
// what is taken away; the marks differ from each other in one bit, so that two of them take one test.
bool IsPlainWord(Word word) {
    const Word controls = word - EachByte(' ');
    const Word angles = ((word | EachByte('<' ^ '>')) ^ EachByte('>')) - EachByte(1);
    const Word others = ((word | EachByte('"' ^ '&')) ^ EachByte('&')) - EachByte(1);
    return ((word | controls | angles | others) & EachByte(0x80)) == 0;
}

class Escapes {
public:
    explicit constexpr Escapes(bool inAttribute) {
        for (unsigned byte = 0; byte < escapes_.size(); ++byte) {
            escapes_[byte] = EscapeOf(static_cast<unsigned char>(byte), inAttribute);
            plain_[byte] = escapes_[byte].empty();
        }
    }

    /// How many characters at the beginning are ASCII and stand for themselves.
    std::size_t PlainLength(std::string_view text) const {
        std::size_t length = 0;
        while (length + sizeof(Word) <= text.size() && IsPlainWord(WordAt(text.data() + length)))
            length += sizeof(Word);
        while (length < text.size() && plain_[static_cast<unsigned char>(text[length])])
            ++length;
        return length;
    }
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

// A text that grows. What is put waits in a buffer: most pieces are a few bytes long, and appending each to
// a string would take more time than the piece.
class Output {
public:
    std::string Finish() {
        Flush();
        return std::move(text_);
    }

    /// Puts characters, literals and texts one after another.
    template <class... Pieces>
    void Put(const Pieces&... pieces);
    void PutEscaped(std::string_view text, const Escapes& escapes);

private:
    static std::size_t SizeOf(char) { return 1; }
    static std::size_t SizeOf(std::string_view piece) { return piece.size(); }
    static char* Copy(char c, char* to) {
        *to = c;
        return to + 1;
    }
    static char* Copy(std::string_view piece, char* to);
    template <std::size_t size>
    static char* Copy(const char (&literal)[size], char* to) {
        std::memcpy(to, literal, size - 1);
        return to + size - 1;
    }

    std::size_t PutSpecial(std::string_view text, const Escapes& escapes);
    void Append(char c) { text_.push_back(c); }
    void Append(std::string_view piece) { text_.append(piece); }
    void Flush() {
        text_.append(buffer_.data(), length_);
        length_ = 0;
    }

    std::string text_;
    std::array<char, 4096> buffer_;  // what follows text_; not initialised
    std::size_t length_ = 0;         // of that
};

template <class... Pieces>
void Output::Put(const Pieces&... pieces) {
    const std::size_t size = (SizeOf(pieces) + ...);
    if (size > buffer_.size() - length_) Flush();
    if (size > buffer_.size()) return (Append(pieces), ...);
    char* to = buffer_.data() + length_;
    ((to = Copy(pieces, to)), ...);
    length_ += size;
}

// Few pieces are longer than two words: these are copied from both ends, where they may overlap, without a
// call.
inline char* Output::Copy(std::string_view piece, char* to) {
    const std::size_t size = piece.size();
    const auto copyEnds = [&](std::size_t bytes) {
        std::memcpy(to, piece.data(), bytes);
        std::memcpy(to + size - bytes, piece.data() + size - bytes, bytes);
    };
    if (size > 16)
        std::memcpy(to, piece.data(), size);
    else if (size >= 8)
        copyEnds(8);
    else if (size >= 4)
        copyEnds(4);
    else
        std::copy(piece.begin(), piece.end(), to);
    return to + size;
}

void Output::PutEscaped(std::string_view text, const Escapes& escapes) {
    while (!text.empty()) {
        const std::size_t plain = escapes.PlainLength(text);
        Put(text.substr(0, plain));
        text.remove_prefix(plain);
        if (!text.empty()) text.remove_prefix(PutSpecial(text, escapes));
    }
}

// Writes the one character at the beginning, which has an escape or is not ASCII, and tells how long it is.
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

// The name as it is written; `made` is where one that had to be made legal is kept.
std::string_view WrittenName(const Name& name, std::string& made) {
    if (name.IsPlain() || IsLegalName(name.Text())) return name.Text();
    return made = LegalName(name.Text());
}

void PutAttribute(Output& out, std::string_view name, std::string_view value) {
    out.Put(' ', name, "=\"");
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

void Close(Output& out, std::string_view name) {
    out.Put("</", name, '>');
}

// Writes the start tag and the node's own text; all of a node without child elements. True when there are
// some, which are to follow, and the end tag.
bool Open(Output& out, const Node& node) {
    std::string made;
    const std::string_view name = WrittenName(node.GetName(), made);
    const std::string_view text = node.NodeGetText();
    const bool hasChildren = !node.GetChildren().empty();
    out.Put('<', name);
    PutAttributes(out, node);
    if (text.empty() && !hasChildren) {
        out.Put("/>");
        return false;
    }
    out.Put('>');
    out.PutEscaped(text, kTextEscapes);
    if (!hasChildren) Close(out, name);
    return hasChildren;
}

void Close(Output& out, const Node& node) {
    std::string made;
    Close(out, WrittenName(node.GetName(), made));
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
