#include "driverhost/state/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>

#include "driverhost/runtime/Fault.h"
#include "driverhost/runtime/FileDescriptor.h"

namespace driverhost {
namespace {

constexpr std::size_t kReadBytes = 64 * 1024;

std::string Message(const char* operation, const std::string& path, int error) {
    return std::string("cannot ") + operation + " " + path + ": " + SystemReason(error);
}

[[noreturn]] void Throw(const char* operation, const std::string& path) {
    throw FileError(Message(operation, path, errno));
}

// EISDIR too: a folder in the place of the file will not turn into the file by itself.
[[noreturn]] void ThrowRead(const std::string& path) {
    const int error = errno;
    if (error == EIO || error == EBADMSG || error == EUCLEAN || error == EISDIR)
        throw FileDamaged(Message("read", path, error));
    throw FileError(Message("read", path, error));
}

FileDescriptor Open(const char* operation, const std::string& path, int flags) {
    FileDescriptor file(open(path.c_str(), flags | O_CLOEXEC, kOwnerFile));
    if (!file) Throw(operation, path);
    return file;
}

class PosixNewFile final : public NewFile {
public:
    explicit PosixNewFile(std::string path)
        : path_(std::move(path)), file_(Open("write", path_, O_WRONLY | O_CREAT | O_TRUNC)) {}

    void Write(std::string_view text) override {
        while (!text.empty()) {
            const ssize_t written = write(file_.Get(), text.data(), text.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) Throw("write", path_);
            text.remove_prefix(static_cast<std::size_t>(written));
        }
    }

    void Sync() override {
        if (fsync(file_.Get()) != 0) Throw("sync", path_);
    }

private:
    const std::string path_;
    const FileDescriptor file_;
};

}  // namespace

void PosixFileSystem::CreateFolder(const std::string& path) {
    if (mkdir(path.c_str(), kOwnerFolder) != 0 && errno != EEXIST) Throw("make the folder", path);
}

std::vector<std::string> PosixFileSystem::List(const std::string& folder) {
    struct Closer {
        void operator()(DIR* stream) const { closedir(stream); }
    };
    const std::unique_ptr<DIR, Closer> stream(opendir(folder.c_str()));
    if (!stream) Throw("list", folder);
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = readdir(stream.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
        errno = 0;
    }
    if (errno != 0) Throw("list", folder);
    return names;
}

std::string PosixFileSystem::Read(const std::string& path) {
    const FileDescriptor file = Open("read", path, O_RDONLY);
    std::string text;
    std::array<char, kReadBytes> part;
    for (;;) {
        const ssize_t got = read(file.Get(), part.data(), part.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) ThrowRead(path);
        if (got == 0) return text;
        text.append(part.data(), static_cast<std::size_t>(got));
    }
}

std::chrono::system_clock::time_point PosixFileSystem::WrittenAt(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) Throw("look at", path);
    const auto time =
        std::chrono::seconds(status.st_mtim.tv_sec) + std::chrono::nanoseconds(status.st_mtim.tv_nsec);
    return std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(time));
}

std::unique_ptr<NewFile> PosixFileSystem::Create(const std::string& path) {
    return std::make_unique<PosixNewFile>(path);
}

void PosixFileSystem::Rename(const std::string& from, const std::string& to) {
    if (rename(from.c_str(), to.c_str()) != 0) Throw("rename", from);
}

void PosixFileSystem::Remove(const std::string& path) {
    if (unlink(path.c_str()) != 0) Throw("remove", path);
}

void PosixFileSystem::SyncFolder(const std::string& path) {
    const FileDescriptor folder = Open("sync the folder", path, O_RDONLY | O_DIRECTORY);
    if (fsync(folder.Get()) != 0) Throw("sync the folder", path);
}

}  // namespace driverhost
