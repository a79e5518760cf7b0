#include "tests/telephony/support/Phones.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstring>
#include <nlohmann/json.hpp>
#include <numbers>
#include <stdexcept>

#include "tests/support/process/RunProgram.h"

namespace test {
namespace {

using namespace std::chrono_literals;

constexpr char kBaresipConfig[] = R"(poll_method epoll
sip_listen 127.0.0.1:@PORT@
net_interface 127.0.0.1
call_local_timeout 120
call_max_calls 4
audio_player aubridge,nothing
audio_source ausine,@HERTZ@
audio_alert aubridge,nothing
ausrc_srate 48000
ausrc_channels 2
auplay_srate 8000
auplay_channels 1
rtp_ports @RTP@
jitter_buffer_delay 1-5
module_path /usr/lib/baresip/modules
module g711.so
module g722.so
module opus.so
module ausine.so
module aubridge.so
module sndfile.so
@VIDEO@
module_tmp account.so
module_app menu.so
module_app ctrl_tcp.so
module_app debug_cmd.so
ctrl_tcp_listen 127.0.0.1:@CONTROL@
snd_path @FOLDER@
)";
constexpr char kBaresipVideo[] = R"(module @PICTURES@.so
module fakevideo.so
video_source fakevideo,nil
video_display fakevideo,nil
video_size 176x144
video_fps 10)";

constexpr char kLinphoneConfig[] = R"([sip]
sip_port=@PORT@
sip_tcp_port=0
sip_tls_port=0
bind_address=127.0.0.1
default_proxy=0
use_ipv6=0
guess_hostname=0
contact="@USER@" <sip:@USER@@127.0.0.1>
[proxy_0]
reg_proxy=<sip:127.0.0.1:5060;transport=udp>
reg_identity=sip:@USER@@intercom
reg_expires=60
reg_sendregister=1
publish=0
[auth_info_0]
username=@USER@
userid=@USER@
passwd=pw-@USER@
domain=intercom
realm=intercom
[rtp]
audio_rtp_port=@RTP@
bind_address=127.0.0.1
[video]
enabled=0
capture=0
display=0
[misc]
log_collection_enabled=0
)";

std::string Filled(std::string text, const std::vector<std::pair<std::string, std::string>>& words) {
    for (const auto& [word, value] : words)
        for (std::size_t at; (at = text.find(word)) != std::string::npos;)
            text.replace(at, word.size(), value);
    return text;
}

std::filesystem::path NewFolder(CallHome& home, const std::string& user) {
    const auto folder = home.Folder() / user;
    std::filesystem::create_directory(folder);
    return folder;
}

int FirstRtpPort(int port) {
    return 30000 + (port % 1000) * 20;
}

std::string RtpPorts(int port) {
    return std::to_string(FirstRtpPort(port)) + "-" + std::to_string(FirstRtpPort(port) + 18);
}

void WaitForFile(const std::filesystem::path& file, const std::string& text) {
    if (!WaitUntil([&] { return ReadFile(file).find(text) != std::string::npos; }))
        throw std::runtime_error("\"" + text + "\" does not appear in " + file.string() + ":\n" +
                                 ReadFile(file));
}

// 16 bit, 8 kHz, a minute.
void WriteTone(const std::filesystem::path& file, int hertz) {
    constexpr unsigned kSamples = 8000 * 60;
    std::string wav = "RIFF";
    const auto add = [&](unsigned value, int count) {
        for (int i = 0; i < count; ++i)
            wav += static_cast<char>(value >> (8 * i) & 0xff);
    };
    add(36 + 2 * kSamples, 4);
    wav += "WAVEfmt ";
    add(16, 4), add(1, 2), add(1, 2), add(8000, 4), add(16000, 4), add(2, 2), add(16, 2);
    wav += "data";
    add(2 * kSamples, 4);
    for (unsigned i = 0; i < kSamples; ++i)
        add(static_cast<unsigned>(static_cast<int>(8000 * std::sin(2 * std::numbers::pi * hertz * i / 8000))),
            2);
    WriteFile(file, wav);
}

}  // namespace

Baresip::Baresip(CallHome& home, const std::string& user, int port, int hertz)
    : Baresip(home, user, port, hertz, Settings()) {}

