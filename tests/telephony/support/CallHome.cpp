#include "tests/telephony/support/CallHome.h"

#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "telephony/callcontrol/Bencode.h"
#include "tests/support/process/RunProgram.h"

namespace test {
namespace {

using namespace std::chrono_literals;

constexpr char kSecret[] = "test-secret-of-the-proxy";
constexpr char kPassword[] = "test-password-of-callcontrol";

std::string Filled(std::string text, const std::string& word, const std::string& value) {
    for (std::size_t at; (at = text.find(word)) != std::string::npos;)
        text.replace(at, word.size(), value);
    return text;
}

bool CanConnectTcp(int port) {
    const int number = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool ok = connect(number, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(number);
    return ok;
}

std::optional<nlohmann::json> AskMedia(const nlohmann::json& request) {
    const int number = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(2223);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const std::string datagram =
        "test" + std::to_string(getpid()) + std::to_string(std::rand()) + " " + telephony::Bencode(request);
    std::optional<nlohmann::json> reply;
    char buffer[65536];
    if (connect(number, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        send(number, datagram.data(), datagram.size(), 0) > 0) {
        pollfd ready{number, POLLIN, 0};
        if (poll(&ready, 1, 300) == 1) {
            const ssize_t size = recv(number, buffer, sizeof buffer, 0);
            const std::string_view text(buffer, size > 0 ? static_cast<std::size_t>(size) : 0);
            const auto space = text.find(' ');
            if (space != std::string_view::npos) reply = telephony::Unbencode(text.substr(space + 1));
        }
    }
    close(number);
    return reply;
}

std::string TryEnterOwnNetwork() {
    const uid_t user = getuid();
    const gid_t group = getgid();
    if (unshare(CLONE_NEWNET) != 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
            return std::string("this process may have no network of its own: ") + std::strerror(errno);
        WriteFile("/proc/self/setgroups", "deny");
        WriteFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
        WriteFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    }
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"ip", "link", "set", "lo", "up"},
          std::vector<std::string>{"ip", "addr", "add", "10.99.0.1/32", "dev", "lo"},
          std::vector<std::string>{"ip", "route", "add", "default", "dev", "lo", "src", "10.99.0.1"}}) {
        const ProgramResult result = RunProgram(words);
        if (result.status != 0) return "the network cannot be set up: " + result.errors;
    }
    return {};
}

}  // namespace

std::string EnterOwnNetwork() {
    static const std::string trouble = TryEnterOwnNetwork();
    return trouble;
}

bool WaitUntil(const std::function<bool()>& isSo) {
    return Eventually(isSo);
}

CallClient::CallClient(const std::filesystem::path& path)
    : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.string().copy(address.sun_path, sizeof address.sun_path - 1);
    if (!WaitUntil([&] {
            return connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        }))
        throw std::runtime_error("nobody listens on " + path.string());
}

CallClient::~CallClient() {
    close(socket_);
}

void CallClient::SendRaw(const std::string& bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t count = send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) return;
        sent += static_cast<std::size_t>(count);
    }
}

void CallClient::Send(const std::string& line) {
    SendRaw(line + "\n");
}

telephony::Event CallClient::Greet(const std::string& devices) {
    Send(R"({"cmd":"hello","version":1,"all":)" + std::string(devices == "[]" ? "true" : "false") +
         R"(,"devices":)" + devices + "}");
    return Wait(telephony::EventKind::Snapshot);
}

bool CallClient::Read(std::chrono::milliseconds most) {
    pollfd ready{socket_, POLLIN, 0};
    if (poll(&ready, 1, static_cast<int>(most.count())) != 1) return false;
    char buffer[65536];
    const ssize_t size = recv(socket_, buffer, sizeof buffer, 0);
    if (size <= 0) {
        ended_ = true;
        return false;
    }
    reader_.Add(std::string_view(buffer, static_cast<std::size_t>(size)));
    while (const auto line = reader_.Next()) {
        seen_ += *line + "\n";
        events_.push_back(telephony::ParseEvent(*line));
    }
    return true;
}

telephony::Event CallClient::Wait(telephony::EventKind kind, const std::string& leg) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (true) {
        while (!events_.empty()) {
            const telephony::Event event = events_.front();
            events_.pop_front();
            if (event.kind == kind && (leg.empty() || event.leg == leg || event.phone.user == leg))
                return event;
        }
        if (ended_ || std::chrono::steady_clock::now() > end)
            throw std::runtime_error("no event \"" + std::string(telephony::TextOf(kind)) + "\" " + leg +
                                     "; came:\n" + seen_);
        Read(100ms);
    }
}

telephony::Event CallClient::WaitForAny() {
    if (!WaitUntil([&] {
            if (events_.empty()) Read(100ms);
            return !events_.empty() || ended_;
        }) ||
        events_.empty())
        throw std::runtime_error("no event; came:\n" + seen_);
    const telephony::Event event = events_.front();
    events_.pop_front();
    return event;
}

void CallClient::WaitForEach(std::vector<std::pair<telephony::EventKind, std::string>> expected) {
    while (!expected.empty()) {
        const telephony::Event event = WaitForAny();
        std::erase(expected, std::pair(event.kind, event.leg));
    }
}

