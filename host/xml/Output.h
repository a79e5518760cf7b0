// What XML texts are put together of: pieces that stand as they are, texts and values that are escaped,
// names that are legal.
#ifndef HOST_XML_OUTPUT_H
#define HOST_XML_OUTPUT_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace DvXML {

class Escapes;

// A text that grows. What is put waits in a buffer: most pieces are a few bytes long, and appending each to
// a string would take more time than the piece.
class Output {
public:
    /// Puts it all into the string, which keeps its memory if that is enough.
    explicit Output(std::string& text) : text_(text) { text_.clear(); }
    void Finish() { Flush(); }

    /// Puts characters, literals and texts one after another.
    template <class... Pieces>
    void Put(const Pieces&... pieces);
    /// The text of an element, or the value of an attribute, escaped.
    void PutText(std::string_view text);
    void PutValue(std::string_view value);

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

    void PutEscaped(std::string_view text, const Escapes& escapes);
    std::size_t PutSpecial(std::string_view text, const Escapes& escapes);
    void Append(char c) { text_.push_back(c); }
    void Append(std::string_view piece) { text_.append(piece); }
    void Flush() {
        text_.append(buffer_.data(), length_);
        length_ = 0;
    }

    std::string& text_;
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

/// True when the text of an element stands as it is.
bool IsPlainText(std::string_view text);

/// True when an element or attribute may bear that name.
bool IsLegalName(std::string_view name);

/// The name with "_" for what may not stand in one; see WriteXml.
std::string LegalName(std::string_view name);

}  // namespace DvXML

#endif
