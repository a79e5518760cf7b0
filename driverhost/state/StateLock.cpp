#include "driverhost/state/StateLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>

#include "driverhost/runtime/Fault.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/PosixFileSystem.h"
#include "driverhost/state/StateRights.h"
#include "host/glue/Log.h"

namespace driverhost {
namespace {

constexpr char kLockName[] = "/.lock";
constexpr std::size_t kMostHolder = 4096;

// A folder that was made is there after a power cut when its name is on disk in the one around it.
void SyncFolderAround(const std::filesystem::path& path) {
    const std::filesystem::path around = path.parent_path();
    PosixFileSystem().SyncFolder(around.empty() ? "." : around.string());
}

// With the usual rights, as mkdir -p does it.
void CreateFoldersAbove(const std::filesystem::path& path) {
    const std::filesystem::path above = path.parent_path();
    std::error_code error;
    if (above.empty() || std::filesystem::exists(above, error)) return;
    CreateFoldersAbove(above);
    std::filesystem::create_directory(above, error);
    if (error) throw FileError("cannot make the folder above " + path.string() + ": " + error.message());
    SyncFolderAround(above);
}

// The state folder itself is for its owner only.
void CreateFolder(const std::string& folder) {
    std::filesystem::path path = std::filesystem::path(folder).lexically_normal();
    if (!path.has_filename()) path = path.parent_path();  // a slash at the end
    CreateFoldersAbove(path);
    std::error_code error;
    if (std::filesystem::exists(path, error)) return;
    PosixFileSystem().CreateFolder(path.string());
    SyncFolderAround(path);
}

// What was signed may be from an earlier process when the lock was taken a moment ago.
std::string DescribeOther(const FileDescriptor& file, pid_t process) {
    std::array<char, kMostHolder> text;
    const ssize_t length = pread(file.Get(), text.data(), text.size(), 0);
    std::string holder(text.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    holder.erase(std::min(holder.find('\n'), holder.size()));
    const std::string bare = "process " + std::to_string(process);
    return process == 0 || holder.starts_with(bare + " ") ? holder : bare;
}

// None when the lock is taken, else who has it; 0 is a process that is not seen from here. A lock of the
// process, not of the open file: programs that drivers start have it neither before nor after they run, so it
// ends when the host does.
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
    const std::string line = holder.substr(0, kMostHolder - 1) + "\n";
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
