#include "driverhost/http/server/Server.h"

#include <fcntl.h>
#include <malloc.h>

#include <boost/asio/ip/tcp.hpp>
#include <optional>
#include <unordered_set>
#include <utility>
#include <vector>

#include "driverhost/http/server/LocalSocket.h"
#include "driverhost/http/server/Session.h"
#include "driverhost/http/server/TlsCertificate.h"
#include "driverhost/runtime/HostLog.h"
#include "host/glue/Log.h"

namespace driverhost {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using ErrorCode = boost::system::error_code;

constexpr std::chrono::milliseconds kAcceptPause{1000};  // after the system could not give another connection

// Programs that drivers start must not inherit connections.
void CloseOnExec(int socket) {
    fcntl(socket, F_SETFD, FD_CLOEXEC);
}

// Sets the port that it really has. Throws ListenError.
void Bind(tcp::acceptor& acceptor, ListenAddress& address, const char* option) {
    try {
        const tcp::endpoint endpoint(asio::ip::make_address(address.ip), address.port);
        acceptor.open(endpoint.protocol());
        CloseOnExec(acceptor.native_handle());
        acceptor.set_option(tcp::acceptor::reuse_address(true));
        acceptor.bind(endpoint);
        acceptor.listen();
        acceptor.non_blocking(true);
        address.port = acceptor.local_endpoint().port();
    } catch (const boost::system::system_error& error) {
        throw ListenError("cannot listen on " + address.ToText() + ": " + error.code().message() +
                          "; choose another address with " + option);
    }
}

}  // namespace

class Server::Impl {
public:
    Impl(DriverThread& thread, const ListenAddress& address, const Limits& limits,
         const std::string& socketPath);
    ~Impl();

    void Start(Routes& routes, EventStream& events, Metrics& metrics);
    void Stop(std::function<void()> stopped);
    void ListenPlain(const ListenAddress& wanted);

    std::size_t BodyBytes() const { return context_ ? context_->bodyBytes : 0; }

    ListenAddress address;
    tcp::acceptor acceptor;
    std::optional<ListenAddress> plainAddress;
    std::optional<tcp::acceptor> plain;
    std::optional<LocalSocket> local;
    const TlsCertificate* certificate = nullptr;
    std::unordered_set<std::shared_ptr<Session>> sessions;

private:
    template <class Acceptor>
    void Accept(Acceptor& from);
    template <class Acceptor>
    void OnAccepted(Acceptor& from, const ErrorCode& error, Session::Socket socket);
    void Admit(const tcp::acceptor& from, Session::Socket socket);
    void Admit(const LocalSocket::Protocol::acceptor& from, Session::Socket socket);
    void Serve(Session::Socket socket, Door door);
    void MakeRoomForHandshake();
    void Tick();
    void OnClosed(Session& session);

    DriverThread& thread_;
    const Limits& limits_;
    std::optional<SessionContext> context_;
    std::function<void()> stopped_;
    std::vector<std::weak_ptr<Session>> handshakes_;  // the oldest first; those that are done leave later
};

Server::Impl::Impl(DriverThread& thread, const ListenAddress& wanted, const Limits& limits,
                   const std::string& socketPath)
    : address(wanted), acceptor(thread.Loop()), thread_(thread), limits_(limits) {
    Bind(acceptor, address, "--listen");
    if (!socketPath.empty()) local.emplace(thread.Loop(), socketPath);
}

// Handlers that are still in the loop must not use the context, which is destroyed here.
Server::Impl::~Impl() {
    for (const auto& session : std::vector(sessions.begin(), sessions.end()))
        session->Stop();
}

void Server::Impl::Start(Routes& routes, EventStream& events, Metrics& metrics) {
    context_.emplace(
        SessionContext{routes, events, metrics, limits_, [this](Session& session) { OnClosed(session); }});
    Accept(acceptor);
    if (plain) Accept(*plain);
    if (local) Accept(local->Acceptor());
    Tick();
}

void Server::Impl::ListenPlain(const ListenAddress& wanted) {
    plainAddress = wanted;
    plain.emplace(thread_.Loop());
    Bind(*plain, *plainAddress, "--plain-listen");
}

template <class Acceptor>
void Server::Impl::Accept(Acceptor& from) {
    from.async_accept([this, &from](const ErrorCode& error, auto socket) {
        this->OnAccepted(from, error, std::move(socket));
    });
}