bool CallClient::WaitForEnd() {
    return WaitUntil([&] {
        Read(50ms);
        return ended_;
    });
}

CallHome::CallHome(std::filesystem::path proxyFile, Silence silence)
    : proxyFile_(std::move(proxyFile)), silence_(silence) {
    StartMedia();
    StartCallControl();
}

CallHome::CallHome(Silence silence) : proxyFile_(folder_ / "proxy.json"), silence_(silence) {
    StartMedia();
    std::filesystem::permissions(folder_.Path(), std::filesystem::perms::owner_all);
    WriteFile(proxyFile_, nlohmann::json{{"proxy", "127.0.0.1:5060"},
                                         {"domain", "intercom"},
                                         {"realm", "intercom"},
                                         {"user", "callcontrol"},
                                         {"password", kPassword},
                                         {"header", "X-Intercom-Secret"},
                                         {"secret", kSecret},
                                         {"events", "127.0.0.1:5061"},
                                         {"callcontrol", "127.0.0.1:5070"}}
                              .dump());
    chmod(proxyFile_.c_str(), 0600);
    StartProxy();
    StartCallControl();
}

CallHome::~CallHome() {
    if (callControl_) callControl_->Signal(SIGTERM);
    if (callControl_) callControl_->Wait(kPatience);
    if (kamailio_) kamailio_->Signal(SIGTERM);
    if (kamailio_) kamailio_->Wait(kPatience);
    if (rtpengine_) rtpengine_->Signal(SIGTERM);
    if (rtpengine_) rtpengine_->Wait(kPatience);
}

void CallHome::StartProxy() {
    std::string text = ReadFile(KAMAILIO_TEMPLATE);
    text = Filled(Filled(Filled(text, "@FOLDER@", folder_.Path()), "@SECRET@", kSecret), "@PASSWORD@",
                  kPassword);
    WriteFile(folder_ / "kamailio.cfg", text);
    std::filesystem::remove(folder_ / "ctl");
    kamailio_ = std::make_unique<Process>(
        Process::Command{{"/usr/sbin/kamailio", "-DD", "-E", "-f", folder_ / "kamailio.cfg", "-P",
                          folder_ / "kamailio.pid", "-Y", folder_.Path(), "-m", "32", "-M", "8"},
                         {},
                         folder_ / "kamailio.log"});
    if (!WaitUntil([] { return CanConnectTcp(5061); }))
        throw std::runtime_error("Kamailio does not start: " + ReadFile(folder_ / "kamailio.log"));
}

void CallHome::KillProxy() {
    // Its workers end by themselves when the first process has asked them to.
    kamailio_->Signal(SIGTERM);
    kamailio_->Wait(kPatience);
    kamailio_.reset();
}

void CallHome::StartMedia() {
    rtpengine_ = std::make_unique<Process>(Process::Command{
        {"/usr/bin/rtpengine", "--config-file=none", "--foreground", "--log-stderr", "--log-level=4",
         "--table=-1", "--interface=127.0.0.1", "--listen-ng=127.0.0.1:2223", "--port-min=20000",
         "--port-max=20999", "--num-threads=2", "--delete-delay=0", "--timeout=60", "--silent-timeout=3600",
         "--dtmf-log-dest=127.0.0.1:2224", "--pidfile=" + (folder_ / "rtpengine.pid").string()},
        {},
        folder_ / "rtpengine.log"});
    if (!WaitUntil([] { return AskMedia({{"command", "ping"}}).has_value(); }))
        throw std::runtime_error("rtpengine does not start: " + ReadFile(folder_ / "rtpengine.log"));
}

void CallHome::KillMedia() {
    rtpengine_->Signal(SIGKILL);
    rtpengine_->Wait(kPatience);
    rtpengine_.reset();
}

std::size_t CallHome::Rooms() {
    std::optional<nlohmann::json> reply;
    Eventually([&] { return (reply = AskMedia({{"command", "list"}})).has_value(); });
    return reply ? reply->value("calls", nlohmann::json::array()).size() : 0;
}

void CallHome::StartCallControl() {
    callControl_ = std::make_unique<Process>(
        Process::Command{{CALLCONTROL_PROGRAM, "--socket", Socket(), "--proxy", proxyFile_, "--journal",
                          folder_ / "journal", "--rtpengine", "127.0.0.1:2223", "--dtmf", "127.0.0.1:2224",
                          "--silence", std::to_string(silence_.count())},
                         {{"INTERCOM_REPORTS_DIR", Reports()}},
                         folder_ / "callcontrol.log"});
}

void CallHome::KillCallControl() {
    callControl_->Signal(SIGKILL);
    callControl_->Wait(kPatience);
    callControl_.reset();
}

int CallHome::StopCallControl() {
    callControl_->Signal(SIGTERM);
    const auto status = callControl_->Wait(kPatience);
    callControl_.reset();
    return status.value_or(-1);
}

std::unique_ptr<CallClient> CallHome::Connect() {
    return std::make_unique<CallClient>(Socket());
}

}  // namespace test
