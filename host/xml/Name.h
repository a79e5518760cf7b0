// Names of elements and attributes. There are few different ones and many of each, so the nodes of
// all trees share them.
#ifndef HOST_XML_NAME_H
#define HOST_XML_NAME_H

#include <string>
#include <string_view>
#include <utility>

namespace DvXML {

// ASCII characters that a name may begin with, and those that it may hold (XML 1.0, section 2.3).
bool IsAsciiNameStart(char c);
bool IsAsciiNameCharacter(char c);

/// True when the name is legal and all ASCII: it can be written as it stands.
bool IsPlainName(std::string_view text);

/// A handle to a name. Up to 4,096 different names of at most 64 bytes are shared, for as long as the
/// process lives. Whoever sends documents can name elements as he likes: a name beyond that belongs to
/// its handle alone.  [any thread]
class Name {
public:
    /// Throws std::bad_alloc when the name is new and there is no memory for it.
    explicit Name(std::string_view text) : entry_(Find(text)) {}
    Name(Name&& other) noexcept : entry_(std::exchange(other.entry_, nullptr)) {}
    Name& operator=(Name&& other) noexcept {
        std::swap(entry_, other.entry_);
        return *this;
    }
    ~Name() {
        if (entry_ && !entry_->shared) delete entry_;
    }

    std::string_view Text() const { return entry_->text; }
    /// Whether IsPlainName is true of it.
    bool IsPlain() const { return entry_->plain; }

private:
    struct Entry {
        std::string text;
        bool plain;
        bool shared;
    };

    static const Entry* Find(std::string_view text);
    static const Entry* Make(std::string_view text, bool shared);

    const Entry* entry_;  // null when moved from
};

}  // namespace DvXML

#endif
