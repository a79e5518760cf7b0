// A file that is there whole or not at all, and for its owner only.
#ifndef CLIENT_BACKUPFILE_H
#define CLIENT_BACKUPFILE_H

#include <string>
#include <string_view>

class BackupFile {
public:
    /// Begins a file beside `path`. Throws WrongUse when there can be none, or when there is one at
    /// `path` already and `overwrite` is not set.
    BackupFile(std::string path, bool overwrite);
    BackupFile(const BackupFile&) = delete;
    BackupFile& operator=(const BackupFile&) = delete;
    /// Leaves nothing behind unless Finish succeeded.
    ~BackupFile();

    /// The text is on disk under the path on return. Throws Failure, and nothing has changed then.
    void Finish(std::string_view text);

private:
    void Write(std::string_view text) const;
    void Place();
    void SyncFolder() const;

    const std::string path_;
    const bool overwrite_;
    std::string temporary_;  // empty when it has become the file
    int file_ = -1;
};

#endif
