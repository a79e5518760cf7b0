// Parses a stream of server-sent events (WHATWG HTML, "Server-sent events").
#ifndef CLIENT_EVENTREADER_H
#define CLIENT_EVENTREADER_H

#include <functional>
#include <string>
#include <string_view>

struct Event {
    std::string type;  // mostly empty
    std::string data;
};

class EventReader {
public:
    using Receiver = std::function<void(const Event&)>;

    explicit EventReader(Receiver receiver) : receiver_(std::move(receiver)) {}

    /// Takes bytes as they arrive. A line may come in pieces.
    void Feed(std::string_view bytes);

    /// The id of the last complete event; empty before the first one.
    const std::string& LastId() const { return lastId_; }

    /// Begins a new connection: drops the incomplete event of the last one.
    void BeginAnew();

private:
    void TakeLine(std::string_view line);
    void Finish();

    Receiver receiver_;
    std::string line_;
    std::string id_;
    std::string lastId_;
    Event event_;
    bool hasData_ = false;
};

#endif
