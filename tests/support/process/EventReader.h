// Follows GET /events, or another stream of events. Nothing is read between the calls, so a test sees a fixed
// sequence.
#ifndef TESTS_SUPPORT_PROCESS_EVENTREADER_H
#define TESTS_SUPPORT_PROCESS_EVENTREADER_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/process/HttpClient.h"

namespace test {

struct Event {
    std::string id;
    std::string type;  // empty for a UI notification
    std::string data;
};

class EventReader {
public:
    /// Begins behind `lastEventId`; "0" asks for all that is kept. Throws std::runtime_error when
    /// the stream is refused.
    EventReader(int port, const std::string& lastEventId);
    /// Another stream of events, from now on.
    static EventReader Of(int port, const std::string& path);

    /// What has come since the last call: waits until there are `count`, or the time is over.
    std::vector<Event> Take(std::size_t count, std::chrono::milliseconds most);

private:
    EventReader(int port, const HttpRequest& request);
    void Read(std::chrono::milliseconds most);
    void TakeLines();

    Connection connection_;
    std::optional<BodyDecoder> decoder_;
    std::string text_;  // not yet taken apart
    Event event_;       // being read
    std::vector<Event> events_;
};

}  // namespace test

#endif
