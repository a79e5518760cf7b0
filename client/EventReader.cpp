#include "client/EventReader.h"

void EventReader::Feed(std::string_view bytes) {
    for (const char byte : bytes) {
        if (byte != '\n') {
            line_ += byte;
            continue;
        }
        if (line_.ends_with('\r')) line_.pop_back();
        const std::string line = std::move(line_);
        line_.clear();
        TakeLine(line);
    }
}

void EventReader::TakeLine(std::string_view line) {
    if (line.empty()) return Finish();
    const std::size_t colon = line.find(':');
    const std::string_view field = line.substr(0, colon);
    std::string_view value = colon == std::string_view::npos ? "" : line.substr(colon + 1);
    if (value.starts_with(' ')) value.remove_prefix(1);
    if (field == "id") id_ = value;
    if (field == "event") event_.type = value;
    if (field != "data") return;
    if (hasData_) event_.data += '\n';
    event_.data += value;
    hasData_ = true;
}

void EventReader::Finish() {
    lastId_ = id_;
    if (hasData_) receiver_(event_);
    event_ = {};
    hasData_ = false;
}

void EventReader::BeginAnew() {
    line_.clear();
    id_ = lastId_;
    event_ = {};
    hasData_ = false;
}