template <class Acceptor>
void Server::Impl::OnAccepted(Acceptor& from, const ErrorCode& error, Session::Socket socket) {
    if (!from.is_open()) return;
    if (!error) {
        Admit(from, std::move(socket));
        return Accept(from);
    }
    if (error == asio::error::connection_aborted) return Accept(from);  // the client gave up
    HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName, "cannot accept connections: " + error.message());
    thread_.After(kAcceptPause, [this, &from] {
        if (from.is_open()) Accept(from);
    });
}

void Server::Impl::Admit(const tcp::acceptor& from, Session::Socket socket) {
    ErrorCode ignored;  // reading will show if the connection is gone
    socket.set_option(tcp::no_delay(true), ignored);
    Serve(std::move(socket), plain && &from == &*plain ? Door::Plain : Door::Network);
}

// The file's mode keeps others out; a descriptor may have been handed on all the same.
void Server::Impl::Admit(const LocalSocket::Protocol::acceptor&, Session::Socket socket) {
    if (LocalSocket::IsOwnUser(socket.native_handle())) return Serve(std::move(socket), Door::Local);
    HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName, "another user's program was refused on " + local->Path());
}

void Server::Impl::Serve(Session::Socket socket, Door door) {
    CloseOnExec(socket.native_handle());
    if (sessions.size() >= limits_.connections + limits_.refusals) return;  // closed without an answer
    const bool full = sessions.size() >= limits_.connections;
    const bool isTls = certificate && door == Door::Network;
    if (full && isTls) return;  // an answer would take a handshake, which is the dearest part
    if (isTls) MakeRoomForHandshake();
    const auto session = std::make_shared<Session>(
        std::move(socket), isTls ? certificate->GetContext() : nullptr, door, *context_);
    sessions.insert(session);
    if (isTls) handshakes_.push_back(session);
    if (!full) return session->Start();
    session->Refuse(ErrorResponse(503, "too many connections; try again later"));
}

// The oldest ones give way: a client that means it is done in a few round trips, and one that holds its
// place without saying anything is not to keep others out.
void Server::Impl::MakeRoomForHandshake() {
    std::erase_if(handshakes_, [](const auto& weak) {
        const auto session = weak.lock();
        return !session || !session->IsShakingHands();
    });
    if (handshakes_.size() < limits_.handshakes) return;
    if (const auto oldest = handshakes_.front().lock()) oldest->Stop();
    handshakes_.erase(handshakes_.begin());
}

void Server::Impl::Tick() {
    const Clock::time_point now = Clock::now();
    for (const auto& session : std::vector(sessions.begin(), sessions.end()))
        session->Tick(now);
    // What was made from a large body was in many small pieces, which the heap keeps after they are freed.
    if (std::exchange(context_->releasedLargeBody, false)) malloc_trim(0);
    thread_.After(limits_.tick, [this] { Tick(); });
}

void Server::Impl::OnClosed(Session& session) {
    sessions.erase(session.shared_from_this());
    if (sessions.empty() && stopped_) thread_.Post(std::exchange(stopped_, {}));
}

void Server::Impl::Stop(std::function<void()> stopped) {
    ErrorCode ignored;  // it stops accepting either way
    acceptor.close(ignored);
    if (plain) plain->close(ignored);
    if (local) local->Acceptor().close(ignored);
    stopped_ = std::move(stopped);
    for (const auto& session : std::vector(sessions.begin(), sessions.end()))
        session->Stop();
    if (sessions.empty() && stopped_) thread_.Post(std::exchange(stopped_, {}));
}

Server::Server(DriverThread& thread, const ListenAddress& address, const Limits& limits,
               const std::string& socketPath)
    : impl_(std::make_unique<Impl>(thread, address, limits, socketPath)) {}

Server::~Server() = default;

void Server::UseTls(const TlsCertificate& certificate) {
    impl_->certificate = &certificate;
}

void Server::ListenPlain(const ListenAddress& address) {
    impl_->ListenPlain(address);
}

std::optional<ListenAddress> Server::PlainAddress() const {
    return impl_->plainAddress;
}

const ListenAddress& Server::Address() const {
    return impl_->address;
}

int Server::ListeningSocket() const {
    return impl_->acceptor.native_handle();
}

void Server::Start(Routes& routes, EventStream& events, Metrics& metrics) {
    impl_->Start(routes, events, metrics);
}

void Server::Stop(std::function<void()> stopped) {
    impl_->Stop(std::move(stopped));
}

std::size_t Server::Connections() const {
    return impl_->sessions.size();
}

std::size_t Server::BodyBytes() const {
    return impl_->BodyBytes();
}

}  // namespace driverhost
