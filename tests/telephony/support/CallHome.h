// A home with real programs: Kamailio, rtpengine, callcontrol, in a network of the test's own where every
// port is free and nobody else's program is met. Everything ends with its object.
#ifndef TESTS_TELEPHONY_SUPPORT_CALLHOME_H
#define TESTS_TELEPHONY_SUPPORT_CALLHOME_H

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "telephony/protocol/Event.h"
#include "telephony/protocol/Lines.h"
#include "tests/support/process/Patience.h"
#include "tests/support/process/Process.h"
#include "tests/support/process/TempFolder.h"
#include "tests/telephony/support/Sound.h"

namespace test {

/// Gives this process a network of its own with 127.0.0.1 and a default route, once. Empty, or why it cannot
/// be had.
std::string EnterOwnNetwork();

/// Asks until it is so. False after kPatience.
bool WaitUntil(const std::function<bool()>& isSo);

/// A connection to callcontrol's socket.
class CallClient {
public:
    explicit CallClient(const std::filesystem::path& socket);
    ~CallClient();
    CallClient(const CallClient&) = delete;
    CallClient& operator=(const CallClient&) = delete;

    void Send(const std::string& line);
    void SendRaw(const std::string& bytes);
    /// A hello for all devices, or with these as its own; returns the snapshot.
    telephony::Event Greet(const std::string& devices = "[]");
    /// The next event of this kind; others before it are passed over. Throws std::runtime_error, naming what
    /// came, after kPatience or when the connection ends.
    telephony::Event Wait(telephony::EventKind kind, const std::string& leg = "");
    /// An event of this kind of each of these legs, in whatever order they come.
    void WaitForEach(std::vector<std::pair<telephony::EventKind, std::string>> expected);
    /// The next event, of any kind.
    telephony::Event WaitForAny();
    /// All lines that came.
    const std::string& Seen() const { return seen_; }
    /// Whether the other side has closed the connection.
    bool WaitForEnd();

private:
    bool Read(std::chrono::milliseconds most);

    int socket_;
    bool ended_ = false;
    telephony::LineReader reader_;
    std::deque<telephony::Event> events_;
    std::string seen_;
};

class CallHome {
public:
    /// How long nothing may be heard of an end until it is lost. A phone is asked before; a page cannot be,
    /// and a busy machine keeps it silent for longer, so tests with pages have patience.
    using Silence = std::chrono::milliseconds;
    static constexpr Silence kUsualSilence{3000};

    /// Around a Kamailio that stands in for sipproxy's.
    explicit CallHome(Silence silence = kUsualSilence);
    /// Around a proxy that writes this file, or will. It is none of this object's.
    explicit CallHome(std::filesystem::path proxyFile, Silence silence = kUsualSilence);
    ~CallHome();

    std::unique_ptr<CallClient> Connect();

    void StartCallControl();
    /// With SIGKILL.
    void KillCallControl();
    int StopCallControl();
    pid_t CallControlId() const { return callControl_->Id(); }
    pid_t MediaId() const { return rtpengine_->Id(); }
    void StartMedia();
    void KillMedia();
    void KillProxy();
    void StartProxy();

    /// Every sound on its way to a phone.
    Wire& Sounds() { return wire_; }

    const TempFolder& Folder() const { return folder_; }
    std::filesystem::path Socket() const { return folder_ / "calls.sock"; }
    /// Where callcontrol leaves metrics and warnings.
    std::filesystem::path Reports() const { return folder_ / "reports"; }
    std::string Log() const { return ReadFile(folder_ / "callcontrol.log"); }
    /// How many calls rtpengine has.
    std::size_t Rooms();

private:
    Wire wire_;
    TempFolder folder_;
    const std::filesystem::path proxyFile_;
    const Silence silence_;
    std::unique_ptr<Process> kamailio_;
    std::unique_ptr<Process> rtpengine_;
    std::unique_ptr<Process> callControl_;
};

}  // namespace test

#endif
