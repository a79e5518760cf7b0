// The readers of single drivers: each follows the notifications that everybody gets, and in between what its
// driver sends to it alone.
#ifndef DRIVERHOST_HTTP_ROUTES_DRIVERREADERS_H
#define DRIVERHOST_HTTP_ROUTES_DRIVERREADERS_H

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "driverhost/http/routes/EventStream.h"
#include "driverhost/settings/Limits.h"

namespace driverhost {

class DriverReaders;

/// One reader. Whoever serves its stream holds it, and the reader is gone when it is let go.
/// All operations: [driver thread]
class DriverReader {
public:
    DriverReader(DriverReaders& readers, unsigned long number, const void* owner);
    DriverReader(const DriverReader&) = delete;
    DriverReader& operator=(const DriverReader&) = delete;
    ~DriverReader();

    unsigned long Number() const { return number_; }

    /// `left` is called when the reader is gone, unless its driver has ended before.
    void WhenLeft(std::function<void()> left) { left_ = std::move(left); }

    /// As EventStream::Take, with what the driver has sent at its place in between. Lost, too, when more
    /// was sent than may wait.
    EventStream::Taken Take(std::uint64_t& next, std::string& text, std::size_t maxBytes, Roles roles);

    /// More was sent than may wait: the stream is to be broken off.
    bool IsTooSlow() const { return tooSlow_; }
    /// The driver has ended: when everything is taken, so is the stream.
    bool IsOver() const { return owner_ == nullptr; }

private:
    friend class DriverReaders;

    struct Sent {
        std::uint64_t before;  // the id of the notification that follows it
        std::string text;
    };

    bool Add(std::string text);

    DriverReaders& readers_;
    const unsigned long number_;
    const void* owner_;  // only compared; null once the driver has ended
    std::function<void()> left_;
    std::deque<Sent> waiting_;
    std::size_t waitingBytes_ = 0;
    bool tooSlow_ = false;
};

/// All operations: [driver thread]
class DriverReaders {
public:
    /// Identifies a driver instance; only compared.
    using Owner = const void*;

    /// `events` are the notifications that all readers get.
    DriverReaders(EventStream& events, const Limits& limits) : events_(events), limits_(limits) {}

    /// A new reader of that driver.
    std::shared_ptr<DriverReader> Open(Owner owner);

    /// Sends an element, as XML text. False when that driver has no such reader, or the reader is dropped
    /// because too much waits for it already. Calls nobody back.
    bool Send(Owner owner, unsigned long number, std::string_view element);

    /// The driver ends: its streams do, too, and nobody is told.
    void CloseAll(Owner owner);

private:
    friend class DriverReader;

    EventStream& events_;
    const Limits& limits_;
    std::unordered_map<unsigned long, DriverReader*> open_;  // not owned
    unsigned long lastNumber_ = 0;
};

}  // namespace driverhost

#endif
