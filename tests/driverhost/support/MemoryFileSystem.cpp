#include "tests/driverhost/support/MemoryFileSystem.h"

#include <utility>

namespace driverhost {
namespace {

constexpr std::chrono::seconds kFirstFile{1767225600};  // 2026-01-01T00:00:00Z

std::string FolderOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

}  // namespace

void MemoryFileSystem::FailAtStep(std::optional<int> step, Fault fault) {
    const std::lock_guard lock(mutex_);
    failAt_ = step;
    fault_ = fault;
    steps_ = 0;
}

void MemoryFileSystem::FailAll(bool fail) {
    const std::lock_guard lock(mutex_);
    failAll_ = fail;
}

void MemoryFileSystem::Hold(bool hold) {
    {
        const std::lock_guard lock(mutex_);
        held_ = hold;
    }
    released_.notify_all();
}

int MemoryFileSystem::StepsDone() const {
    const std::lock_guard lock(mutex_);
    return steps_;
}

bool MemoryFileSystem::HasPower() const {
    const std::lock_guard lock(mutex_);
    return hasPower_;
}

void MemoryFileSystem::GoOn() {
    const std::lock_guard lock(mutex_);
    hasPower_ = true;
}

MemoryFileSystem::PowerCut MemoryFileSystem::LosingAll() {
    return {[] { return false; }, [](const std::string& synced, const std::string&) { return synced; }};
}

MemoryFileSystem::PowerCut MemoryFileSystem::KeepingNames() {
    return {[] { return true; }, [](const std::string& synced, const std::string&) { return synced; }};
}

MemoryFileSystem::PowerCut MemoryFileSystem::KeepingAll() {
    return {[] { return true; }, [](const std::string&, const std::string& written) { return written; }};
}

std::unique_ptr<MemoryFileSystem> MemoryFileSystem::AfterPowerCut(const PowerCut& cut) const {
    const std::lock_guard lock(mutex_);
    Names left = namesOnDisk_;
    for (const Change& change : unsynced_)
        if (cut.keepsName()) change.apply(left);
    auto disk = std::make_unique<MemoryFileSystem>();
    disk->names_.folders = left.folders;
    disk->filesMade_ = filesMade_;
    for (const auto& [path, inode] : left.files) {
        if (!left.folders.contains(FolderOf(path))) continue;
        auto copy = std::make_shared<Inode>(*inode);
        if (copy->written != copy->synced) copy->written = cut.content(copy->synced, copy->written);
        copy->synced = copy->written;
        copy->syncFailed = false;
        disk->names_.files[path] = std::move(copy);
    }
    disk->namesOnDisk_ = disk->names_;
    return disk;
}

void MemoryFileSystem::Plant(const std::string& path, const std::string& content) {
    const std::lock_guard lock(mutex_);
    auto inode = std::make_shared<Inode>(Inode{content, content, filesMade_++});
    for (Names* names : {&names_, &namesOnDisk_}) {
        names->folders.insert(FolderOf(path));
        names->files[path] = inode;
    }
}

void MemoryFileSystem::Spoil(const std::string& path) {
    const std::lock_guard lock(mutex_);
    names_.files.at(path)->spoiled = true;
}

bool MemoryFileSystem::Has(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    return names_.files.contains(path);
}

std::string MemoryFileSystem::ContentOf(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    return names_.files.at(path)->written;
}

std::map<std::string, std::string> MemoryFileSystem::FilesOf(const std::string& folder) const {
    const std::lock_guard lock(mutex_);
    std::map<std::string, std::string> found;
    for (const auto& [path, inode] : names_.files)
        if (FolderOf(path) == folder) found[path.substr(folder.size() + 1)] = inode->written;
    return found;
}

template <class Action, class LateAction>
void MemoryFileSystem::Step(const std::string& what, Action action, LateAction late) {
    const bool isTheOne = failAt_ == steps_++ && hasPower_;
    if (!isTheOne && !failAll_ && hasPower_) return action();
    if (isTheOne && fault_ == Fault::PowerCut) hasPower_ = false;
    if (isTheOne) late(fault_);
    throw FileError("cannot " + what + ": No space left on device");
}

void MemoryFileSystem::ChangeNames(const std::string& path, const std::function<void(Names&)>& apply) {
    apply(names_);
    unsynced_.push_back({FolderOf(path), apply});
}

MemoryFileSystem::InodePtr MemoryFileSystem::Find(const std::string& what, const std::string& path) const {
    const auto found = names_.files.find(path);
    if (found == names_.files.end()) throw FileError("cannot " + what + " " + path + ": no such file");
    return found->second;
}

void MemoryFileSystem::CreateFolder(const std::string& path) {
    const std::lock_guard lock(mutex_);
    const auto make = [&] {
        if (!names_.folders.contains(path))
            ChangeNames(path, [path](Names& names) { names.folders.insert(path); });
    };
    Step("make " + path, make, [&](Fault fault) {
        if (fault != Fault::Error) make();
    });
}

std::vector<std::string> MemoryFileSystem::List(const std::string& folder) {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> found;
    Step("list " + folder, [&] {
        for (const auto& [path, inode] : names_.files)
            if (FolderOf(path) == folder) found.push_back(path.substr(folder.size() + 1));
    });
    return found;
}

std::string MemoryFileSystem::Read(const std::string& path) {
    const std::lock_guard lock(mutex_);
    std::string content;
    Step("read " + path, [&] {
        const InodePtr inode = Find("read", path);
        if (inode->spoiled) throw FileDamaged("cannot read " + path + ": Input/output error");
        content = inode->written;
    });
    return content;
}

std::chrono::system_clock::time_point MemoryFileSystem::WrittenAt(const std::string& path) {
    const std::lock_guard lock(mutex_);
    std::chrono::seconds time = kFirstFile;
    Step("look at " + path, [&] { time += std::chrono::seconds(Find("look at", path)->number); });
    return std::chrono::system_clock::time_point(time);
}

class MemoryFileSystem::MemoryNewFile final : public NewFile {
public:
    MemoryNewFile(MemoryFileSystem& disk, std::string path, InodePtr inode)
        : disk_(disk), path_(std::move(path)), inode_(std::move(inode)) {}

