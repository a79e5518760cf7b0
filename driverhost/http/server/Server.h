// Listens, and keeps the connections.
#ifndef DRIVERHOST_HTTP_SERVER_SERVER_H
#define DRIVERHOST_HTTP_SERVER_SERVER_H

#include <functional>
#include <memory>
#include <stdexcept>

#include "driverhost/settings/Limits.h"
#include "driverhost/settings/ListenAddress.h"

namespace driverhost {

class DriverThread;
class EventStream;
class Metrics;
class Routes;

class ListenError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// All operations: [driver thread]
class Server {
public:
    /// Takes the address; throws ListenError when it cannot be had. Connections wait until Start.
    Server(DriverThread& thread, const ListenAddress& address, const Limits& limits);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    /// The loop must not run any more.
    ~Server();

    /// The address with the port that was really taken.
    const ListenAddress& Address() const;
    /// For whoever answers while the driver thread cannot.
    int ListeningSocket() const;

    void Start(Routes& routes, EventStream& events, Metrics& metrics);

    /// Accepts no more, closes what is idle, and tells when the answers under way are out.
    void Stop(std::function<void()> stopped);

    std::size_t Connections() const;
    /// The size of the large bodies of all requests.
    std::size_t BodyBytes() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace driverhost

#endif
