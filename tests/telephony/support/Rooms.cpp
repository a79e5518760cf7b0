#include "tests/telephony/support/Rooms.h"

#include <chrono>
#include <stdexcept>

#include "tests/support/process/RunProgram.h"
#include "tests/telephony/support/Sound.h"
#include "tests/telephony/support/WholeHome.h"

namespace test {
namespace {

constexpr unsigned kFirstId = 201;
constexpr int kRegistrarsPort = 5900;
// A registration holds for 15 s.
constexpr std::chrono::seconds kAgain(5);
constexpr int kToneHertz = 440;

std::string Replaced(std::string text, const std::string& word, const std::string& value) {
    for (std::size_t at; (at = text.find(word)) != text.npos;)
        text.replace(at, word.size(), value);
    return text;
}

std::filesystem::path WriteUsers(CallHome& home, const std::vector<Room>& rooms) {
    std::string lines = "SEQUENTIAL\n";
    for (const Room& room : rooms)
        lines += room.user + ";[authentication username=" + room.user + " password=pw-" + room.user + "];" +
                 std::to_string(room.port) + "\n";
    const auto file = home.Folder() / "rooms.csv";
    WriteFile(file, lines);
    return file;
}

}  // namespace

std::vector<Room> MakeRooms(unsigned count, int firstPort, bool onePort) {
    std::vector<Room> rooms;
    for (unsigned number = 1; number <= count; ++number)
        rooms.push_back(
            {"room" + std::to_string(number), firstPort + (onePort ? 0 : static_cast<int>(number) * 2)});
    return rooms;
}

std::string RoomDrivers(unsigned count, const std::string& more) {
    std::string drivers;
    for (unsigned number = 1; number <= count; ++number) {
        const std::string name = "room" + std::to_string(number);
        drivers += WholeHome::PhoneDriver(RoomId(number), name, name, more);
    }
    return drivers;
}

unsigned RoomId(unsigned number) {
    return kFirstId + number - 1;
}

Registrations::Registrations(CallHome& home, const std::vector<Room>& rooms)
    : file_(WriteUsers(home, rooms)), count_(rooms.size()) {
    if (const std::string trouble = Refresh(); !trouble.empty()) throw std::runtime_error(trouble);
    thread_ = std::thread([this] {
        auto next = std::chrono::steady_clock::now() + kAgain;
        while (!end_) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            if (std::chrono::steady_clock::now() < next) continue;
            const std::lock_guard lock(mutex_);
            Refresh();  // what a busy machine has lost of it comes with the next
            next = std::chrono::steady_clock::now() + kAgain;
        }
    });
}

Registrations::~Registrations() {
    end_ = true;
    thread_.join();
}

std::string Registrations::Refresh() const {
    const std::string count = std::to_string(count_);
    const ProgramResult result =
        RunProgram({"/usr/bin/sipp", "127.0.0.1:5060", "-sf", SIPP_SCRIPTS "/registrations.xml", "-inf",
                    file_, "-i", "127.0.0.1", "-p", std::to_string(kRegistrarsPort), "-m", count, "-l", count,
                    "-r", "500", "-nostdin"});
    return result.status == 0 ? "" : "rooms are not registered: " + result.output + result.errors;
}

std::unique_lock<std::mutex> Registrations::Pause() {
    std::unique_lock lock(mutex_);
    if (const std::string trouble = Refresh(); !trouble.empty()) throw std::runtime_error(trouble);
    return lock;
}

RoomPhone::RoomPhone(CallHome& home, Kind kind, int port, int soundPort) {
    const auto folder = home.Folder() / ("phone" + std::to_string(port));
    std::filesystem::create_directory(folder);
    std::string script = SIPP_SCRIPTS "/rings.xml";
    if (kind != Kind::Rings) {
        const bool talks = kind == Kind::Talks;
        const auto tone = (folder / "tone.alaw").string();
        if (talks) WriteFile(tone, PcmaTone(kToneHertz));
        script = folder / "script.xml";
        std::string text = ReadFile(SIPP_SCRIPTS "/answers.xml");
        text = Replaced(text, "@SOUND_PORT@", talks ? "[rtpstream_audio_port]" : "[media_port]");
        text = Replaced(
            text, "@TALK@",
            talks ? "<nop><action><exec rtp_stream=\"" + tone + ",-1,8,PCMA/8000\"/></action></nop>" : "");
        WriteFile(script, text);
    }
    std::vector<std::string> words{"/usr/bin/sipp",
                                   "-sf",
                                   script,
                                   "-i",
                                   "127.0.0.1",
                                   "-mi",
                                   "127.0.0.1",
                                   "-p",
                                   std::to_string(port),
                                   "-mp",
                                   std::to_string(soundPort),
                                   "-nostdin",
                                   "-aa",  // as phones do, they answer OPTIONS in a call
                                   "-trace_err",
                                   "-error_file",
                                   (folder / "errors").string()};
    if (kind == Kind::Echoes) words.emplace_back("-rtp_echo");
    process_ = std::make_unique<Process>(Process::Command{words, {}, folder / "out"});
}

}  // namespace test
