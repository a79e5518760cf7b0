// The notifications of all drivers, kept for readers that follow them as server-sent events.
//
// The last events stay in a ring. A reader is a position in it, so it needs no queue of its own,
// and one that stands still costs the others nothing.
#ifndef DRIVERHOST_HTTP_ROUTES_EVENTSTREAM_H
#define DRIVERHOST_HTTP_ROUTES_EVENTSTREAM_H

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "driverhost/http/Message.h"
#include "driverhost/settings/Limits.h"

namespace driverhost {

/// Told that there is something new, never inside a call into a driver.
class EventReader {
public:
    virtual void OnEvents() = 0;

protected:
    ~EventReader() = default;
};

/// All operations: [driver thread]
class EventStream {
public:
    using Post = std::function<void(std::function<void()>)>;

    /// `firstId` is the id of the first event; `post` runs work later on this thread.
    EventStream(std::uint64_t firstId, const Limits& limits, Post post);

    /// One notification, as XML text. Calls no reader.
    void Publish(std::string_view element);

    /// Where a reader begins that says it has seen everything up to that id.
    StreamStart Begin(const std::optional<std::string_view>& lastEventId) const;

    enum class Taken { Nothing, Some, Lost };
    /// Appends the events from `next` on to `text`, some `maxBytes` at most, and moves `next` behind
    /// them. Lost when the event is not kept any more.
    Taken Take(std::uint64_t& next, std::string& text, std::size_t maxBytes) const;

    /// The id that the next event will get.
    std::uint64_t NextId() const { return nextId_; }

    /// The reader must be taken away before it goes.
    void AddReader(EventReader& reader) { readers_.insert(&reader); }
    void RemoveReader(EventReader& reader) { readers_.erase(&reader); }
    std::size_t Readers() const { return readers_.size(); }

private:
    std::uint64_t FirstKept() const { return nextId_ - kept_.size(); }
    void DropOldest();
    void WakeReaders();

    const std::uint64_t firstId_;
    const Limits& limits_;
    const Post post_;
    std::deque<std::string> kept_;  // ready to be sent, the newest last
    std::size_t keptBytes_ = 0;
    std::uint64_t nextId_;
    std::unordered_set<EventReader*> readers_;  // not owned
    bool waking_ = false;
};

/// What a stream begins with when something is lost.
inline constexpr std::string_view kResetEvent = "event: reset\ndata: <reset/>\n\n";
/// A sign of life; readers skip it.
inline constexpr std::string_view kEventComment = ":\n\n";

}  // namespace driverhost

#endif
