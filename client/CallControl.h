// A short conversation with call control over its unix socket. docs/calls-real.md describes the lines.
#ifndef CLIENT_CALLCONTROL_H
#define CLIENT_CALLCONTROL_H

#include <chrono>
#include <string>

#include "telephony/protocol/Command.h"
#include "telephony/protocol/Event.h"
#include "telephony/protocol/Lines.h"

class CallControl {
public:
    /// Connects, and asks for all events. Throws Unreachable. So do all others, too: when the connection
    /// breaks, when what comes makes no sense, and when the whole conversation takes longer than 5 s.
    explicit CallControl(std::string path);
    ~CallControl();
    CallControl(const CallControl&) = delete;
    CallControl& operator=(const CallControl&) = delete;

    /// All that is. Throws Failure with call control's words when it refuses to talk.
    telephony::Event Snapshot();
    /// The line that the snapshot came in.
    const std::string& Line() const { return line_; }

    void Send(const telephony::Command& command);
    telephony::Event Next();

private:
    using Clock = std::chrono::steady_clock;

    int Connect() const;
    void WaitFor(short events);
    [[noreturn]] void Fail(const std::string& why) const;

    const std::string path_;
    const Clock::time_point end_;
    const int socket_;
    telephony::LineReader reader_;
    std::string line_;  // read last
};

#endif
