#include "driverhost/http/routes/EventStream.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "driverhost/http/rights/Rights.h"
#include "host/glue/Numbers.h"

namespace driverhost {

EventStream::EventStream(std::uint64_t firstId, const Limits& limits, Post post)
    : firstId_(firstId), limits_(limits), post_(std::move(post)), nextId_(firstId) {}

void EventStream::Publish(std::string_view element) {
    Kept event{"id: " + std::to_string(nextId_++) + "\ndata: ", 0};
    event.data = event.text.size();
    event.text.append(element).append("\n\n");
    keptBytes_ += event.text.size();
    kept_.push_back(std::move(event));
    while (kept_.size() > limits_.keptEvents || keptBytes_ > limits_.keptEventBytes)
        DropOldest();
    WakeReaders();
}

void EventStream::DropOldest() {
    const Kept& oldest = kept_.front();
    keptBytes_ -= oldest.text.size() + (oldest.narrowed ? oldest.narrowed->size() : 0);
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

// Empty when they are not told at all.
std::string_view EventStream::TextFor(Kept& event, Roles roles) {
    if ((roles & ROLE_ADMIN) != 0) return event.text;
    const std::string_view element = std::string_view(event.text).substr(event.data);
    const std::size_t end = element.find_first_of(" />");
    if (end == std::string_view::npos || !MayHear(roles, element.substr(1, end - 1))) return {};
    if (!event.narrowed) {
        event.narrowed = Narrowed(event.text);
        keptBytes_ += event.narrowed->size();
    }
    return *event.narrowed;
}

EventStream::Taken EventStream::Take(std::uint64_t& next, std::string& text, std::size_t maxBytes,
                                     Roles roles, std::uint64_t end) {
    end = std::min(end, nextId_);
    if (next < FirstKept()) return Taken::Lost;
    if (next >= end) return Taken::Nothing;
    const std::size_t before = text.size();
    do {
        text += TextFor(kept_[static_cast<std::size_t>(next++ - FirstKept())], roles);
    } while (next < end && text.size() < before + maxBytes);
    return text.size() > before ? Taken::Some : Taken::Nothing;
}

}  // namespace driverhost
