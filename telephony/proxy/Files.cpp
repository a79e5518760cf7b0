#include "telephony/proxy/Files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <sstream>
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

}  // namespace

void MakePrivateFolder(const std::string& path) {
    if (!IsPlainPath(path))
        throw Failure("the folder " + path +
                      " cannot be used: give a whole path of letters, digits and / . _ - +");
    telephony::MakePrivateFolder(path);
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
