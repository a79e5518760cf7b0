#include "tests/driverhost/support/MemoryFileSystem.h"

namespace driverhost {
namespace {

std::string FolderOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

}  // namespace

void MemoryFileSystem::FailAtStep(std::optional<int> step) {
    const std::lock_guard lock(mutex_);
    failAt_ = step;
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

std::unique_ptr<MemoryFileSystem> MemoryFileSystem::AfterPowerCut(UnsyncedNames names) const {
    const std::lock_guard lock(mutex_);
    auto disk = std::make_unique<MemoryFileSystem>();
    disk->folders_ = folders_;
    for (const auto& [path, inode] : names == UnsyncedNames::Kept ? names_ : namesOnDisk_)
        disk->names_[path] = std::make_shared<Inode>(Inode{inode->onDisk, inode->onDisk});
    disk->namesOnDisk_ = disk->names_;
    return disk;
}

void MemoryFileSystem::Plant(const std::string& path, const std::string& content) {
    const std::lock_guard lock(mutex_);
    folders_.insert(FolderOf(path));
    names_[path] = std::make_shared<Inode>(Inode{content, content});
    namesOnDisk_[path] = names_[path];
}

bool MemoryFileSystem::Has(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    return names_.contains(path);
}

std::string MemoryFileSystem::ContentOf(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    return names_.at(path)->content;
}

void MemoryFileSystem::Step(const std::string& what) {
    if (failAll_ || failAt_ == steps_++) throw FileError("cannot " + what + ": No space left on device");
}

void MemoryFileSystem::CreateFolder(const std::string& path) {
    const std::lock_guard lock(mutex_);
    Step("make " + path);
    folders_.insert(path);
}

std::vector<std::string> MemoryFileSystem::List(const std::string& folder) {
    const std::lock_guard lock(mutex_);
    Step("list " + folder);
    std::vector<std::string> found;
    for (const auto& [path, inode] : names_)
        if (FolderOf(path) == folder) found.push_back(path.substr(folder.size() + 1));
    return found;
}

std::string MemoryFileSystem::Read(const std::string& path) {
    const std::lock_guard lock(mutex_);
    Step("read " + path);
    const auto found = names_.find(path);
    if (found == names_.end()) throw FileError("cannot read " + path + ": no such file");
    return found->second->content;
}

// Half of it is there when writing fails.
void MemoryFileSystem::WriteSynced(const std::string& path, std::string_view text) {
    std::unique_lock lock(mutex_);
    released_.wait(lock, [this] { return !held_; });
    Step("open " + path);
    auto& inode = names_[path];
    if (!inode) inode = std::make_shared<Inode>();
    inode->content = text.substr(0, text.size() / 2);
    inode->onDisk.clear();
    Step("write " + path);
    inode->content = text;
    Step("sync " + path);
    inode->onDisk = text;
}

void MemoryFileSystem::Rename(const std::string& from, const std::string& to) {
    const std::lock_guard lock(mutex_);
    Step("rename " + from);
    const auto found = names_.find(from);
    if (found == names_.end()) throw FileError("cannot rename " + from + ": no such file");
    names_[to] = found->second;
    names_.erase(from);
}

void MemoryFileSystem::Remove(const std::string& path) {
    const std::lock_guard lock(mutex_);
    Step("remove " + path);
    names_.erase(path);
}

void MemoryFileSystem::SyncFolder(const std::string& path) {
    const std::lock_guard lock(mutex_);
    Step("sync " + path);
    std::erase_if(namesOnDisk_, [&](const auto& entry) { return FolderOf(entry.first) == path; });
    for (const auto& [name, inode] : names_)
        if (FolderOf(name) == path) namesOnDisk_[name] = inode;
}

}  // namespace driverhost
