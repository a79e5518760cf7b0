// Keeps the drivers' notifications for readers, which follow them as server-sent events.
//
// The latest events are in one queue, and each reader has a position in it. So a reader needs no queue of its
// own, and a slow one costs the others nothing.
#ifndef DRIVERHOST_HTTP_ROUTES_EVENTSTREAM_H
#define DRIVERHOST_HTTP_ROUTES_EVENTSTREAM_H

#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "driverhost/http/Message.h"
#include "driverhost/settings/Limits.h"
#include "driverhost/settings/TokenFile.h"

namespace driverhost {

/// Is told when there are new events, but never during a call into a driver.
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

    /// `firstId` is the id of the first event. `post` runs work on this thread later.
    EventStream(std::uint64_t firstId, const Limits& limits, Post post);

    /// Adds a notification, as XML text. Readers are told later.
    void Publish(std::string_view element);

    /// Where the stream begins for a reader that has seen everything up to that id.
    StreamStart Begin(const std::optional<std::string_view>& lastEventId) const;

    enum class Taken { Nothing, Some, Lost };
    /// Appends the events from `next` on to `text`, about `maxBytes` of them, and moves `next` past them:
    /// those that the roles may hear, and as much of each as they may see. Lost when the event `next` is no
    /// longer kept. The event `end`, and those after it, are left.
    Taken Take(std::uint64_t& next, std::string& text, std::size_t maxBytes, Roles roles,
               std::uint64_t end = std::numeric_limits<std::uint64_t>::max());

    /// The id of the next event.
    std::uint64_t NextId() const { return nextId_; }

    /// The reader must be removed before it is destroyed.
    void AddReader(EventReader& reader) { readers_.insert(&reader); }
    void RemoveReader(EventReader& reader) { readers_.erase(&reader); }
    std::size_t Readers() const { return readers_.size(); }
    /// Has the readers look later for what there is, once however often it is called until then.
    void WakeReaders();

private:
    struct Kept {
        std::string text;                          // as it is sent
        std::size_t data;                          // where the element begins in it
        std::optional<std::string> narrowed = {};  // for all but admin, made for the first of them
    };

    std::string_view TextFor(Kept& event, Roles roles);
    std::uint64_t FirstKept() const { return nextId_ - kept_.size(); }
    void DropOldest();

    const std::uint64_t firstId_;
    const Limits& limits_;
    const Post post_;
    std::deque<Kept> kept_;  // the newest last
    std::size_t keptBytes_ = 0;
    std::uint64_t nextId_;
    std::unordered_set<EventReader*> readers_;  // not owned
    bool waking_ = false;
};

/// The beginning of a stream when events were lost.
inline constexpr std::string_view kResetEvent = "event: reset\ndata: <reset/>\n\n";
/// A comment line, which readers skip. It shows that the connection is alive.
inline constexpr std::string_view kEventComment = ":\n\n";

}  // namespace driverhost

#endif
