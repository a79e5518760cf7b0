#include "driverhost/http/routes/EventStream.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "host/glue/Numbers.h"

namespace driverhost {

EventStream::EventStream(std::uint64_t firstId, const Limits& limits, Post post)
    : firstId_(firstId), limits_(limits), post_(std::move(post)), nextId_(firstId) {}

void EventStream::Publish(std::string_view element) {
    std::string text = "id: " + std::to_string(nextId_++) + "\ndata: ";
    text.append(element).append("\n\n");
    keptBytes_ += text.size();
    kept_.push_back(std::move(text));
    while (kept_.size() > limits_.keptEvents || keptBytes_ > limits_.keptEventBytes)
        DropOldest();
    WakeReaders();
}

void EventStream::DropOldest() {
    keptBytes_ -= kept_.front().size();
    kept_.pop_front();
}

void EventStream::WakeReaders() {
    if (readers_.empty() || std::exchange(waking_, true)) return;
    post_([this] {
        waking_ = false;
        const std::vector<EventReader*> walked(readers_.begin(), readers_.end());
        for (EventReader* reader : walked)
            if (readers_.contains(reader)) reader->OnEvents();
    });
}

StreamStart EventStream::Begin(const std::optional<std::string_view>& lastEventId) const {
    if (!lastEventId || lastEventId->empty()) return {nextId_, false};
    const auto seen = dv::ParseWhole<std::uint64_t>(*lastEventId);
    if (seen && *seen == 0) return {FirstKept(), false};
    const bool isKnown = seen && *seen >= firstId_ && *seen < nextId_;
    if (isKnown && *seen + 1 >= FirstKept()) return {*seen + 1, false};
    return {FirstKept(), true};
}

EventStream::Taken EventStream::Take(std::uint64_t& next, std::string& text, std::size_t maxBytes,
                                     std::uint64_t end) const {
    end = std::min(end, nextId_);
    if (next < FirstKept()) return Taken::Lost;
    if (next >= end) return Taken::Nothing;
    const std::size_t limit = text.size() + maxBytes;
    do {
        text += kept_[static_cast<std::size_t>(next++ - FirstKept())];
    } while (next < end && text.size() < limit);
    return Taken::Some;
}

}  // namespace driverhost
