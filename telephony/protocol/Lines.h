// Lines over a stream socket, bounded in both directions: what arrives is cut into lines, what is to be sent
// waits in a queue. Neither grows without end, whoever is at the other side.
#ifndef TELEPHONY_PROTOCOL_LINES_H
#define TELEPHONY_PROTOCOL_LINES_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace telephony {

/// Longest line without its end. A snapshot of 250 calls with 20 legs each stays below it.
inline constexpr std::size_t kLongestLine = 1024 * 1024;
/// What may wait for a reader. A driver that is stopped in a debugger falls behind by this much and no more.
inline constexpr std::size_t kLongestQueue = 4 * 1024 * 1024;

class LineReader {
public:
    explicit LineReader(std::size_t longest = kLongestLine) : longest_(longest) {}

    /// Takes what has arrived. False when the line that has begun is longer than allowed: where the next one
    /// begins can no longer be told, so the connection must be closed.
    bool Add(std::string_view bytes);

    /// The next whole line, without its end. None while the line is not whole.
    std::optional<std::string> Next();

    /// Whether a line has begun that has not ended: the other side broke off in the middle.
    bool HasHalfLine() const { return start_ < text_.size(); }

private:
    const std::size_t longest_;
    std::string text_;
    std::size_t start_ = 0;    // of the line that is read next
    std::size_t scanned_ = 0;  // up to here there is no line end behind start_
};

class LineQueue {
public:
    explicit LineQueue(std::size_t longest = kLongestQueue) : longest_(longest) {}

    /// Appends the line and its end. False, and nothing is appended, when the reader is too far behind: the
    /// connection must be closed, since a reader that missed a line would believe something wrong.
    bool Add(std::string_view line);

    /// What is to be sent next; empty when all is sent.
    std::string_view Waiting() const { return std::string_view(text_).substr(sent_); }
    /// So many bytes of it are sent.
    void Sent(std::size_t count);

private:
    const std::size_t longest_;
    std::string text_;
    std::size_t sent_ = 0;
};

}  // namespace telephony

#endif
