#include "client/BackupFile.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include "client/Failure.h"

namespace {

std::string Reason(int error) {
    return std::generic_category().message(error);
}

[[noreturn]] void FailWriting(const std::string& path) {
    throw Failure(EXIT_NO_ANSWER, "cannot write " + path + ": " + Reason(errno));
}

std::string ExistsAlready(const std::string& path) {
    return path + " exists already and is left as it is; give another name, or --overwrite to replace it";
}

std::string FolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Not every file system can refuse to replace a name; a second link can always.
bool MoveToFreeName(const std::string& from, const std::string& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    return link(from.c_str(), to.c_str()) == 0 && unlink(from.c_str()) == 0;
}

}  // namespace

BackupFile::BackupFile(std::string path, bool overwrite) : path_(std::move(path)), overwrite_(overwrite) {
    struct stat status {};
    const bool exists = lstat(path_.c_str(), &status) == 0;
    if (exists && !overwrite_) throw WrongUse(ExistsAlready(path_));
    if (exists && !S_ISREG(status.st_mode)) throw WrongUse(path_ + " is not a file that can be replaced");
    std::string name = path_ + ".XXXXXX";
    file_ = mkostemp(name.data(), O_CLOEXEC);  // mode 0600
    if (file_ < 0) throw WrongUse("cannot write " + path_ + ": " + Reason(errno));
    temporary_ = std::move(name);
}

BackupFile::~BackupFile() {
    if (file_ >= 0) close(file_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

void BackupFile::Finish(std::string_view text) {
    Write(text);
    if (fsync(file_) != 0) FailWriting(path_);
    Place();
    SyncFolder();
}

void BackupFile::Write(std::string_view text) const {
    while (!text.empty()) {
        const ssize_t written = write(file_, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) FailWriting(path_);
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

void BackupFile::Place() {
    const bool placed =
        overwrite_ ? std::rename(temporary_.c_str(), path_.c_str()) == 0 : MoveToFreeName(temporary_, path_);
    if (!placed && errno == EEXIST) throw WrongUse(ExistsAlready(path_));
    if (!placed) FailWriting(path_);
    temporary_.clear();
}

void BackupFile::SyncFolder() const {
    const int folder = open(FolderOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = folder >= 0 && fsync(folder) == 0;
    const int error = errno;
    if (folder >= 0) close(folder);
    if (!synced)
        throw Failure(EXIT_NO_ANSWER,
                      path_ + " is written, but may be gone after a power cut: " + Reason(error));
}
