#include "telephony/protocol/Lines.h"

namespace telephony {

bool LineReader::Add(std::string_view bytes) {
    text_.erase(0, start_);
    scanned_ -= start_;
    start_ = 0;
    text_.append(bytes);
    const std::size_t lastEnd = text_.rfind('\n');
    const std::size_t unfinished = lastEnd == std::string::npos ? text_.size() : text_.size() - lastEnd - 1;
    return unfinished <= longest_;
}

std::optional<std::string> LineReader::Next() {
    const std::size_t end = text_.find('\n', scanned_);
    if (end == std::string::npos) {
        scanned_ = text_.size();
        return std::nullopt;
    }
    std::string line = text_.substr(start_, end - start_);
    start_ = scanned_ = end + 1;
    return line;
}

bool LineQueue::Add(std::string_view line) {
    if (Waiting().size() + line.size() + 1 > longest_) return false;
    text_.append(line).push_back('\n');
    return true;
}

void LineQueue::Sent(std::size_t count) {
    sent_ += count;
    // Moving the rest forward costs as much as it is long; half the text is worth it.
    if (sent_ * 2 < text_.size()) return;
    text_.erase(0, sent_);
    sent_ = 0;
}

}  // namespace telephony
