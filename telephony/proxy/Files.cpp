#include "telephony/proxy/Files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <system_error>
#include <thread>

namespace proxy {

namespace {

constexpr std::chrono::seconds kLockTime{8};  // longer than an earlier Kamailio is given to end
constexpr std::chrono::milliseconds kLockStep{2};

bool IsPlainPath(const std::string& path) {
    constexpr std::string_view kAllowed = "/._-+";
    return path.starts_with('/') && std::ranges::all_of(path, [&](char c) {
               return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                      kAllowed.find(c) != kAllowed.npos;
           });
}

// Each folder above that is missing is made as well.
void MakeFolders(const std::string& path) {
    for (std::size_t at = path.find('/', 1);; at = path.find('/', at + 1)) {
        const std::string part = path.substr(0, at);
        if (::mkdir(part.c_str(), S_IRWXU) != 0 && errno != EEXIST)
            throw SystemFailure("cannot make " + part, errno);
        if (at == path.npos) return;
    }
}

}  // namespace

Failure SystemFailure(const std::string& text, int error) {
    return Failure(text + ": " + std::generic_category().message(error));
}

void MakePrivateFolder(const std::string& path) {
    if (!IsPlainPath(path))
        throw Failure("the folder " + path +
                      " cannot be used: give a whole path of letters, digits and / . _ - +");
    MakeFolders(path);
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0) throw SystemFailure("cannot look at " + path, errno);
    if (!S_ISDIR(found.st_mode) || found.st_uid != ::geteuid())
        throw Failure("the folder " + path + " is not this user's own; give another");
    if ((found.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw Failure("the folder " + path + " is open to other users; chmod 700 it, or give another");
}

void WritePrivateFile(const std::string& path, const std::string& text) {
    const std::string temporary = path + ".new";
    ::unlink(temporary.c_str());  // its mode would stay as it is
    const int file =
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (file < 0) throw SystemFailure("cannot write " + temporary, errno);
    const ssize_t written = ::write(file, text.data(), text.size());
    const int error = written < 0 ? errno : ENOSPC;
    const bool whole = written == static_cast<ssize_t>(text.size());
    if (::close(file) != 0 || !whole) {
        ::unlink(temporary.c_str());
        throw SystemFailure("cannot write " + path, error);
    }
    Rename(temporary, path);
}

void Rename(const std::string& temporary, const std::string& path) {
    if (std::rename(temporary.c_str(), path.c_str()) != 0) throw SystemFailure("cannot write " + path, errno);
}

std::optional<std::string> ReadWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        if (errno == ENOENT) return std::nullopt;
        throw SystemFailure("cannot read " + path, errno);
    }
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

FolderLock::FolderLock(const std::string& folder) {
    const std::string path = folder + "/lock";
    handle_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (handle_ < 0) throw SystemFailure("cannot open " + path, errno);
    const auto end = std::chrono::steady_clock::now() + kLockTime;
    while (::flock(handle_, LOCK_EX | LOCK_NB) != 0) {
        if (std::chrono::steady_clock::now() > end) {
            ::close(handle_);
            throw Failure("another sipproxy uses the folder " + folder + "; end it, or give another folder");
        }
        std::this_thread::sleep_for(kLockStep);
    }
}

bool FolderLock::IsHeld(const std::string& folder) {
    const int handle = ::open((folder + "/lock").c_str(), O_RDWR | O_CLOEXEC);
    if (handle < 0) return false;
    const bool held = ::flock(handle, LOCK_EX | LOCK_NB) != 0;
    ::close(handle);
    return held;
}

FolderLock::~FolderLock() {
    ::close(handle_);
}

}  // namespace proxy
