#include "driverhost/state/StateLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "driverhost/state/PosixFileSystem.h"

namespace driverhost {
namespace {

constexpr char kLockName[] = "/.lock";
constexpr mode_t kOwnerFile = 0600;

std::string Reason() {
    return std::generic_category().message(errno);
}

// The folders above get the usual rights, the state folder itself is for its owner only.
void CreateFolder(const std::string& folder) {
    std::filesystem::path path = std::filesystem::path(folder).lexically_normal();
    if (!path.has_filename()) path = path.parent_path();  // a slash at the end
    std::error_code error;
    if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path(), error);
    if (error) throw FileError("cannot make the folder above " + folder + ": " + error.message());
    PosixFileSystem().CreateFolder(folder);
}

}  // namespace

StateLock::StateLock(const std::string& folder) {
    CreateFolder(folder);
    const std::string path = folder + kLockName;
    file_ = FileDescriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kOwnerFile));
    if (!file_) throw FileError("cannot use the state folder " + folder + ": " + Reason());
    if (flock(file_.Get(), LOCK_EX | LOCK_NB) == 0) return;
    if (errno != EWOULDBLOCK) throw FileError("cannot lock the state folder " + folder + ": " + Reason());
    throw FileError("the state folder " + folder +
                    " is in use by another driverhost; stop that one or give another --state-dir");
}

}  // namespace driverhost