    void Write(std::string_view text) override {
        const std::lock_guard lock(disk_.mutex_);
        disk_.Step(
            "write " + path_, [&] { inode_->written.append(text); },
            [&](Fault fault) {
                if (fault == Fault::LateError) inode_->written.append(text.substr(0, text.size() / 2));
                if (fault == Fault::PowerCut) inode_->written.append(text);
            });
    }

    void Sync() override {
        const std::lock_guard lock(disk_.mutex_);
        const auto sync = [&] {
            if (disk_.syncsContents_ && !inode_->syncFailed) inode_->synced = inode_->written;
        };
        disk_.Step("sync " + path_, sync, [&](Fault fault) {
            if (fault == Fault::LateError) sync();
            inode_->syncFailed = true;
        });
    }

private:
    MemoryFileSystem& disk_;
    const std::string path_;
    const InodePtr inode_;
};

void MemoryFileSystem::Make(const std::string& path, InodePtr& inode) {
    if (!names_.folders.contains(FolderOf(path)))
        throw FileError("cannot create " + path + ": no such folder");
    const auto found = names_.files.find(path);
    if (found != names_.files.end()) {
        inode = found->second;
        inode->written.clear();
        inode->syncFailed = false;
    } else {
        inode = std::make_shared<Inode>();
        ChangeNames(path, [path, inode](Names& names) { names.files[path] = inode; });
    }
    inode->number = filesMade_++;
}

std::unique_ptr<NewFile> MemoryFileSystem::Create(const std::string& path) {
    std::unique_lock lock(mutex_);
    released_.wait(lock, [this] { return !held_; });
    InodePtr inode;
    const auto make = [&] { Make(path, inode); };
    Step("create " + path, make, [&](Fault fault) {
        if (fault != Fault::Error) make();
    });
    return std::make_unique<MemoryNewFile>(*this, path, inode);
}

void MemoryFileSystem::Rename(const std::string& from, const std::string& to) {
    const std::lock_guard lock(mutex_);
    const auto move = [&] {
        ChangeNames(to, [from, to, inode = Find("rename", from)](Names& names) {
            const auto old = names.files.find(from);
            if (old != names.files.end() && old->second == inode) names.files.erase(old);
            names.files[to] = inode;
        });
    };
    Step("rename " + from, move, [&](Fault fault) {
        if (fault != Fault::Error) move();
    });
}

void MemoryFileSystem::Remove(const std::string& path) {
    const std::lock_guard lock(mutex_);
    const auto remove = [&] {
        ChangeNames(path, [path, inode = Find("remove", path)](Names& names) {
            const auto found = names.files.find(path);
            if (found != names.files.end() && found->second == inode) names.files.erase(found);
        });
    };
    Step("remove " + path, remove, [&](Fault fault) {
        if (fault != Fault::Error) remove();
    });
}

void MemoryFileSystem::SyncFolder(const std::string& path) {
    const std::lock_guard lock(mutex_);
    const auto sync = [&] {
        if (!syncsNames_) return;
        for (const Change& change : unsynced_)
            if (change.folder == path) change.apply(namesOnDisk_);
        std::erase_if(unsynced_, [&](const Change& change) { return change.folder == path; });
    };
    Step("sync " + path, sync, [&](Fault fault) {
        if (fault == Fault::LateError) sync();
    });
}

}  // namespace driverhost
