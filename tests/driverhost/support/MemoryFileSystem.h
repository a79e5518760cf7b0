// A disk in memory that fails and loses power on demand, and shows what a power cut would leave.
//
// Names and contents reach the disk separately: a content when the file is synced, a name when its folder is.
// After a power cut any part of what was not synced may be there; the test decides which.
#ifndef TESTS_DRIVERHOST_SUPPORT_MEMORYFILESYSTEM_H
#define TESTS_DRIVERHOST_SUPPORT_MEMORYFILESYSTEM_H

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "driverhost/state/FileSystem.h"

namespace driverhost {

class MemoryFileSystem final : public FileSystem {
public:
    enum class Fault {
        Error,      // nothing was done
        LateError,  // it was done (half of a write), but reports a failure
        PowerCut    // it was begun, and nothing works afterwards
    };
    /// The step with this number, counted from 0, fails. Writing a file takes three: create, write, sync.
    void FailAtStep(std::optional<int> step, Fault fault = Fault::Error);
    /// Every step fails until FailAll(false).
    void FailAll(bool fail);
    /// Making a file waits until Hold(false), as on a disk that has to wake up.
    void Hold(bool hold);
    int StepsDone() const;
    /// False after a power cut.
    bool HasPower() const;
    /// Only the process ended, not the machine: what was not synced is still there, and still not synced.
    void GoOn();

    /// A disk that lies: it reports a sync that it has not done.
    void SyncNoContents() { syncsContents_ = false; }
    void SyncNoNames() { syncsNames_ = false; }

    /// Decides what is on the disk after a power cut of that which was not synced.
    struct PowerCut {
        std::function<bool()> keepsName;  // called for each name made, moved or removed, in order
        std::function<std::string(const std::string& synced, const std::string& written)> content;
    };
    static PowerCut LosingAll();
    /// Every name, but only synced contents.
    static PowerCut KeepingNames();
    static PowerCut KeepingAll();
    /// The disk as it is after a power cut.
    std::unique_ptr<MemoryFileSystem> AfterPowerCut(const PowerCut& cut) const;

    /// Puts a file there, which counts as no step.
    void Plant(const std::string& path, const std::string& content);
    /// The file's content cannot be read from now on.
    void Spoil(const std::string& path);
    bool Has(const std::string& path) const;
    std::string ContentOf(const std::string& path) const;
    /// The files of a folder: names and contents.
    std::map<std::string, std::string> FilesOf(const std::string& folder) const;

    // FileSystem
    void CreateFolder(const std::string& path) override;
    std::vector<std::string> List(const std::string& folder) override;
    std::string Read(const std::string& path) override;
    /// 2026-01-01T00:00:00Z for the first file made, a second later for each one after it.
    std::chrono::system_clock::time_point WrittenAt(const std::string& path) override;
    std::unique_ptr<NewFile> Create(const std::string& path) override;
    void Rename(const std::string& from, const std::string& to) override;
    void Remove(const std::string& path) override;
    void SyncFolder(const std::string& path) override;

private:
    class MemoryNewFile;
    struct Inode {
        std::string written;
        std::string synced;
        long number = 0;
        bool spoiled = false;
        bool syncFailed = false;  // a later sync succeeds, but writes nothing
    };
    using InodePtr = std::shared_ptr<Inode>;

    // The names of the whole disk.
    struct Names {
        std::set<std::string> folders;
        std::map<std::string, InodePtr> files;
    };
    // One change of names: made, moved or removed.
    struct Change {
        std::string folder;  // its sync puts the change on disk
        std::function<void(Names&)> apply;
    };

    template <class Action, class LateAction>
    void Step(const std::string& what, Action action, LateAction late);
    template <class Action>
    void Step(const std::string& what, Action action) {
        Step(what, action, [](Fault) {});
    }
    void ChangeNames(const std::string& path, const std::function<void(Names&)>& apply);
    InodePtr Find(const std::string& what, const std::string& path) const;
    void Make(const std::string& path, InodePtr& inode);

    mutable std::mutex mutex_;
    Names names_;
    Names namesOnDisk_;
    std::vector<Change> unsynced_;
    long filesMade_ = 0;
    std::optional<int> failAt_;
    Fault fault_ = Fault::Error;
    bool failAll_ = false;
    bool hasPower_ = true;
    bool syncsContents_ = true;
    bool syncsNames_ = true;
    bool held_ = false;
    std::condition_variable released_;
    int steps_ = 0;
};

}  // namespace driverhost

#endif
