#include "host/xml/Name.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace DvXML {
namespace {

constexpr std::size_t kSlots = 4096;
constexpr int kSlotBits = std::bit_width(kSlots) - 1;
constexpr std::size_t kProbes = 8;  // neighbouring slots that a name may stand in
constexpr std::size_t kLongestShared = 64;

struct Characters {
    std::array<bool, 0x100> start{};
    std::array<bool, 0x100> any{};
};

constexpr Characters kCharacters = [] {
    Characters made;
    const auto add = [&made](char first, char last, bool mayStart) {
        for (char c = first; c <= last; ++c) {
            made.start[static_cast<unsigned char>(c)] = mayStart;
            made.any[static_cast<unsigned char>(c)] = true;
        }
    };
    add('A', 'Z', true);
    add('a', 'z', true);
    add('_', '_', true);
    add(':', ':', true);
    add('0', '9', false);
    add('-', '.', false);
    return made;
}();

template <class Word>
std::uint64_t WordAt(const char* from) {
    Word word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

// Both ends of a name, which are all of it up to 16 bytes and tell most longer ones apart.
std::size_t FirstSlot(std::string_view text) {
    constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;  // 2^64 divided by the golden ratio
    const std::size_t size = text.size();
    const char* const data = text.data();
    std::uint64_t mixed = size;
    if (size >= 8)
        mixed += WordAt<std::uint64_t>(data) * kOdd ^ WordAt<std::uint64_t>(data + size - 8);
    else if (size >= 4)
        mixed += WordAt<std::uint32_t>(data) << 32U | WordAt<std::uint32_t>(data + size - 4);
    else
        for (const char c : text)
            mixed = mixed << 8U | static_cast<unsigned char>(c);
    return static_cast<std::size_t>(mixed * kOdd >> (64 - kSlotBits));
}

}  // namespace

bool IsAsciiNameStart(char c) {
    return kCharacters.start[static_cast<unsigned char>(c)];
}

bool IsAsciiNameCharacter(char c) {
    return kCharacters.any[static_cast<unsigned char>(c)];
}

bool IsPlainName(std::string_view text) {
    if (text.empty() || !IsAsciiNameStart(text.front())) return false;
    for (const char c : text)
        if (!kCharacters.any[static_cast<unsigned char>(c)]) return false;
    return true;
}

// Names are added and never taken away, so that no lock is needed: a slot is empty or says the same
// for ever.
const Name::Entry* Name::Find(std::string_view text) {
    static constinit std::array<std::atomic<const Entry*>, kSlots> slots{};
    if (text.size() > kLongestShared) return Make(text, false);
    const std::size_t first = FirstSlot(text);
    for (std::size_t probe = 0; probe < kProbes; ++probe) {
        std::atomic<const Entry*>& slot = slots[(first + probe) % kSlots];
        const Entry* found = slot.load(std::memory_order_acquire);
        if (!found) {
            std::unique_ptr<const Entry> added(Make(text, true));
            if (slot.compare_exchange_strong(found, added.get(), std::memory_order_acq_rel))
                return added.release();
        }
        if (found->text == text) return found;
    }
    return Make(text, false);
}

const Name::Entry* Name::Make(std::string_view text, bool shared) {
    return new Entry{std::string(text), IsPlainName(text), shared};
}

}  // namespace DvXML
