#include "driverhost/http/routes/DriverReaders.h"

#include <utility>

namespace driverhost {

DriverReader::DriverReader(DriverReaders& readers, unsigned long number, const void* owner)
    : readers_(readers), number_(number), owner_(owner) {
    readers_.open_.emplace(number_, this);
}

DriverReader::~DriverReader() {
    readers_.open_.erase(number_);
    if (left_) left_();
}

bool DriverReader::Add(std::string text) {
    const Limits& limits = readers_.limits_;
    if (tooSlow_) return false;
    if (waiting_.size() < limits.readerQueue && waitingBytes_ + text.size() <= limits.readerBytes) {
        waitingBytes_ += text.size();
        waiting_.push_back({readers_.events_.NextId(), std::move(text)});
        return true;
    }
    tooSlow_ = true;
    waiting_.clear();
    return false;
}

EventStream::Taken DriverReader::Take(std::uint64_t& next, std::string& text, std::size_t maxBytes,
                                      Roles roles) {
    if (tooSlow_) return EventStream::Taken::Lost;
    const std::size_t empty = text.size();
    const std::size_t limit = empty + maxBytes;
    while (text.size() < limit) {
        const std::uint64_t end = waiting_.empty() ? readers_.events_.NextId() : waiting_.front().before;
        const auto taken = readers_.events_.Take(next, text, limit - text.size(), roles, end);
        if (taken == EventStream::Taken::Lost) return taken;
        if (taken == EventStream::Taken::Some) continue;
        if (waiting_.empty()) break;
        text += waiting_.front().text;
        waitingBytes_ -= waiting_.front().text.size();
        waiting_.pop_front();
    }
    return text.size() > empty ? EventStream::Taken::Some : EventStream::Taken::Nothing;
}

std::shared_ptr<DriverReader> DriverReaders::Open(Owner owner) {
    return std::make_shared<DriverReader>(*this, ++lastNumber_, owner);
}

bool DriverReaders::Send(Owner owner, unsigned long number, std::string_view element) {
    const auto found = open_.find(number);
    if (found == open_.end() || found->second->owner_ != owner) return false;
    events_.WakeReaders();
    return found->second->Add("event: tablet\ndata: " + std::string(element) + "\n\n");
}

void DriverReaders::CloseAll(Owner owner) {
    for (const auto& [number, reader] : open_) {
        if (reader->owner_ != owner) continue;
        reader->owner_ = nullptr;
        reader->left_ = nullptr;
    }
    events_.WakeReaders();
}

}  // namespace driverhost
