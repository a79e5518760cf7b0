// The two folders of sipproxy: their files are written whole, for their owner alone, and one sipproxy uses
// them.
#ifndef TELEPHONY_PROXY_FILES_H
#define TELEPHONY_PROXY_FILES_H

#include <optional>
#include <string>

#include "telephony/report/PrivateFiles.h"

namespace proxy {

using telephony::Failure;
using telephony::Rename;
using telephony::SystemFailure;
using telephony::WritePrivateFile;

/// As telephony::MakePrivateFolder. Throws Failure as well when the path has characters that Kamailio's
/// configuration would not take.
void MakePrivateFolder(const std::string& path);

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
