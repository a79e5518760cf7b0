// Preloaded into a program, it makes every file system one that has no files without a name.
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>

extern "C" __attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
    if ((flags & O_TMPFILE) == O_TMPFILE) {
        errno = EOPNOTSUPP;
        return -1;
    }
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}
