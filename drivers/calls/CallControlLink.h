// A device's connection to call control: one unix socket, read and written by a thread of its own, which
// connects again whenever the connection is lost. docs/calls-real.md describes the lines.
#ifndef DRIVERS_CALLS_CALLCONTROLLINK_H
#define DRIVERS_CALLS_CALLCONTROLLINK_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "telephony/protocol/Command.h"
#include "telephony/protocol/Event.h"
#include "telephony/protocol/Lines.h"

class IInstanceManager;

/// Whoever uses the link.  All operations: [driver thread]
class CallControlUser {
public:
    /// The first event of a connection is a snapshot.
    virtual void OnCallControlEvent(const telephony::Event& event) = 0;
    /// The connection is lost, or none could be made; called once for each reason. It is tried again.
    virtual void OnCallControlLost(const std::string& reason) = 0;

protected:
    ~CallControlUser() = default;
};

/// All operations: [driver thread]. None of them waits for call control.
class CallControlLink {
public:
    struct Times {
        std::chrono::milliseconds firstRetry{100};
        std::chrono::milliseconds longestRetry{5000};  // the time between tries doubles up to this
        std::chrono::milliseconds answer{10000};       // who takes longer to answer hangs
        std::chrono::milliseconds idle{20000};         // a silent connection is tested this often
    };

    /// Connects at once, and says that it speaks for `device`. The manager and the user outlive the link.
    CallControlLink(IInstanceManager& instanceManager, CallControlUser& user, std::string path,
                    telephony::Device device, Times times);
    /// Returns when the thread has ended, which is at once. The user hears nothing more.
    ~CallControlLink();
    CallControlLink(const CallControlLink&) = delete;
    CallControlLink& operator=(const CallControlLink&) = delete;

    /// False, and nothing is sent, unless the user has seen a snapshot of the connection that stands.
    bool Send(const telephony::Command& command);

private:
    struct Conversation;

    // The thread's.
    void Run();
    int Connect(std::string& trouble) const;
    /// Until the connection ends; why it did. `spoke`: call control has answered.
    std::string Serve(int socket, bool& spoke);
    std::string Receive(Conversation& conversation);
    std::string Take(Conversation& conversation, const std::string& line);
    std::string Transmit(int socket);
    void Ask(const telephony::Command& question);
    bool IsEnding();
    /// Waits; true when the link is to end.
    bool EndsWithin(std::chrono::milliseconds time);
    void PostEvent(telephony::Event event);
    void PostLost(const std::string& reason);

    // Constant after construction.
    IInstanceManager& instanceManager_;
    CallControlUser& user_;
    const std::string path_;
    const telephony::Device device_;
    const Times times_;
    int wakeup_ = -1;  // an eventfd: something is to be sent, or the link ends

    // The driver thread's.
    std::shared_ptr<CallControlLink*> alive_;  // work that is posted holds it weakly
    std::uint64_t seen_ = 0;                   // the connection whose snapshot the user has seen

    // Both threads', under the mutex.
    std::mutex mutex_;
    std::unique_ptr<telephony::LineQueue> queue_;  // of the connection that stands; else null
    std::uint64_t connection_ = 0;                 // its number
    bool asked_ = false;                           // all lines in the queue are followed by a question
    bool overflown_ = false;
    bool ending_ = false;

    std::thread thread_;
};

#endif
