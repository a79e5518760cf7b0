// What the state store asks of a disk. The process uses PosixFileSystem; tests use a disk in memory that
// fails and loses power on demand. Each operation is one step that can fail or be the last one done, so
// a test can look at what is safe on disk after every step.
#ifndef DRIVERHOST_STATE_FILESYSTEM_H
#define DRIVERHOST_STATE_FILESYSTEM_H

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace driverhost {

/// States hold passwords in clear, so only the user that the process runs as may use them.
inline constexpr mode_t kOwnerFolder = 0700;
inline constexpr mode_t kOwnerFile = 0600;

/// Names the operation, the path and the reason.
class FileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The file exists but its content is lost: a bad sector, a broken file system. Other read errors,
/// such as missing rights, may pass and say nothing about the content.
class FileDamaged : public FileError {
public:
    using FileError::FileError;
};

/// A file being written. Every operation throws FileError when it fails.
class NewFile {
public:
    virtual ~NewFile() = default;

    /// When it throws, any part of the text may have been written.
    virtual void Write(std::string_view text) = 0;

    /// Puts the content on disk. After a failure any part of it may be there, and a second Sync that
    /// succeeds proves nothing: write the file again.
    virtual void Sync() = 0;
};

/// Every operation throws FileError when it fails.  [one thread at a time]
class FileSystem {
public:
    virtual ~FileSystem() = default;

    /// Makes the folder with the mode kOwnerFolder; an existing one is left as it is. Its name is on
    /// disk after SyncFolder of its parent.
    virtual void CreateFolder(const std::string& path) = 0;

    /// The names in the folder, in no order.
    virtual std::vector<std::string> List(const std::string& folder) = 0;

    virtual std::string Read(const std::string& path) = 0;

    /// When the content was written.
    virtual std::chrono::system_clock::time_point WrittenAt(const std::string& path) = 0;

    /// Makes the file with the mode kOwnerFile, or empties it. Its name is on disk after SyncFolder.
    virtual std::unique_ptr<NewFile> Create(const std::string& path) = 0;

    /// Replaces `to` if there is one. On disk after SyncFolder.
    virtual void Rename(const std::string& from, const std::string& to) = 0;

    /// On disk after SyncFolder.
    virtual void Remove(const std::string& path) = 0;

    /// Puts the names in the folder on disk.
    virtual void SyncFolder(const std::string& path) = 0;
};

/// The disk of the machine.
class PosixFileSystem final : public FileSystem {
public:
    // FileSystem
    void CreateFolder(const std::string& path) override;
    std::vector<std::string> List(const std::string& folder) override;
    std::string Read(const std::string& path) override;
    std::chrono::system_clock::time_point WrittenAt(const std::string& path) override;
    std::unique_ptr<NewFile> Create(const std::string& path) override;
    void Rename(const std::string& from, const std::string& to) override;
    void Remove(const std::string& path) override;
    void SyncFolder(const std::string& path) override;
};

}  // namespace driverhost

#endif
