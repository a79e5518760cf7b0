// The two folders of sipproxy and how it writes files: whole, by rename, for their owner alone.
#ifndef TELEPHONY_PROXY_FILES_H
#define TELEPHONY_PROXY_FILES_H

#include <optional>
#include <stdexcept>
#include <string>

namespace proxy {

/// Something that the person who runs this has to put right; the text says what.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/// Adds the system's words for `error`.
Failure SystemFailure(const std::string& text, int error);

/// Makes the folder with mode 0700, or checks the one that is there. Throws Failure when it is another
/// user's, open to others, or its path has characters that Kamailio's configuration would not take.
void MakePrivateFolder(const std::string& path);

/// Mode 0600. A reader sees the old text or the new one. Throws Failure.
void WritePrivateFile(const std::string& path, const std::string& text);
/// Puts `temporary` in the place of `path`. Throws Failure.
void Rename(const std::string& temporary, const std::string& path);

/// None when there is no such file. Throws Failure when it is there and cannot be read.
std::optional<std::string> ReadWholeFile(const std::string& path);

/// Held by one sipproxy and its keeper, which goes last; so whoever gets it knows that nothing of
/// the one before runs on.
class FolderLock {
public:
    /// Waits a while for a sipproxy that is just being ended; throws Failure when it does not end.
    explicit FolderLock(const std::string& folder);
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    /// Whether a sipproxy uses the folder.
    static bool IsHeld(const std::string& folder);

private:
    int handle_;
};

}  // namespace proxy

#endif