Baresip::Baresip(CallHome& home, const std::string& user, int port, int hertz, Settings settings)
    : home_(home), folder_(NewFolder(home, user)), rtp_(FirstRtpPort(port)), control_(port + 4) {
    WriteFile(folder_ / "config", Filled(kBaresipConfig, {{"@PORT@", std::to_string(port)},
                                                          {"@HERTZ@", std::to_string(hertz)},
                                                          {"@RTP@", RtpPorts(port)},
                                                          {"@VIDEO@", settings.video ? kBaresipVideo : ""},
                                                          {"@PICTURES@", settings.pictures},
                                                          {"@CONTROL@", std::to_string(control_)},
                                                          {"@FOLDER@", folder_.string()}}));
    const std::string password = settings.password ? settings.password : "pw-" + user;
    WriteFile(folder_ / "accounts",
              "<sip:" + user + "@intercom>;auth_user=" + user + ";auth_pass=" + password +
                  ";outbound=\"sip:127.0.0.1:" + std::to_string(settings.proxyPort) +
                  ";transport=" + settings.transport + "\";regint=60;audio_codecs=" + settings.codecs +
                  ";answermode=" + (settings.answers ? "auto" : "manual") + "\n");
    chmod((folder_ / "accounts").c_str(), 0600);
    WriteFile(folder_ / "contacts", "");
    process_ = std::make_unique<Process>(
        Process::Command{{"/usr/bin/baresip", "-f", folder_.string()}, {}, folder_ / "log"});
    WaitForFile(folder_ / "log", "200 OK");
}

Baresip::~Baresip() {
    process_->Signal(SIGTERM);
    process_->Wait(2s);
}

void Baresip::Do(const std::string& command, const std::string& parameters) {
    const std::string json =
        nlohmann::json{{"command", command}, {"params", parameters}, {"token", "t"}}.dump();
    const std::string netstring = std::to_string(json.size()) + ":" + json + ",";
    const int number = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(control_));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool sent =
        connect(number, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        send(number, netstring.data(), netstring.size(), 0) == static_cast<ssize_t>(netstring.size());
    char reply[4096];
    const bool answered = sent && recv(number, reply, sizeof reply, 0) > 0;
    close(number);
    if (!answered) throw std::runtime_error("baresip does not take \"" + command + "\"");
}

std::filesystem::path Baresip::NewestRecording() const {
    std::filesystem::path newest;
    for (const auto& file : std::filesystem::directory_iterator(folder_))
        if (file.path().filename().string().ends_with("dec.wav") && file.path() > newest)
            newest = file.path();
    return newest;
}

bool Baresip::HasRecordedEnough() const {
    return WaitUntil([&] { return ReadSound(NewestRecording()).Seconds() > 1.3; });
}

Sound Baresip::Recorded() const {
    const std::filesystem::path newest = NewestRecording();
    // The length in the header is written when the recording is closed.
    WaitUntil([&] {
        const std::string header = ReadFile(newest).substr(0, 44);
        return header.size() == 44 && header.find_first_not_of('\0', 40) != std::string::npos;
    });
    return ReadSound(newest);
}

Linphone::Linphone(CallHome& home, const std::string& user, int port, int hertz)
    : home_(home), rtp_(FirstRtpPort(port)), folder_(NewFolder(home, user)) {
    WriteFile(folder_ / "rc",
              Filled(kLinphoneConfig,
                     {{"@PORT@", std::to_string(port)}, {"@USER@", user}, {"@RTP@", RtpPorts(port)}}));
    std::filesystem::create_directories(folder_ / ".local/share/linphone");
    WriteTone(folder_ / "tone.wav", hertz);
    // It reads commands from its standard input: a pipe by name, which stays open.
    const auto pipe = folder_ / "input";
    if (RunProgram({"mkfifo", pipe.string()}).status != 0) throw std::runtime_error("no pipe for linphone");
    input_ = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    process_ = std::make_unique<Process>(
        Process::Command{{"/bin/sh", "-c",
                          "exec linphonec -c " + (folder_ / "rc").string() + " -l " +
                              (folder_ / "liblog").string() + " -d 6 -a < " + pipe.string()},
                         {{"HOME", folder_.string()}, {"XDG_DATA_HOME", ""}, {"XDG_CONFIG_HOME", ""}},
                         folder_ / "out"});
    Do("soundcard use files\nplay " + (folder_ / "tone.wav").string());
    WaitForFile(folder_ / "liblog", "[LinphoneRegistrationOk]");
}

