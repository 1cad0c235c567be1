// Preloaded into a program under test (LD_PRELOAD) to widen the windows a
// race needs, or to make a call fail that cannot be made to fail otherwise:
//   ZELCONFIG_PAUSE_AT=read|pread|fsync|rename|ftruncate  the first such
//       call (read: of a regular file; pread: the save's check of the file)
//       waits 400 ms before it runs;
//   ZELCONFIG_FAIL_DIRECTORY_FSYNC=1     fsync of a directory fails with EIO;
//   ZELCONFIG_FAIL_GETFL=EINTR|EIO       fcntl(F_GETFL) is interrupted once,
//       or fails with EIO every time.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The real function behind a name this file replaces.
template <typename Function>
Function Next(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

// Waits once per process, at the first call of the kind the environment names.
void PauseAt(const char* call)
{
    static bool paused = false;
    const char* wanted = std::getenv("ZELCONFIG_PAUSE_AT");
    if (!paused && wanted != nullptr && std::strcmp(wanted, call) == 0) {
        paused = true;
        const timespec pause{0, 400 * 1000 * 1000};
        ::nanosleep(&pause, nullptr);
    }
}

} // namespace

extern "C" ssize_t read(int fd, void* buffer, size_t size)
{
    struct stat info {};
    if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) {
        PauseAt("read");
    }
    return Next<ssize_t (*)(int, void*, size_t)>("read")(fd, buffer, size);
}

// With 64-bit offsets on a 32-bit system the header renames pread to
// pread64, and so does this definition: the real call is looked up likewise.
extern "C" ssize_t pread(int fd, void* buffer, size_t size, off_t offset)
{
    PauseAt("pread");
    const char* real = sizeof(off_t) > sizeof(long) ? "pread64" : "pread";
    return Next<ssize_t (*)(int, void*, size_t, off_t)>(real)(fd, buffer, size, offset);
}

extern "C" int fsync(int fd)
{
    struct stat info {};
    if (std::getenv("ZELCONFIG_FAIL_DIRECTORY_FSYNC") != nullptr && ::fstat(fd, &info) == 0
        && S_ISDIR(info.st_mode)) {
        errno = EIO;
        return -1;
    }
    PauseAt("fsync");
    return Next<int (*)(int)>("fsync")(fd);
}

extern "C" int ftruncate(int fd, off_t size) noexcept
{
    PauseAt("ftruncate");
    const char* real = sizeof(off_t) > sizeof(long) ? "ftruncate64" : "ftruncate";
    return Next<int (*)(int, off_t)>(real)(fd, size);
}

extern "C" int rename(const char* from, const char* to) noexcept
{
    PauseAt("rename");
    return Next<int (*)(const char*, const char*)>("rename")(from, to);
}

extern "C" int renameat(int fromDirectory, const char* from, int toDirectory, const char* to) noexcept
{
    PauseAt("rename");
    return Next<int (*)(int, const char*, int, const char*)>("renameat")(fromDirectory, from, toDirectory, to);
}

extern "C" int fcntl(int fd, int command, ...)
{
    // Every command takes one argument or none; reading one is how the C
    // library's own fcntl passes it on.
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    static bool interrupted = false;
    const char* fail = std::getenv("ZELCONFIG_FAIL_GETFL");
    if (command == F_GETFL && fail != nullptr) {
        const bool eio = std::strcmp(fail, "EIO") == 0;
        if (eio || (std::strcmp(fail, "EINTR") == 0 && !interrupted)) {
            interrupted = true;
            errno = eio ? EIO : EINTR;
            return -1;
        }
    }
    return Next<int (*)(int, int, ...)>("fcntl")(fd, command, argument);
}
