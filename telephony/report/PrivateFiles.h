// Files and folders of this user alone, written whole: by rename.
#ifndef TELEPHONY_REPORT_PRIVATEFILES_H
#define TELEPHONY_REPORT_PRIVATEFILES_H

#include <stdexcept>
#include <string>

namespace telephony {

/// Something that the person who runs this has to put right; the text says what.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/// Adds the system's words for `error`.
Failure SystemFailure(const std::string& text, int error);

/// Makes the folder with mode 0700, and those above it that are missing; or checks the one that is there.
/// Throws Failure when it is another user's, or open to others.
void MakePrivateFolder(const std::string& path);

/// Mode 0600. A reader sees the old text or the new one. Throws Failure.
void WritePrivateFile(const std::string& path, const std::string& text);
/// Puts `temporary` in the place of `path`. Throws Failure.
void Rename(const std::string& temporary, const std::string& path);

}  // namespace telephony

#endif
