// callcontrol: calls the phones of a home and connects them. docs/calls-real.md
#include <sys/socket.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <exception>
#include <memory>

#include "telephony/callcontrol/CallTable.h"
#include "telephony/callcontrol/ClientServer.h"
#include "telephony/callcontrol/LibreLoop.h"
#include "telephony/callcontrol/Log.h"
#include "telephony/callcontrol/Options.h"
#include "telephony/callcontrol/ProxyLink.h"
#include "telephony/callcontrol/Recovery.h"
#include "telephony/callcontrol/Reporter.h"
#include "telephony/callcontrol/SipStack.h"

namespace telephony {
namespace {

enum ExitStatus : int { EXIT_ORDERLY = 0, EXIT_NO_START = 1, EXIT_WRONG_USE = 2 };

// BYEs and their answers, when the program ends.
constexpr std::chrono::milliseconds kGoodbyeTime(500);

// Datagrams to and from rtpengine.
class MediaSocket {
public:
    explicit MediaSocket(const std::string& address) {
        struct sa rtpengine;
        if (sa_decode(&rtpengine, address.c_str(), address.size()) != 0 || sa_port(&rtpengine) == 0)
            throw OptionError("--rtpengine: \"" + address + "\" is no numeric address with a port");
        socket_ = std::make_unique<Descriptor>(
            socket(sa_af(&rtpengine), SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        // Connected, so that nobody else's datagrams arrive here.
        if (connect(socket_->Get(), &rtpengine.u.sa, rtpengine.len) != 0)
            throw std::runtime_error("no socket for rtpengine at " + address);
    }

    void Send(std::string_view datagram) {
        send(socket_->Get(), datagram.data(), datagram.size(), MSG_NOSIGNAL);
    }

    void Watch(NgClient& ng) {
        socket_->Watch(true, false, [this, &ng](bool, bool) {
            std::array<char, 65536> datagram;
            const ssize_t size = recv(socket_->Get(), datagram.data(), datagram.size(), 0);
            if (size > 0) ng.Receive(std::string_view(datagram.data(), static_cast<std::size_t>(size)));
        });
    }

private:
    std::unique_ptr<Descriptor> socket_;
};

// What rtpengine tells of digits.
class DigitSocket {
public:
    explicit DigitSocket(const std::string& address) {
        struct sa here;
        if (sa_decode(&here, address.c_str(), address.size()) != 0 || sa_port(&here) == 0)
            throw OptionError("--dtmf: \"" + address + "\" is no numeric address with a port");
        socket_ =
            std::make_unique<Descriptor>(socket(sa_af(&here), SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        if (bind(socket_->Get(), &here.u.sa, here.len) != 0)
            throw std::runtime_error("cannot listen for digits on " + address +
                                     ": is the address this machine's, and free?");
    }

    void Watch(CallTable& table) {
        socket_->Watch(true, false, [this, &table](bool, bool) {
            std::array<char, 65536> datagram;
            const ssize_t size = recv(socket_->Get(), datagram.data(), datagram.size(), 0);
            if (size <= 0) return;
            if (const auto digit = DigitIn({datagram.data(), static_cast<std::size_t>(size)}))
                table.TakeDigit(*digit);
        });
    }

private:
    std::unique_ptr<Descriptor> socket_;
};

class Program {
public:
    explicit Program(const Options& options)
        : media_(options.media),
          ng_(loop_, [this](std::string_view datagram) { media_.Send(datagram); }),
          journal_(options.journal),
          table_(loop_, ng_, journal_, {"127.0.0.1", options.silence, options.ringing}),
          recovery_(loop_, ng_, journal_, table_.RoomPrefix()),
          server_(loop_, table_, options.socket),
          proxy_(
              loop_, options.proxy, [this](const ProxyAccount& account) { TakeAccount(account); },
              [this](bool connected) { TakeConnection(connected); },
              [this](const nlohmann::json& event) { TakeEvent(event); }),
          reporter_(loop_, options.reports, table_, journal_, [this] { return Counts(); }),
          end_(loop_) {
        media_.Watch(ng_);
        if (options.digits.empty()) return;
        digits_ = std::make_unique<DigitSocket>(options.digits);
        digits_->Watch(table_);
    }

    void Run() {
        recovery_.DeleteRooms();
        LogLine("ready");
        loop_.Run([this] { End(); });
    }

private:
    void TakeAccount(const ProxyAccount& account) {
        if (sip_) return sip_->SetAccount(account);
        sip_ = std::make_unique<SipStack>(loop_, account);
        sip_->SetIncomingCalls(&table_);
        table_.SetSignalling(sip_.get());
    }

    void TakeConnection(bool connected) {
        table_.SetProxyUp(connected);
        if (!connected) return;
        recovery_.EndDialogs(*sip_);
        recovery_.DeleteRooms();
    }

    void TakeEvent(const nlohmann::json& event) {
        try {
            const std::string kind = event.at("event");
            const std::string user = event.at("user");
            if (kind == "registered")
                table_.SetRegistered({user, Unhex(event.value("contact", "")),
                                      Unhex(event.value("agent", "")), std::time(nullptr)});
            else if (kind == "lost")
                table_.SetLost(user, event.value("reason", ""));
        } catch (const nlohmann::json::exception& error) {
            LogLine(std::string("an event of the proxy cannot be read: ") + error.what());
        }
    }

    static std::string Unhex(const std::string& text) {
        std::string bytes;
        for (std::size_t i = 0; i + 1 < text.size(); i += 2)
            bytes += static_cast<char>(std::strtoul(text.substr(i, 2).c_str(), nullptr, 16));
        return bytes;
    }

    OtherCounts Counts() const {
        return {sip_ ? sip_->InvitesSent() : 0, ng_.Refusals(), ng_.Silences(), server_.Refused(),
                server_.Closed()};
    }

    void End() {
        if (end_.IsRunning()) return loop_.Stop();
        table_.Clear("Call control ends");
        end_.Start(kGoodbyeTime, [this] { loop_.Stop(); });
    }

    LibreLoop loop_;
    MediaSocket media_;
    NgClient ng_;
    Journal journal_;
    std::unique_ptr<SipStack> sip_;
    CallTable table_;
    Recovery recovery_;
    ClientServer server_;
    ProxyLink proxy_;
    std::unique_ptr<DigitSocket> digits_;
    Reporter reporter_;
    Timer end_;
};

}  // namespace
}  // namespace telephony

int main(int argc, char** argv) {
    using namespace telephony;
    // Whoever reads the log may end before this program does.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        const Options options = ParseOptions(argc, argv);
        if (!options.printOnly.empty()) return std::fputs(options.printOnly.c_str(), stdout) < 0;
        Program(options).Run();
        return EXIT_ORDERLY;
    } catch (const OptionError& error) {
        LogLine(error.what());
        return EXIT_WRONG_USE;
    } catch (const std::exception& error) {
        LogLine(error.what());
        return EXIT_NO_START;
    }
}
