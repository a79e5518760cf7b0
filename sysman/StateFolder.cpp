#include "sysman/StateFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace {

std::string Environment(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : "";
}

std::string ChooseFolder() {
    if (const std::string chosen = Environment("SYSMAN_STATE_DIR"); !chosen.empty()) return chosen;
    if (const std::string state = Environment("XDG_STATE_HOME"); !state.empty())
        return state + "/intercom-sysman";
    if (const std::string home = Environment("HOME"); !home.empty())
        return home + "/.local/state/intercom-sysman";
    throw Failure("there is no folder for the state; set SYSMAN_STATE_DIR or HOME");
}

std::string ReadWhole(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// A reader sees the old text or the new one. Nothing is synced to disk: after a power cut, whoever wants the
// service asks again, and a sync could hold up our caller for seconds.
void Replace(const std::string& path, const std::string& text) {
    const std::string temporary = path + ".new";
    std::ofstream file(temporary, std::ios::trunc);
    file << text << std::flush;
    if (!file) throw SystemFailure("cannot write " + temporary);
    file.close();
    if (std::rename(temporary.c_str(), path.c_str()) != 0) throw SystemFailure("cannot write " + path);
}

}  // namespace

StateFolder::StateFolder() : folder_(ChooseFolder()) {
    ::umask(S_IRWXG | S_IRWXO);
    std::error_code error;
    std::filesystem::create_directories(folder_, error);
    if (error) throw Failure("cannot make " + folder_ + ": " + error.message());
    Lock();
}

StateFolder::~StateFolder() {
    if (lock_ >= 0) ::close(lock_);
}

void StateFolder::Lock() {
    const std::string path = folder_ + "/lock";
    lock_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (lock_ < 0) throw SystemFailure("cannot open " + path);
    const auto end = std::chrono::steady_clock::now() + kLongestStep;
    while (::flock(lock_, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) throw SystemFailure("cannot lock " + path);
        if (std::chrono::steady_clock::now() > end)
            throw Failure("another request is being carried out; try again");
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

bool StateFolder::IsDisabled(const std::string& service) const {
    return ReadWhole(WantedFile(service)).starts_with("disabled");
}

void StateFolder::NoteWanted(const std::string& service, bool enabled) {
    Replace(WantedFile(service), enabled ? "enabled\n" : "disabled\n");
}

std::optional<ProcessIdentity> StateFolder::ReadProcess(const std::string& service) const {
    std::istringstream text(ReadWhole(ProcessFile(service)));
    ProcessIdentity process;
    if (text >> process.id >> process.startTime >> process.boot && process.id > 0) return process;
    return std::nullopt;
}

void StateFolder::NoteProcess(const std::string& service, const ProcessIdentity& process) {
    Replace(ProcessFile(service),
            std::to_string(process.id) + " " + std::to_string(process.startTime) + " " + process.boot + "\n");
}

void StateFolder::ForgetProcess(const std::string& service) {
    if (::unlink(ProcessFile(service).c_str()) != 0 && errno != ENOENT)
        throw SystemFailure("cannot remove " + ProcessFile(service));
}
