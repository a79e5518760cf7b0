// A file that appears whole or not at all, readable by its owner only.
#ifndef CLIENT_BACKUPFILE_H
#define CLIENT_BACKUPFILE_H

#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// Blocks all signals that can be blocked, as long as it lives.
class SignalHold {
public:
    SignalHold();
    SignalHold(const SignalHold&) = delete;
    SignalHold& operator=(const SignalHold&) = delete;
    ~SignalHold();

private:
    sigset_t before_;
};

class BackupFile {
public:
    /// Begins the file for `path`. It has no name before Finish, so a process that is killed leaves nothing
    /// of it. Throws WrongUse when the file cannot be made, or when `path` exists and `overwrite` is not set.
    BackupFile(std::string path, bool overwrite);
    BackupFile(const BackupFile&) = delete;
    BackupFile& operator=(const BackupFile&) = delete;
    /// Leaves nothing behind unless Finish succeeded.
    ~BackupFile();

    /// Puts the text on disk under the path. Throws Failure when that fails; nothing has changed then.
    void Finish(std::string_view text);

private:
    void OpenNamed();
    void Write(std::string_view text) const;
    void Place();
    void Replace();
    bool Link(const std::string& name) const;
    bool TakeTemporaryName(const std::function<bool(const std::string& name)>& make);
    void SyncFolder() const;

    const std::string path_;
    const bool overwrite_;
    int file_ = -1;                   // stays closed until Finish where each file needs a name
    std::string temporary_;           // the name of the file before it gets its own; mostly empty
    std::optional<SignalHold> hold_;  // from Finish on, because the file may have such a name then
};

#endif
