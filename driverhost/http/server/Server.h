// Accepts connections and owns them.
#ifndef DRIVERHOST_HTTP_SERVER_SERVER_H
#define DRIVERHOST_HTTP_SERVER_SERVER_H

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "driverhost/settings/Limits.h"
#include "driverhost/settings/ListenAddress.h"

namespace driverhost {

class DriverThread;
class EventStream;
class Metrics;
class Routes;
class TlsCertificate;

class ListenError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// All operations: [driver thread]
class Server {
public:
    /// Binds the address, and the unix socket when a path is given. Throws ListenError when that is
    /// not possible. Connections wait until Start.
    Server(DriverThread& thread, const ListenAddress& address, const Limits& limits,
           const std::string& socketPath = {});
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    /// The event loop must have stopped.
    ~Server();

    /// Before Start: the address speaks TLS with that certificate, which outlives this.
    void UseTls(const TlsCertificate& certificate);
    /// Before Start: listens there, too, for Door::Plain. Throws ListenError.
    void ListenPlain(const ListenAddress& address);

    /// The address, with the port that it really has.
    const ListenAddress& Address() const;
    /// The same of the plain port; none when there is none.
    std::optional<ListenAddress> PlainAddress() const;
    /// For the watchdog, which answers while the driver thread cannot.
    int ListeningSocket() const;

    void Start(Routes& routes, EventStream& events, Metrics& metrics);

    /// Stops accepting, closes idle connections, and calls `stopped` when the answers in progress are sent.
    void Stop(std::function<void()> stopped);

    std::size_t Connections() const;
    /// The size of all large request bodies together.
    std::size_t BodyBytes() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace driverhost

#endif
