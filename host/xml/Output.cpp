#include "host/xml/Output.h"

#include <cstdint>

#include "host/xml/Name.h"
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
            break;
    }
    const char character = static_cast<char>(byte);
    return IsXmlCharacter({&character, 1}) ? "" : kReplacement;
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

}  // namespace

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

namespace {

constexpr Escapes kTextEscapes(false);
constexpr Escapes kAttributeEscapes(true);

}  // namespace

bool IsPlainText(std::string_view text) {
    return kTextEscapes.PlainLength(text) == text.size();
}

void Output::PutText(std::string_view text) {
    PutEscaped(text, kTextEscapes);
}

void Output::PutValue(std::string_view value) {
    PutEscaped(value, kAttributeEscapes);
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
    Put(length == 0 || !IsXmlCharacter(character) ? kReplacement : character);
    return std::max<std::size_t>(length, 1);
}

namespace {

bool IsAsciiNameOrBeyond(char c) {
    return !IsAscii(c) || IsAsciiNameCharacter(c);
}

}  // namespace

// Which characters beyond ASCII a name may hold differs between editions of XML, so the reader is
// asked about those; it is asked about nothing that could be taken for markup.
bool IsLegalName(std::string_view name) {
    if (IsPlainName(name)) return true;
    if (name.empty() || (IsAscii(name.front()) && !IsAsciiNameStart(name.front()))) return false;
    return std::all_of(name.begin(), name.end(), &IsAsciiNameOrBeyond) && IsReadableName(name);
}

namespace {

// The name with "_" for each character, or byte beyond ASCII, that is not `kept`.
std::string Replaced(std::string_view name, bool (*kept)(char)) {
    std::string replaced(name);
    std::replace_if(
        replaced.begin(), replaced.end(), [kept](char c) { return !kept(c); }, '_');
    return IsLegalName(replaced) ? replaced : "_" + replaced;
}

}  // namespace

// The reader is asked about whole names only, so that a long one takes no longer than its length.
std::string LegalName(std::string_view name) {
    std::string legal = Replaced(name, &IsAsciiNameOrBeyond);
    return IsLegalName(legal) ? legal : Replaced(name, &IsAsciiNameCharacter);
}

}  // namespace DvXML
