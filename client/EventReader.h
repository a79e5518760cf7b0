// Takes a stream of server-sent events apart (WHATWG HTML, "Server-sent events").
#ifndef CLIENT_EVENTREADER_H
#define CLIENT_EVENTREADER_H

#include <functional>
#include <string>
#include <string_view>

struct Event {
    std::string type;  // empty for an ordinary one
    std::string data;
};

class EventReader {
public:
    using Receiver = std::function<void(const Event&)>;

    explicit EventReader(Receiver receiver) : receiver_(std::move(receiver)) {}

    /// Bytes as they come; a line may arrive in pieces.
    void Feed(std::string_view bytes);

    /// The id of the last event that was received whole; empty before the first one.
    const std::string& LastId() const { return lastId_; }

    /// A new connection: what was received of an unfinished event is forgotten.
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
