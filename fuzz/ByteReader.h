// Turns the bytes of an input into choices, so that every input says something and small changes
// of it say something else. When the bytes are used up every choice is the first.
#ifndef FUZZ_BYTEREADER_H
#define FUZZ_BYTEREADER_H

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace fuzz {

class ByteReader {
public:
    explicit ByteReader(std::string_view bytes) : bytes_(bytes) {}

    bool IsAtEnd() const { return bytes_.empty(); }

    unsigned int Byte() {
        if (bytes_.empty()) return 0;
        const auto byte = static_cast<unsigned char>(bytes_.front());
        bytes_.remove_prefix(1);
        return byte;
    }

    /// 0 to count - 1; one byte, so that a count beyond 256 is not reached.
    std::size_t Below(std::size_t count) { return Byte() % count; }
    bool Flag() { return Byte() % 2 != 0; }

    template <class Pool>
    const auto& Pick(const Pool& pool) {
        return pool[Below(pool.size())];
    }

    /// Bytes as they stand, fewer than `most`.
    std::string Text(std::size_t most) {
        const std::size_t wanted = Below(most);
        const std::size_t size = std::min(wanted, bytes_.size());
        const std::string text(bytes_.substr(0, size));
        bytes_.remove_prefix(size);
        return text;
    }

private:
    std::string_view bytes_;
};

}  // namespace fuzz

#endif
