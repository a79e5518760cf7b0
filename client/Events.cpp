// intercomctl events.
#include <iostream>
#include <thread>

#include "client/Answers.h"
#include "client/Commands.h"
#include "client/EventReader.h"

namespace {

constexpr std::chrono::seconds kPause{1};  // between attempts
constexpr int kMostTries = 60;             // enough for a host that restarts

void Print(const Event& event) {
    if (event.type == "reset")
        std::cerr << "intercomctl: events were lost in between; ask again for what you need to know\n";
    std::cout << Indented(event.data).value_or(event.data + "\n");
}

// Follows the stream, over one connection after the other.
class Following {
public:
    Following(const Connection& connection, const Options& options)
        : connection_(connection), options_(options) {}

    /// Follows it over one connection until that breaks.
    [[noreturn]] void Run() {
        connected_ = false;
        reader_.BeginAnew();
        const std::string& received = reader_.LastId();
        const Answer answer =
            connection_.Follow("/events", received.empty() ? options_.since.value_or("") : received,
                               [this](std::string_view bytes) { Take(bytes); });
        CheckStatus(answer);
        throw Unreachable("the host ended the stream of events");
    }

    /// True if the last Run received a stream.
    bool HasConnected() const { return connected_; }

private:
    void Take(std::string_view bytes) {
        connected_ = true;
        if (options_.raw) std::cout << bytes;
        reader_.Feed(bytes);
        FlushOutput();
    }

    const Connection& connection_;
    const Options& options_;
    EventReader reader_{[this](const Event& event) {
        if (!options_.raw) Print(event);
    }};
    bool connected_ = false;
};

}  // namespace

void FollowEvents(const Connection& connection, const Options& options) {
    Following following(connection, options);
    for (int tries = kMostTries;; ++tries) {
        try {
            following.Run();
        } catch (const Unreachable& failure) {
            if (following.HasConnected()) {
                tries = 0;
                std::cerr << "intercomctl: " << failure.what() << "; trying again\n";
            } else if (tries >= kMostTries) {
                throw;
            }
        }
        std::this_thread::sleep_for(kPause);
    }
}
