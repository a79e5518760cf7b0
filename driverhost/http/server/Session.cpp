#include "driverhost/http/server/Session.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <cstring>
#include <utility>

#include "driverhost/http/rights/Callers.h"
#include "driverhost/runtime/HostLog.h"
#include "host/glue/Log.h"

namespace driverhost {
namespace {

namespace asio = boost::asio;
using ErrorCode = boost::system::error_code;

constexpr std::size_t kStreamBytes = 64 * 1024;  // of events in one write
constexpr std::chrono::hours kNoLimit{24 * 365};
constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr std::size_t kNetworkBytes = 8;  // of an IPv6 address: the rest is its owner's choice

// The address, without what one machine can change of it at will; empty for a unix socket.
std::string PeerOf(const ClientStream::Socket& socket) {
    ErrorCode gone;
    const auto endpoint = socket.remote_endpoint(gone);
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (gone || (endpoint.protocol().family() != AF_INET && endpoint.protocol().family() != AF_INET6))
        return {};
    if (endpoint.protocol().family() == AF_INET) {
        sockaddr_in address{};
        std::memcpy(&address, endpoint.data(), sizeof address);
        return inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
    }
    sockaddr_in6 address{};
    std::memcpy(&address, endpoint.data(), sizeof address);
    if (!IN6_IS_ADDR_V4MAPPED(&address.sin6_addr))
        std::memset(&address.sin6_addr.s6_addr[kNetworkBytes], 0, sizeof(in6_addr) - kNetworkBytes);
    return inet_ntop(AF_INET6, &address.sin6_addr, text.data(), text.size());
}

}  // namespace

Session::Session(Socket socket, std::shared_ptr<ClientStream::Context> tls, Door door,
                 SessionContext& context)
    : stream_(std::move(socket), std::move(tls)),
      door_(door),
      peer_(PeerOf(stream_.GetSocket())),
      context_(context),
      reader_(context.limits.headBytes, context.limits.stateBytes) {}

// Wraps a handler so that it keeps the session alive and does nothing once the connection is closed.
template <class Handler>
auto Session::Guarded(Handler handler) {
    return [self = shared_from_this(), handler](const ErrorCode& error, std::size_t bytes) {
        if (self->phase_ == Phase::Closed || error == asio::error::operation_aborted) return;
        if (error) return self->Close();
        handler(*self, bytes);
    };
}

void Session::Start() {
    if (stream_.IsTls()) return ShakeHands();
    Enter(Phase::Idle, context_.limits.idleTime);
    Read();
}

void Session::ShakeHands() {
    Enter(Phase::Handshake, context_.limits.handshakeTime);
    const auto shaken = Guarded([](Session& self, std::size_t) {
        self.Enter(Phase::Idle, self.context_.limits.idleTime);
        self.Read();
    });
    stream_.AsyncShakeHands([shaken](const ErrorCode& error) { shaken(error, 0); });
}

void Session::Refuse(Response response) {
    Write(std::move(response), false);
}

void Session::Tick(Clock::time_point now) {
    if (phase_ == Phase::Streaming && !sending_ && now - lastSent_ >= context_.limits.commentTime) {
        body_ = kEventComment;
        SendToReader();
    }
    if (now < deadline_) return;
    if (phase_ == Phase::Head || phase_ == Phase::Body) {
        return Write(ErrorResponse(408, "the request did not arrive in time; send it again"), false);
    }
    Close();
}

void Session::Stop() {
    stopping_ = true;
    if (phase_ == Phase::Answering || phase_ == Phase::Writing || phase_ == Phase::Lingering) return;
    Close();
}

void Session::Enter(Phase phase, Duration time) {
    phase_ = phase;
    deadline_ = CoarseNow() + time;
}

void Session::Read() {
    const auto room = reader_.Prepare();
    stream_.async_read_some(asio::buffer(room.data(), room.size()),
                            Guarded([](Session& self, std::size_t bytes) { self.OnRead(bytes); }));
}

void Session::OnRead(std::size_t bytes) {
    if (phase_ == Phase::Lingering) return Drain();
    if (phase_ == Phase::Streaming) return WatchReader();
    if (phase_ == Phase::Writing) return;  // too late: the answer is being written
    reader_.Commit(bytes);
    Proceed();
}

void Session::Proceed() {
    switch (reader_.Advance()) {
        case RequestReader::Progress::NeedHead:
            if (phase_ == Phase::Idle && reader_.HasBegun()) Enter(Phase::Head, context_.limits.headTime);
            return Read();
        case RequestReader::Progress::HeadDone:
            return Admit();
        case RequestReader::Progress::NeedBody:
            return HoldBody() ? Read() : RefuseBody();
        case RequestReader::Progress::Done:
            return HoldBody() ? Answer() : RefuseBody();
        case RequestReader::Progress::Failed:
            return Write(reader_.Failure(), false);
    }
}

Request Session::Received() const {
    Request request = reader_.Get();
    request.door = door_;
    request.peer = peer_;
    request.caller = caller_;
    return request;
}

// Checks the head before the body is read, so that strangers cannot make the host hold large bodies.
void Session::Admit() {
    caller_.reset();
    Routes::Admission admission = context_.routes.Admit(Received());
    caller_ = std::move(admission.caller);
    if (admission.refusal) return Write(std::move(*admission.refusal), false);
    const std::size_t bodyLimit = std::min(admission.bodyLimit, context_.limits.totalBodyBytes);
    if (!reader_.LimitBody(bodyLimit)) return Write(reader_.Failure(), false);
    if (!HoldBody()) return RefuseBody();
    Enter(Phase::Body, context_.limits.bodyTime);
    if (reader_.ExpectsContinue()) return Continue();
    Proceed();
}

void Session::Continue() {
    asio::async_write(stream_, asio::buffer(kContinue),
                      Guarded([](Session& self, std::size_t) { self.Proceed(); }));
}

void Session::Answer() {
    Enter(Phase::Answering, kNoLimit);
    const Request request = Received();
    const bool onlyHead = request.method == "HEAD";
    context_.routes.Answer(request, [self = shared_from_this(), onlyHead](Response response) {
        if (self->phase_ != Phase::Answering) return;
        if (response.stream) return self->BeginStream(std::move(response));
        self->Write(std::move(response), self->reader_.KeepAlive() && !self->stopping_, onlyHead);
    });
}

// Adds this connection's body, as far as its size is known, to those of the others. False when there is no
// room for it.
bool Session::HoldBody() {
    const std::size_t others = context_.bodyBytes - bodyBytes_;
    const std::size_t bytes = reader_.BodyBytes();
    if (bytes > context_.limits.totalBodyBytes - others) return false;
    context_.bodyBytes = others + bytes;
    bodyBytes_ = bytes;
    return true;
}

void Session::RefuseBody() {
    Write(ErrorResponse(503, "other requests take up the " + std::to_string(context_.limits.totalBodyBytes) +
                                 " bytes that the host has for large bodies; try again later"),
          false);
}

void Session::ReleaseBody() {
    reader_.ForgetBody();
    if (bodyBytes_ > 0) context_.releasedLargeBody = true;
    context_.bodyBytes -= std::exchange(bodyBytes_, 0);
}

void Session::Write(Response response, bool keepAlive, bool onlyHead) {
    ReleaseBody();
    context_.metrics.CountResponse(response.status);
    Enter(Phase::Writing, context_.limits.writeTime);
    ErrorCode ignored;  // there may be nothing to cancel
    stream_.GetSocket().cancel(ignored);
    keepAlive_ = keepAlive;
    head_ = FormatHead(response, keepAlive);
    if (onlyHead) {
        response.body.clear();
        response.sharedBody = nullptr;
    }
    body_ = std::move(response.body);
    sharedBody_ = std::move(response.sharedBody);
    const std::array<asio::const_buffer, 2> parts = {asio::buffer(head_),
                                                     asio::buffer(sharedBody_ ? *sharedBody_ : body_)};
    asio::async_write(stream_, parts, Guarded([](Session& self, std::size_t) { self.OnWritten(); }));
}

void Session::OnWritten() {
    sharedBody_.reset();
    if (!keepAlive_ || stopping_) return Linger();
    reader_.Next();
    Enter(Phase::Idle, context_.limits.idleTime);
    Proceed();
}

void Session::BeginStream(Response response) {
    context_.metrics.CountResponse(response.status);
    if (stopping_) return Close();
    ReleaseBody();
    Enter(Phase::Streaming, kNoLimit);
    nextEvent_ = response.stream->next;
    driverReader_ = std::move(response.stream->driverReader);
    reads_ = std::move(response.stream->caller);
    context_.events.AddReader(*this);
    body_ = FormatHead(response, false);
    if (response.stream->reset) body_ += kResetEvent;
    SendToReader();
    reader_.Discard();
    WatchReader();
}

Roles Session::ReaderRoles() const {
    return reads_ && !reads_->hasEnded ? reads_->roles : ROLE_NOBODY;
}

void Session::OnEvents() {
    if (ReaderRoles() == ROLE_NOBODY) return Close();
    if (driverReader_ && driverReader_->IsTooSlow()) return DropReader();
    if (!sending_) return Pump();
    if (context_.events.NextId() - newestWhenSent_ > context_.limits.readerQueue) DropReader();
}

void Session::DropReader() {
    HostLog::Write(dv::LOG_LEVEL_INFO, kHostName,
                   "an event reader was too slow and has been dropped; it may resume");
    Close();
}

void Session::Pump() {
    body_.clear();
    const Roles roles = ReaderRoles();
    if (roles == ROLE_NOBODY) return Close();
    switch (driverReader_ ? driverReader_->Take(nextEvent_, body_, kStreamBytes, roles)
                          : context_.events.Take(nextEvent_, body_, kStreamBytes, roles)) {
        case EventStream::Taken::Nothing:
            if (driverReader_ && driverReader_->IsOver()) Close();
            return;
        case EventStream::Taken::Lost:
            return Close();
        case EventStream::Taken::Some:
            return SendToReader();
    }
}

void Session::SendToReader() {
    sending_ = true;
    newestWhenSent_ = context_.events.NextId();
    lastSent_ = CoarseNow();
    deadline_ = lastSent_ + context_.limits.writeTime;
    asio::async_write(stream_, asio::buffer(body_), Guarded([](Session& self, std::size_t) {
                          self.sending_ = false;
                          self.deadline_ = CoarseNow() + kNoLimit;
                          self.Pump();
                      }));
}

// A reader sends nothing, but this shows when it has gone.
void Session::WatchReader() {
    Read();
}

// If the connection were closed while the client still sends, the client might never read the answer.
void Session::Linger() {
    Enter(Phase::Lingering, context_.limits.lingerTime);
    if (!stream_.IsTls()) return EndSending();
    stream_.AsyncFinish([self = shared_from_this()](const ErrorCode&) {
        if (self->phase_ == Phase::Lingering) self->EndSending();
    });
}

void Session::EndSending() {
    ErrorCode error;
    stream_.GetSocket().shutdown(Socket::shutdown_send, error);
    if (error) return Close();
    Drain();
}

void Session::Drain() {
    reader_.Discard();
    Read();
}

void Session::Close() {
    if (phase_ == Phase::Closed) return;
    const auto self = shared_from_this();
    phase_ = Phase::Closed;
    ReleaseBody();
    context_.events.RemoveReader(*this);
    driverReader_.reset();
    ErrorCode ignored;  // the connection is gone either way
    stream_.GetSocket().close(ignored);
    context_.closed(*this);
}

}  // namespace driverhost
