// What the state store asks of a disk. The process uses PosixFileSystem; tests put a disk of
// their own in its place, which fails on demand.
#ifndef DRIVERHOST_STATE_FILESYSTEM_H
#define DRIVERHOST_STATE_FILESYSTEM_H

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

/// Every operation throws FileError when it fails.  [one thread at a time]
class FileSystem {
public:
    virtual ~FileSystem() = default;

    /// Makes the folder, for its owner only. One that exists is left as it is.
    virtual void CreateFolder(const std::string& path) = 0;

    /// The names in the folder, in no order.
    virtual std::vector<std::string> List(const std::string& folder) = 0;

    virtual std::string Read(const std::string& path) = 0;

    /// Makes or replaces the file, for its owner only. Its content is on disk on return; its name
    /// is so after SyncFolder only.
    virtual void WriteSynced(const std::string& path, std::string_view text) = 0;

    /// Replaces `to` if there is one.
    virtual void Rename(const std::string& from, const std::string& to) = 0;

    virtual void Remove(const std::string& path) = 0;

    /// Puts the names in the folder on disk.
    virtual void SyncFolder(const std::string& path) = 0;
};

}  // namespace driverhost

#endif
