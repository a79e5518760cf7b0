#include "driverhost/settings/TokenFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "driverhost/runtime/Fault.h"
#include "driverhost/runtime/FileDescriptor.h"
#include "driverhost/settings/Options.h"

namespace driverhost {
namespace {

constexpr mode_t kForOthers = S_IRWXG | S_IRWXO;
constexpr std::size_t kMaxTokenBytes = 1024;

[[noreturn]] void Refuse(const std::string& path, const std::string& why) {
    throw OptionError("--token-file " + path + ": " + why);
}

// Checks the open file, not its name, so that what was checked is what is read.
FileDescriptor OpenChecked(const std::string& path) {
    FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) Refuse(path, "cannot be read: " + SystemReason());
    struct stat status {};
    if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) Refuse(path, "is not a file");
    if ((status.st_mode & kForOthers) != 0) Refuse(path, "others may read or change it; run chmod 600 on it");
    return file;
}

bool IsVisible(char c) {
    return c > 0x20 && c < 0x7F;
}

}  // namespace

std::string ReadTokenFile(const std::string& path) {
    const FileDescriptor file = OpenChecked(path);
    std::array<char, kMaxTokenBytes + 1> bytes;
    const ssize_t got = read(file.Get(), bytes.data(), bytes.size());
    if (got < 0) Refuse(path, "cannot be read: " + SystemReason());
    std::string token(bytes.data(), static_cast<std::size_t>(got));
    if (token.ends_with('\n')) token.pop_back();
    if (token.empty()) Refuse(path, "is empty; expected one line with the token");
    if (token.size() >= kMaxTokenBytes || !std::all_of(token.begin(), token.end(), IsVisible)) {
        Refuse(path, "expected one line of fewer than " + std::to_string(kMaxTokenBytes) +
                         " visible ASCII characters, without blanks");
    }
    return token;
}

}  // namespace driverhost
