// One connection: reads requests, has them answered, writes the answers, and follows the events
// when it is asked to.
#ifndef DRIVERHOST_HTTP_SERVER_SESSION_H
#define DRIVERHOST_HTTP_SERVER_SESSION_H

#include <boost/asio/ip/tcp.hpp>
#include <functional>
#include <memory>
#include <string>

#include "driverhost/http/routes/EventStream.h"
#include "driverhost/http/routes/Routes.h"
#include "driverhost/http/server/RequestReader.h"
#include "driverhost/runtime/DriverThread.h"
#include "driverhost/settings/Limits.h"

namespace driverhost {

class Session;

/// What all connections share. Not owned; outlives them.
struct SessionContext {
    Routes& routes;
    EventStream& events;
    Metrics& metrics;
    const Limits& limits;
    std::function<void(Session& session)> closed;  // told once
    std::size_t bodyBytes = 0;                     // of the large bodies of all connections
    bool releasedLargeBody = false;                // since somebody looked
};

/// All operations: [driver thread]
class Session final : public EventReader, public std::enable_shared_from_this<Session> {
public:
    Session(boost::asio::ip::tcp::socket socket, SessionContext& context);

    /// Serves the connection.
    void Start();
    /// Answers without reading anything, and closes.
    void Refuse(Response response);

    /// Looks whether a time has run out.
    void Tick(Clock::time_point now);

    /// Closes as soon as a request that is being answered has its answer.
    void Stop();

    // EventReader
    void OnEvents() override;

private:
    enum class Phase { Idle, Head, Body, Answering, Writing, Streaming, Lingering, Closed };
    using Duration = std::chrono::milliseconds;

    void Enter(Phase phase, Duration time);
    void Read();
    void OnRead(std::size_t bytes);
    void Proceed();
    void Admit();
    void Continue();
    void Answer();
    bool HoldBody();
    void RefuseBody();
    void ReleaseBody();
    void Write(Response response, bool keepAlive);
    void OnWritten();

    void BeginStream(Response response);
    void Pump();
    void SendToReader();
    void WatchReader();

    void Linger();
    void Drain();
    void Close();

    template <class Handler>
    auto Guarded(Handler handler);

    boost::asio::ip::tcp::socket socket_;
    SessionContext& context_;
    RequestReader reader_;
    Phase phase_ = Phase::Idle;
    Clock::time_point deadline_;
    bool stopping_ = false;
    bool keepAlive_ = false;
    std::size_t bodyBytes_ = 0;  // this connection's part of the context's

    // What is being written.
    std::string head_;
    std::string body_;

    // While streaming.
    bool sending_ = false;
    std::uint64_t nextEvent_ = 0;
    std::uint64_t newestWhenSent_ = 0;
    Clock::time_point lastSent_;
};

}  // namespace driverhost

#endif
