#include "driverhost/state/StateLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>

#include "driverhost/runtime/Fault.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/FileSystem.h"
#include "host/glue/Log.h"

namespace driverhost {
namespace {

constexpr char kLockName[] = "/.lock";
constexpr mode_t kPermissions = 07777;
constexpr std::size_t kMaxHolderBytes = 4096;

// Making the folder.

// A new folder survives a power cut once its name is on disk in its parent.
void SyncParent(const std::filesystem::path& path) {
    const std::filesystem::path parent = path.parent_path();
    PosixFileSystem().SyncFolder(parent.empty() ? "." : parent.string());
}

// With the usual rights, as mkdir -p makes them.
void CreateParents(const std::filesystem::path& path) {
    const std::filesystem::path parent = path.parent_path();
    std::error_code error;
    if (parent.empty() || std::filesystem::exists(parent, error)) return;
    CreateParents(parent);
    std::filesystem::create_directory(parent, error);
    if (error) throw FileError("cannot make the folder above " + path.string() + ": " + error.message());
    SyncParent(parent);
}

void CreateFolder(const std::string& folder) {
    std::filesystem::path path = std::filesystem::path(folder).lexically_normal();
    if (!path.has_filename()) path = path.parent_path();  // a slash at the end
    CreateParents(path);
    std::error_code error;
    if (std::filesystem::exists(path, error)) return;
    PosixFileSystem().CreateFolder(path.string());
    SyncParent(path);
}

// Closing it to other users.

std::string Octal(mode_t mode) {
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "%04o", static_cast<unsigned int>(mode));
    return text.data();
}

struct stat StatusOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) throw FileError("cannot use " + path + ": " + SystemReason());
    return status;
}

void CheckOwner(const std::string& path, const struct stat& status) {
    if (status.st_uid == geteuid()) return;
    throw FileError(path + " belongs to user " + std::to_string(status.st_uid) +
                    ", and driverhost runs as user " + std::to_string(geteuid()) +
                    "; run it as that user, or give it the files: chown -R " + std::to_string(geteuid()) +
                    " on the state folder");
}

// Takes away rights of others only: a mode that denies its owner something stays as it is.
void CloseToOthers(const std::string& path, const struct stat& status, mode_t allowed) {
    const mode_t mode = status.st_mode & kPermissions;
    if ((mode & ~kOwnerFolder) == 0) return;
    if (chmod(path.c_str(), mode & allowed) != 0) {
        throw FileError("others may read " + path + " (mode " + Octal(mode) +
                        "), and that cannot be changed: " + SystemReason());
    }
    HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                   "others could use " + path + " (mode " + Octal(mode) +
                       "), where passwords may stand; it is " + Octal(mode & allowed) + " now");
}

void Secure(const std::string& path, const struct stat& status) {
    CheckOwner(path, status);
    CloseToOthers(path, status, S_ISDIR(status.st_mode) ? kOwnerFolder : kOwnerFile);
}

void SecureFolder(const std::string& path) {
    const struct stat status = StatusOf(path);
    if (!S_ISDIR(status.st_mode))
        throw FileError("cannot use the state folder " + path + ": Not a directory");
    Secure(path, status);
}

// True when it is a folder. A link to nowhere holds nothing that could be read.
bool SecureEntry(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 && errno == ENOENT) return false;
    status = StatusOf(path);
    Secure(path, status);
    return S_ISDIR(status.st_mode);
}

void SecureContents(const std::string& path) {
    PosixFileSystem files;
    for (const std::string& name : files.List(path)) {
        const std::string inner = path + "/" + name;
        if (!SecureEntry(inner)) continue;
        for (const std::string& file : files.List(inner))
            SecureEntry(inner + "/" + file);
    }
}

// Keeping other hosts out.

// The process that has the lock, when another one has it; 0 is a process that is not visible from here.
// The lock belongs to the process, not to the open file: programs that drivers start do not inherit it, so
// it ends when the host does.
std::optional<pid_t> TryLock(const FileDescriptor& file) {
    for (;;) {
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        if (fcntl(file.Get(), F_SETLK, &lock) == 0) return std::nullopt;
        if (errno != EAGAIN && errno != EACCES)
            throw FileError("cannot lock the state folder: " + SystemReason());
        if (fcntl(file.Get(), F_GETLK, &lock) != 0)
            throw FileError("cannot lock the state folder: " + SystemReason());
        if (lock.l_type != F_UNLCK) return lock.l_pid;
    }
}

// The file may still hold the text of an earlier process if the present one took the lock just now.
std::string DescribeOther(const FileDescriptor& file, pid_t process) {
    std::array<char, kMaxHolderBytes> text;
    const ssize_t length = pread(file.Get(), text.data(), text.size(), 0);
    std::string holder(text.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    holder.erase(std::min(holder.find('\n'), holder.size()));
    const std::string bare = "process " + std::to_string(process);
    return process == 0 || holder.starts_with(bare + " ") ? holder : bare;
}

}  // namespace

StateLock::StateLock(const std::string& folder, const std::string& holder) {
    CreateFolder(folder);
    SecureFolder(folder);
    Take(folder);
    Sign(folder, holder);
    SecureContents(folder);
}

void StateLock::Take(const std::string& folder) {
    const std::string path = folder + kLockName;
    file_ = FileDescriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kOwnerFile));
    if (!file_) throw FileError("cannot use the state folder " + folder + ": " + SystemReason());
    const std::optional<pid_t> other = TryLock(file_);
    if (!other) return;
    throw FileError("the state folder " + folder + " is in use by another driverhost, " +
                    DescribeOther(file_, *other) + "; stop that one or give another --state-dir");
}

void StateLock::Sign(const std::string& folder, const std::string& holder) {
    const std::string line = holder.substr(0, kMaxHolderBytes - 1) + "\n";
    const auto length = static_cast<ssize_t>(line.size());
    if (ftruncate(file_.Get(), 0) == 0 && pwrite(file_.Get(), line.data(), line.size(), 0) == length) return;
    HostLog::Write(dv::LOG_LEVEL_ERROR, kHostName,
                   "cannot write who uses the state folder " + folder + ": " + SystemReason());
}

std::string DescribeHolder(const std::string& homeFile) {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::absolute(homeFile, error);
    return "process " + std::to_string(getpid()) + " with the home file " +
           (error ? homeFile : path.string());
}

}  // namespace driverhost
