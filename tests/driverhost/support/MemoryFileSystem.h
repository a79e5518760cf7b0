// A disk in memory that fails on demand and shows what a power cut would leave.
//
// Names and contents reach the disk apart: a content when it is synced, a name when its folder
// is. What was not synced may or may not be there after a power cut, so both are shown.
#ifndef TESTS_DRIVERHOST_SUPPORT_MEMORYFILESYSTEM_H
#define TESTS_DRIVERHOST_SUPPORT_MEMORYFILESYSTEM_H

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "driverhost/state/FileSystem.h"

namespace driverhost {

class MemoryFileSystem final : public FileSystem {
public:
    /// The step with this number, from 0, fails; writing a file is three: open, write, sync.
    void FailAtStep(std::optional<int> step);
    /// Every step fails until told otherwise.
    void FailAll(bool fail);
    /// Writing a file waits until told otherwise, as on a disk that wakes up.
    void Hold(bool hold);
    int StepsDone() const { return steps_; }

    enum class UnsyncedNames { Lost, Kept };
    /// The disk as it is after a power cut.
    std::unique_ptr<MemoryFileSystem> AfterPowerCut(UnsyncedNames names) const;

    /// Puts a file there without any step.
    void Plant(const std::string& path, const std::string& content);
    bool Has(const std::string& path) const;
    std::string ContentOf(const std::string& path) const;

    // FileSystem
    void CreateFolder(const std::string& path) override;
    std::vector<std::string> List(const std::string& folder) override;
    std::string Read(const std::string& path) override;
    void WriteSynced(const std::string& path, std::string_view text) override;
    void Rename(const std::string& from, const std::string& to) override;
    void Remove(const std::string& path) override;
    void SyncFolder(const std::string& path) override;

private:
    struct Inode {
        std::string content;
        std::string onDisk;
    };
    using Names = std::map<std::string, std::shared_ptr<Inode>>;

    void Step(const std::string& what);

    mutable std::mutex mutex_;
    std::set<std::string> folders_;
    Names names_;
    Names namesOnDisk_;
    std::optional<int> failAt_;
    bool failAll_ = false;
    bool held_ = false;
    std::condition_variable released_;
    int steps_ = 0;
};

}  // namespace driverhost

#endif
