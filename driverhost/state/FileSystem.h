// What the state store asks of a disk. The process uses PosixFileSystem; tests put a disk of
// their own in its place, which fails and loses power on demand. Each operation is one step that
// can fail or be the last, so what is safe on disk at each moment can be seen.
#ifndef DRIVERHOST_STATE_FILESYSTEM_H
#define DRIVERHOST_STATE_FILESYSTEM_H

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace driverhost {

/// Names the operation, the path and the reason.
class FileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The file is there and its content is not: a bad sector, a broken file system. Other failures to
/// read, as for want of rights, may pass and say nothing about the content.
class FileDamaged : public FileError {
public:
    using FileError::FileError;
};

/// A file being written. Every operation throws FileError when it fails.
class NewFile {
public:
    virtual ~NewFile() = default;

    /// What was written of a text whose writing failed is not known.
    virtual void Write(std::string_view text) = 0;

    /// Puts the content on disk. After a failure nobody knows what of it is there, even if a second
    /// try succeeds: write the file anew.
    virtual void Sync() = 0;
};

/// Every operation throws FileError when it fails.  [one thread at a time]
class FileSystem {
public:
    virtual ~FileSystem() = default;

    /// Makes the folder, for its owner only. One that exists is left as it is. Its name is on disk
    /// after SyncFolder of the one around it.
    virtual void CreateFolder(const std::string& path) = 0;

    /// The names in the folder, in no order.
    virtual std::vector<std::string> List(const std::string& folder) = 0;

    virtual std::string Read(const std::string& path) = 0;

    /// When the content was written.
    virtual std::chrono::system_clock::time_point WrittenAt(const std::string& path) = 0;

    /// Makes or empties the file, for its owner only. Its name is on disk after SyncFolder.
    virtual std::unique_ptr<NewFile> Create(const std::string& path) = 0;

    /// Replaces `to` if there is one. On disk after SyncFolder.
    virtual void Rename(const std::string& from, const std::string& to) = 0;

    /// On disk after SyncFolder.
    virtual void Remove(const std::string& path) = 0;

    /// Puts the names in the folder on disk.
    virtual void SyncFolder(const std::string& path) = 0;
};

}  // namespace driverhost

#endif
