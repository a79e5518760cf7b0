#include "driverhost/state/StateRights.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "driverhost/runtime/Fault.h"
#include "driverhost/runtime/HostLog.h"
#include "driverhost/state/PosixFileSystem.h"
#include "host/glue/Log.h"

namespace driverhost {
namespace {

constexpr mode_t kPermissions = 07777;

std::string Octal(mode_t mode) {
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "%04o", static_cast<unsigned int>(mode));
    return text.data();
}

struct stat Look(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) throw FileError("cannot use " + path + ": " + SystemReason());
    return status;
}

void WantOwn(const std::string& path, const struct stat& status) {
    if (status.st_uid == geteuid()) return;
    throw FileError(path + " belongs to user " + std::to_string(status.st_uid) +
                    ", and driverhost runs as user " + std::to_string(geteuid()) +
                    "; run it as that user, or give it the files: chown -R " + std::to_string(geteuid()) +
                    " on the state folder");
}

// Only what is granted to others is taken away; what the owner has denied himself stays.
void Tighten(const std::string& path, const struct stat& status, mode_t allowed) {
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
    WantOwn(path, status);
    Tighten(path, status, S_ISDIR(status.st_mode) ? kOwnerFolder : kOwnerFile);
}

// True when it is a folder. A link that leads nowhere holds nothing.
bool SecureEntry(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 && errno == ENOENT) return false;
    status = Look(path);
    Secure(path, status);
    return S_ISDIR(status.st_mode);
}

}  // namespace

void SecureFolder(const std::string& path) {
    const struct stat status = Look(path);
    if (!S_ISDIR(status.st_mode))
        throw FileError("cannot use the state folder " + path + ": Not a directory");
    Secure(path, status);
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

}  // namespace driverhost
