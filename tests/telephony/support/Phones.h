// Phones from Debian: baresip with a tone as its voice and a recording of what it hears, linphone likewise,
// and sipp as a phone that knows only what its script says.
#ifndef TESTS_TELEPHONY_SUPPORT_PHONES_H
#define TESTS_TELEPHONY_SUPPORT_PHONES_H

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/telephony/support/CallHome.h"

namespace test {

class Baresip {
public:
    struct Settings {
        bool answers = true;  // by itself
        bool video = false;
        const char* codecs = "PCMA,PCMU";
        int proxyPort = 5060;
        const char* pictures = "vp8";  // the module: "vp8", or "avcodec" for H.264
        const char* transport = "udp";
        const char* password = nullptr;  // else "pw-" and the user
    };

    /// Registers; the port is that of SIP, the four above it are used, too.
    Baresip(CallHome& home, const std::string& user, int port, int hertz);
    Baresip(CallHome& home, const std::string& user, int port, int hertz, Settings settings);
    ~Baresip();

    /// A command of its control port: "accept", "hangup", "hold", "resume", "dial" with an address.
    void Do(const std::string& command, const std::string& parameters = "");
    /// All that was sent to it.
    Sound Sent() const { return home_.Sounds().To(rtp_); }
    int Pictures() const { return home_.Sounds().PicturesTo(rtp_); }
    std::string Digits() const { return home_.Sounds().DigitsTo(rtp_); }
    /// What it has itself recorded of its last call, which is over and was heard in both directions.
    Sound Recorded() const;
    /// Waits until it has recorded 1.3 s of the call it is in, whatever the codec.
    bool HasRecordedEnough() const;
    std::string Log() const { return ReadFile(folder_ / "log"); }
    /// The first of the ports at which it hears.
    int SoundPort() const { return rtp_; }
    Process& Program() { return *process_; }

private:
    std::filesystem::path NewestRecording() const;

    CallHome& home_;
    const std::filesystem::path folder_;
    const int rtp_;
    const int control_;
    std::unique_ptr<Process> process_;
};

class Linphone {
public:
    Linphone(CallHome& home, const std::string& user, int port, int hertz);
    ~Linphone();
    Sound Sent() const { return home_.Sounds().To(rtp_); }
    std::string Digits() const { return home_.Sounds().DigitsTo(rtp_); }
    int SoundPort() const { return rtp_; }
    /// Whether its own log has the text.
    bool HasLogged(const std::string& text) const {
        return ReadFile(folder_ / "liblog").find(text) != std::string::npos;
    }
    void Do(const std::string& command);

private:
    CallHome& home_;
    const int rtp_;
    const std::filesystem::path folder_;
    int input_ = -1;
    std::unique_ptr<Process> process_;
};

/// sipp with a script from tests/telephony/support/. It is registered as long as it lives.
class Sipp {
public:
    struct Settings {
        bool echoes = true;      // it sends back the sound that it is sent; else it sends none
        const char* asked = "";  // by which text in an INVITE asked.xml answers
    };

    Sipp(CallHome& home, const std::string& user, int port, const std::string& script);
    Sipp(CallHome& home, const std::string& user, int port, const std::string& script, Settings settings);
    /// A phone with a tone as its voice, which knows no re-INVITE. It waits for a call, or dials this name at
    /// once.
    Sipp(CallHome& home, const std::string& user, int port, int hertz, const std::string& dialled = "");
    ~Sipp();
    /// 0 when everything went as the script says.
    int Wait();
    Sound Sent() const { return home_.Sounds().To(rtp_); }

private:
    void Register(const std::string& user, int port);
    void Run(const std::filesystem::path& folder, int port, const std::string& script,
             const std::vector<std::string>& more);

    CallHome& home_;
    const int rtp_;
    std::unique_ptr<Process> process_;
    std::atomic<bool> end_ = false;
    std::thread refreshing_;
};

}  // namespace test

#endif
