#include "telephony/callcontrol/Journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "telephony/callcontrol/Log.h"

namespace telephony {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// Empty when it was written. Not synced: after a power cut rtpengine and its calls are gone, too.
std::string WritePrivately(const fs::path& path, const std::string& text) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0) return std::strerror(errno);
    const ssize_t written = write(file, text.data(), text.size());
    const std::string trouble = written < 0 ? std::strerror(errno) : "no space left";
    close(file);
    return written == static_cast<ssize_t>(text.size()) ? std::string() : trouble;
}

}  // namespace

Journal::Journal(fs::path folder) : folder_(std::move(folder)) {
    std::error_code error;
    fs::create_directories(folder_.parent_path(), error);
    if (mkdir(folder_.c_str(), 0700) != 0 && errno != EEXIST)
        throw std::runtime_error("the journal's folder " + folder_.string() +
                                 " cannot be made: " + std::strerror(errno));
    struct stat status {};
    if (stat(folder_.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) || status.st_uid != geteuid() ||
        (status.st_mode & 077) != 0)
        throw std::runtime_error("the journal's folder " + folder_.string() +
                                 " must be a folder of this user that nobody else may enter (chmod 700)");
}

void Journal::SayTrouble(const std::string& trouble) {
    if (!troubleSaid_)
        LogLine("the journal in " + folder_.string() + " cannot be written: " + trouble +
                ". Calls go on; should this program die, their phones stay off the hook until they hang up");
    troubleSaid_ = true;
}

void Journal::Write(const JournalEntry& entry) {
    const json text{{"room", entry.room}, {"dialogs", entry.dialogs}};
    const fs::path path = PathOf(entry.room);
    const fs::path fresh = path.string() + ".new";
    std::string trouble = WritePrivately(fresh, text.dump(-1, ' ', false, json::error_handler_t::replace));
    if (trouble.empty() && rename(fresh.c_str(), path.c_str()) != 0) trouble = std::strerror(errno);
    if (!trouble.empty()) {
        unlink(fresh.c_str());
        return SayTrouble(trouble);
    }
    if (troubleSaid_) LogLine("the journal can be written again");
    troubleSaid_ = false;
}

void Journal::Remove(const std::string& room) {
    unlink(PathOf(room).c_str());
}

std::vector<JournalEntry> Journal::Read() {
    std::vector<JournalEntry> entries;
    std::error_code error;
    for (const auto& file : fs::directory_iterator(folder_, error)) {
        std::ifstream stream(file.path());
        const json text = json::parse(stream, nullptr, false);
        try {
            JournalEntry entry{text.at("room"), text.at("dialogs")};
            if (PathOf(entry.room) != file.path()) throw std::runtime_error("the name is another room's");
            entries.push_back(std::move(entry));
        } catch (const std::exception& fault) {
            LogLine("the journal's file " + file.path().string() +
                    " is no entry and is removed: " + fault.what());
            fs::remove(file.path(), error);
        }
    }
    return entries;
}

}  // namespace telephony
