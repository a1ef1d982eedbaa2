// The system calls of the file protocol, linked with --wrap: counted while they are watched, and one of them fails, or
// reads half of what it could.
#include "tests/host_double.h"

#include <cerrno>
#include <cstdarg>
#include <unistd.h>

static bool SystemFails() {
    if (!g_system.bWatched || ++g_system.s32Calls != g_system.s32FailAt) {
        return false;
    }
    errno = EIO;
    return true;
}

extern "C" {
int __real_open(const char *pszPath, int s32Flags, ...);
int __real_fcntl(int s32Fd, int s32Command, ...);
ssize_t __real_read(int s32Fd, void *pvBuf, size_t uSize);
off64_t __real_lseek64(int s32Fd, off64_t s64Offset, int s32Whence);

int __wrap_open(const char *pszPath, int s32Flags, ...) {
    va_list args;
    va_start(args, s32Flags);
    const unsigned uMode = va_arg(args, unsigned);
    va_end(args);
    return SystemFails() ? -1 : __real_open(pszPath, s32Flags, uMode);
}

int __wrap_fcntl(int s32Fd, int s32Command, ...) {
    va_list args;
    va_start(args, s32Command);
    const long lArgument = va_arg(args, long);
    va_end(args);
    return SystemFails() ? -1 : __real_fcntl(s32Fd, s32Command, lArgument);
}

ssize_t __wrap_read(int s32Fd, void *pvBuf, size_t uSize) {
    if (SystemFails()) {
        return -1;
    }
    const bool bShort = g_system.bWatched && g_system.s32Calls == g_system.s32ShortAt;
    return __real_read(s32Fd, pvBuf, bShort ? (uSize + 1) / 2 : uSize);
}

off64_t __wrap_lseek64(int s32Fd, off64_t s64Offset, int s32Whence) {
    return SystemFails() ? -1 : __real_lseek64(s32Fd, s64Offset, s32Whence);
}
}
