// The disk of the machine.
#ifndef DRIVERHOST_STATE_POSIXFILESYSTEM_H
#define DRIVERHOST_STATE_POSIXFILESYSTEM_H

#include <sys/types.h>

#include "driverhost/state/FileSystem.h"

namespace driverhost {

/// The rights of what is made here: states hold passwords.
inline constexpr mode_t kOwnerFolder = 0700;
inline constexpr mode_t kOwnerFile = 0600;

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
