#include "client/BackupFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include "client/Failure.h"

namespace {

constexpr mode_t kOwnerOnly = 0600;
constexpr int kMostNames = 100;  // that earlier runs may have left when they were killed

std::string Reason(int error) {
    return std::generic_category().message(error);
}

[[noreturn]] void FailWriting(const std::string& path) {
    throw Failure(EXIT_NO_ANSWER, "cannot write " + path + ": " + Reason(errno));
}

std::string ExistsAlready(const std::string& path) {
    return path + " exists already and is left as it is; choose another name, or replace it with --overwrite";
}

std::string FolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Not every file system has files without a name (open(2), O_TMPFILE).
bool NeedsName(int error) {
    return error == EOPNOTSUPP || error == EISDIR;
}

// Not every file system can refuse to replace a name; a second link always can.
bool MoveToFreeName(const std::string& from, const std::string& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    return link(from.c_str(), to.c_str()) == 0 && unlink(from.c_str()) == 0;
}

}  // namespace

SignalHold::SignalHold() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
}

SignalHold::~SignalHold() {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

BackupFile::BackupFile(std::string path, bool overwrite) : path_(std::move(path)), overwrite_(overwrite) {
    struct stat status {};
    const bool exists = lstat(path_.c_str(), &status) == 0;
    if (exists && !overwrite_) throw WrongUse(ExistsAlready(path_));
    if (exists && !S_ISREG(status.st_mode)) throw WrongUse(path_ + " is not a file that can be replaced");
    const std::string folder = FolderOf(path_);
    file_ = open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, kOwnerOnly);
    if (file_ >= 0 || (NeedsName(errno) && access(folder.c_str(), W_OK | X_OK) == 0)) return;
    throw WrongUse("cannot write " + path_ + ": " + Reason(errno));
}

BackupFile::~BackupFile() {
    if (file_ >= 0) close(file_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

void BackupFile::Finish(std::string_view text) {
    hold_.emplace();
    if (file_ < 0) OpenNamed();
    Write(text);
    if (fsync(file_) != 0) FailWriting(path_);
    Place();
    SyncFolder();
}

void BackupFile::OpenNamed() {
    const bool opened = TakeTemporaryName([this](const std::string& name) {
        file_ = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly);
        return file_ >= 0;
    });
    if (!opened) FailWriting(path_);
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
    const bool placed = temporary_.empty() ? Link(path_) : MoveToFreeName(temporary_, path_);
    if (placed) {
        temporary_.clear();
    } else if (errno != EEXIST) {
        FailWriting(path_);
    } else if (overwrite_) {
        Replace();
    } else {
        throw WrongUse(ExistsAlready(path_));
    }
}

// Only rename can replace a file, and it needs a name to rename. A process that is killed between these two
// steps leaves that name.
void BackupFile::Replace() {
    const auto link = [this](const std::string& name) { return Link(name); };
    if (temporary_.empty() && !TakeTemporaryName(link)) FailWriting(path_);
    if (std::rename(temporary_.c_str(), path_.c_str()) != 0) FailWriting(path_);
    temporary_.clear();
}

// Gives the open file a name that is free.
bool BackupFile::Link(const std::string& name) const {
    const std::string file = "/proc/self/fd/" + std::to_string(file_);
    return linkat(AT_FDCWD, file.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

bool BackupFile::TakeTemporaryName(const std::function<bool(const std::string& name)>& make) {
    for (int number = 1; number <= kMostNames; ++number) {
        const std::string name = path_ + ".new" + std::to_string(number);
        if (make(name)) {
            temporary_ = name;
            return true;
        }
        if (errno != EEXIST) return false;
    }
    return false;
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
