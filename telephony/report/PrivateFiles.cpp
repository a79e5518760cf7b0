#include "telephony/report/PrivateFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace telephony {
namespace {

// Each folder above that is missing is made as well.
void MakeFolders(const std::string& path) {
    for (std::size_t at = path.find('/', 1);; at = path.find('/', at + 1)) {
        const std::string part = path.substr(0, at);
        if (::mkdir(part.c_str(), S_IRWXU) != 0 && errno != EEXIST)
            throw SystemFailure("cannot make " + part, errno);
        if (at == path.npos) return;
    }
}

}  // namespace

Failure SystemFailure(const std::string& text, int error) {
    return Failure(text + ": " + std::generic_category().message(error));
}

void MakePrivateFolder(const std::string& path) {
    MakeFolders(path);
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0) throw SystemFailure("cannot look at " + path, errno);
    if (!S_ISDIR(found.st_mode) || found.st_uid != ::geteuid())
        throw Failure("the folder " + path + " is not this user's own; give another");
    if ((found.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw Failure("the folder " + path + " is open to other users; chmod 700 it, or give another");
}

void WritePrivateFile(const std::string& path, const std::string& text) {
    const std::string temporary = path + ".new";
    ::unlink(temporary.c_str());  // its mode would stay as it is
    const int file =
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (file < 0) throw SystemFailure("cannot write " + temporary, errno);
    const ssize_t written = ::write(file, text.data(), text.size());
    const int error = written < 0 ? errno : ENOSPC;
    const bool whole = written == static_cast<ssize_t>(text.size());
    if (::close(file) != 0 || !whole) {
        ::unlink(temporary.c_str());
        throw SystemFailure("cannot write " + path, error);
    }
    Rename(temporary, path);
}

void Rename(const std::string& temporary, const std::string& path) {
    if (std::rename(temporary.c_str(), path.c_str()) != 0) throw SystemFailure("cannot write " + path, errno);
}

}  // namespace telephony