void Linphone::Do(const std::string& command) {
    const std::string line = command + "\n";
    if (write(input_, line.data(), line.size()) < 0) throw std::runtime_error("linphone takes no commands");
}

Linphone::~Linphone() {
    process_->Signal(SIGKILL);
    process_->Wait(2s);
    close(input_);
}

Sipp::Sipp(CallHome& home, const std::string& user, int port, const std::string& script)
    : Sipp(home, user, port, script, Settings()) {}

Sipp::Sipp(CallHome& home, const std::string& user, int port, const std::string& script, Settings settings)
    : home_(home), rtp_(FirstRtpPort(port)) {
    Register(user, port);
    const auto folder = NewFolder(home, user);
    WriteFile(folder / "script.xml",
              Filled(ReadFile(std::string(SIPP_SCRIPTS) + "/" + script), {{"@ASKED@", settings.asked}}));
    std::vector<std::string> more{"-mp", std::to_string(rtp_)};
    if (settings.echoes) more.push_back("-rtp_echo");
    Run(folder, port, folder / "script.xml", more);
}

Sipp::Sipp(CallHome& home, const std::string& user, int port, int hertz, const std::string& dialled)
    : home_(home), rtp_(FirstRtpPort(port)) {
    Register(user, port);
    const auto folder = NewFolder(home, user);
    WriteFile(folder / "tone.alaw", PcmaTone(hertz));
    const auto script = folder / "script.xml";
    WriteFile(script,
              Filled(ReadFile(std::string(SIPP_SCRIPTS) + (dialled.empty() ? "/talks.xml" : "/dials.xml")),
                     {{"@FOLDER@", folder.string()}, {"@DIALLED@", dialled}}));
    Run(folder, port, script,
        {"-s", user, "-au", user, "-ap", "pw-" + user, "127.0.0.1:5060", "-mp", std::to_string(rtp_)});
}

Sipp::~Sipp() {
    end_ = true;
    if (refreshing_.joinable()) refreshing_.join();
}

// sipp runs one script, so another one registers in its stead, from a port of its own and before the
// registration runs out.
void Sipp::Register(const std::string& user, int port) {
    const auto once = [user, port] {
        return RunProgram({"/usr/bin/sipp",
                           "127.0.0.1:5060",
                           "-sf",
                           SIPP_SCRIPTS "/register.xml",
                           "-s",
                           user,
                           "-au",
                           user,
                           "-ap",
                           "pw-" + user,
                           "-i",
                           "127.0.0.1",
                           "-p",
                           std::to_string(port + 1),
                           "-key",
                           "contact_port",
                           std::to_string(port),
                           "-m",
                           "1",
                           "-nostdin"});
    };
    const ProgramResult registered = once();
    if (registered.status != 0)
        throw std::runtime_error("sipp is not registered: " + registered.output + registered.errors);
    refreshing_ = std::thread([this, once] {
        for (int step = 1; !end_; ++step) {
            std::this_thread::sleep_for(100ms);
            if (step % 40 == 0) once();
        }
    });
}

void Sipp::Run(const std::filesystem::path& folder, int port, const std::string& script,
               const std::vector<std::string>& more) {
    std::vector<std::string> words{"/usr/bin/sipp",
                                   "-sf",
                                   script,
                                   "-i",
                                   "127.0.0.1",
                                   "-mi",
                                   "127.0.0.1",
                                   "-p",
                                   std::to_string(port),
                                   "-m",
                                   "1",
                                   "-nostdin",
                                   "-aa",  // it answers OPTIONS in the call, as phones do
                                   "-trace_err",
                                   "-error_file",
                                   (folder / "errors").string()};
    words.insert(words.end(), more.begin(), more.end());
    process_ = std::make_unique<Process>(Process::Command{words, {}, folder / "out"});
}

int Sipp::Wait() {
    return process_->Wait(kPatience).value_or(-1);
}

}  // namespace test
