// One connection: reads requests, passes them to the routes, writes the answers, and sends events to a
// reader.
#ifndef DRIVERHOST_HTTP_SERVER_SESSION_H
#define DRIVERHOST_HTTP_SERVER_SESSION_H

#include <functional>
#include <memory>
#include <string>

#include "driverhost/http/routes/DriverReaders.h"
#include "driverhost/http/routes/EventStream.h"
#include "driverhost/http/routes/Routes.h"
#include "driverhost/http/server/ClientStream.h"
#include "driverhost/http/server/RequestReader.h"
#include "driverhost/runtime/DriverThread.h"
#include "driverhost/settings/Limits.h"

namespace driverhost {

class Session;

/// What all connections share. Outlives them.
struct SessionContext {
    Routes& routes;
    EventStream& events;
    Metrics& metrics;
    const Limits& limits;
    std::function<void(Session& session)> closed;  // called once
    std::size_t bodyBytes = 0;                     // size of the large bodies of all connections
    bool releasedLargeBody = false;                // since the last tick
};

/// All operations: [driver thread]
class Session final : public EventReader, public std::enable_shared_from_this<Session> {
public:
    using Socket = ClientStream::Socket;

    /// With `tls` the connection begins with a handshake.
    Session(Socket socket, std::shared_ptr<ClientStream::Context> tls, Door door, SessionContext& context);

    /// Begins to serve the connection.
    void Start();
    /// Answers without reading anything, then closes.
    void Refuse(Response response);

    /// Checks whether a time has run out.
    void Tick(Clock::time_point now);

    bool IsShakingHands() const { return phase_ == Phase::Handshake; }

    /// Closes now, or after the answer that is in progress.
    void Stop();

    // EventReader
    void OnEvents() override;

private:
    enum class Phase { Handshake, Idle, Head, Body, Answering, Writing, Streaming, Lingering, Closed };
    using Duration = std::chrono::milliseconds;

    void Enter(Phase phase, Duration time);
    void ShakeHands();
    Request Received() const;
    void Read();
    void OnRead(std::size_t bytes);
    void Proceed();
    void Admit();
    void Continue();
    void Answer();
    bool HoldBody();
    void RefuseBody();
    void ReleaseBody();
    void Write(Response response, bool keepAlive, bool onlyHead = false);
    void OnWritten();

    void BeginStream(Response response);
    Roles ReaderRoles() const;
    void Pump();
    void DropReader();
    void SendToReader();
    void WatchReader();

    void Linger();
    void EndSending();
    void Drain();
    void Close();

    template <class Handler>
    auto Guarded(Handler handler);

    ClientStream stream_;
    const Door door_;
    const std::string peer_;
    SessionContext& context_;
    RequestReader reader_;
    Phase phase_ = Phase::Idle;
    Clock::time_point deadline_;
    CallerPtr caller_;  // of the request, from its head on
    bool stopping_ = false;
    bool keepAlive_ = false;
    std::size_t bodyBytes_ = 0;  // this connection's share of the context's

    // Being written.
    std::string head_;
    std::string body_;
    std::shared_ptr<const std::string> sharedBody_;

    // While streaming.
    std::shared_ptr<DriverReader> driverReader_;  // on the stream of one driver's reader
    CallerPtr reads_;                             // whose rights the stream goes by
    bool sending_ = false;
    std::uint64_t nextEvent_ = 0;
    std::uint64_t newestWhenSent_ = 0;
    Clock::time_point lastSent_;
};

}  // namespace driverhost

#endif
