#include "tests/support/process/EventReader.h"

#include <stdexcept>
#include <utility>

#include "tests/support/process/Patience.h"

namespace test {

namespace {

using std::chrono::steady_clock;

std::string ValueOf(const std::string& line) {
    const auto begin = line.find_first_not_of(' ', line.find(':') + 1);
    return begin == std::string::npos ? "" : line.substr(begin);
}

}  // namespace

EventReader::EventReader(int port, const std::string& lastEventId)
    : EventReader(port, HttpRequest{"GET", "/events", {{"Last-Event-ID", lastEventId}}, ""}) {}

EventReader EventReader::Of(int port, const std::string& path) {
    return EventReader(port, HttpRequest{"GET", path});
}

EventReader::EventReader(int port, const HttpRequest& request) : connection_(port) {
    connection_.Send(TextOf(request, true));
    const auto end = steady_clock::now() + kPatience;
    while (text_.find("\r\n\r\n") == std::string::npos) {
        if (connection_.Ended() || steady_clock::now() > end)
            throw std::runtime_error("no event stream: " + text_);
        text_ += connection_.Receive(std::chrono::seconds(1));
    }
    const std::string head = text_.substr(0, text_.find("\r\n\r\n") + 4);
    if (!head.starts_with("HTTP/1.1 200")) throw std::runtime_error("no event stream: " + text_);
    decoder_.emplace(head);
    text_ = decoder_->Decode(text_.substr(head.size()));
    TakeLines();
}

std::vector<Event> EventReader::Take(std::size_t count, std::chrono::milliseconds most) {
    const auto end = steady_clock::now() + most;
    Read(std::chrono::milliseconds(0));
    while (events_.size() < count && steady_clock::now() < end && !connection_.Ended())
        Read(std::chrono::milliseconds(20));
    return std::exchange(events_, {});
}

void EventReader::Read(std::chrono::milliseconds most) {
    for (std::string bytes = connection_.Receive(most); !bytes.empty();
         bytes = connection_.Receive(std::chrono::milliseconds(0)))
        text_ += decoder_->Decode(bytes);
    TakeLines();
}

void EventReader::TakeLines() {
    for (auto end = text_.find('\n'); end != std::string::npos; end = text_.find('\n')) {
        const std::string line = text_.substr(0, end > 0 && text_[end - 1] == '\r' ? end - 1 : end);
        text_.erase(0, end + 1);
        if (line.starts_with("id:")) event_.id = ValueOf(line);
        if (line.starts_with("event:")) event_.type = ValueOf(line);
        if (line.starts_with("data:")) event_.data = ValueOf(line);
        if (!line.empty()) continue;
        if (!event_.data.empty()) events_.push_back(event_);
        event_ = {};
    }
}

}  // namespace test
