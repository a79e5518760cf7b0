#include "driverhost/settings/TokenFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "driverhost/runtime/Fault.h"
#include "driverhost/runtime/FileDescriptor.h"
#include "driverhost/settings/Options.h"

namespace driverhost {
namespace {

constexpr mode_t kForOthers = S_IRWXG | S_IRWXO;
constexpr std::size_t kMaxTokenBytes = 1024;
constexpr char kTokenOption[] = "--token-file";

[[noreturn]] void Refuse(const std::string& option, const std::string& path, const std::string& why) {
    throw OptionError(option + " " + path + ": " + why);
}

enum class Readers { Anybody, OnlyOwner };

// Checks the open file, not its name, so that what was checked is what is read.
std::string Read(const std::string& option, const std::string& path, std::size_t mostBytes, Readers readers) {
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) Refuse(option, path, "cannot be read: " + SystemReason());
    struct stat status {};
    if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) Refuse(option, path, "is not a file");
    if (readers == Readers::OnlyOwner && (status.st_mode & kForOthers) != 0)
        Refuse(option, path, "others may read or change it; run chmod 600 on it");
    std::string text(mostBytes + 1, '\0');
    const ssize_t got = read(file.Get(), text.data(), text.size());
    if (got < 0) Refuse(option, path, "cannot be read: " + SystemReason());
    text.resize(static_cast<std::size_t>(got));
    return text;
}

std::string ReadAll(const std::string& option, const std::string& path, std::size_t mostBytes,
                    Readers readers) {
    std::string text = Read(option, path, mostBytes, readers);
    if (text.size() > mostBytes)
        Refuse(option, path, "has more than " + std::to_string(mostBytes) + " bytes");
    return text;
}

bool IsVisible(char c) {
    return c > 0x20 && c < 0x7F;
}

}  // namespace

std::string ReadSmallFile(const std::string& option, const std::string& path, std::size_t mostBytes) {
    return ReadAll(option, path, mostBytes, Readers::Anybody);
}

std::string ReadOwnersFile(const std::string& option, const std::string& path, std::size_t mostBytes) {
    return ReadAll(option, path, mostBytes, Readers::OnlyOwner);
}

std::string ReadTokenFile(const std::string& path) {
    std::string token = Read(kTokenOption, path, kMaxTokenBytes, Readers::OnlyOwner);
    if (token.ends_with('\n')) token.pop_back();
    if (token.empty()) Refuse(kTokenOption, path, "is empty; expected one line with the token");
    if (token.size() >= kMaxTokenBytes || !std::all_of(token.begin(), token.end(), IsVisible)) {
        Refuse(kTokenOption, path,
               "expected one line of fewer than " + std::to_string(kMaxTokenBytes) +
                   " visible ASCII characters, without blanks");
    }
    return token;
}

}  // namespace driverhost
