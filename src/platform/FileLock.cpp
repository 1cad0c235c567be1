#include "FileLock.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "FileIO.h"

namespace zelconfig {

bool LockWithin(int fd, int operation, std::chrono::steady_clock::time_point deadline, unsigned waitSeconds,
                std::string& message)
{
    auto pause = std::chrono::milliseconds(1);
    for (;;) {
        if (::flock(fd, operation | LOCK_NB) == 0) {
            return true;
        }
        if (errno == EINTR) {
            continue;
        }
        if (errno != EWOULDBLOCK) {
            message = std::string("cannot lock the file (flock): ") + std::strerror(errno);
            return false;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            message = "another process holds the file's lock; gave up after " + std::to_string(waitSeconds)
                      + (waitSeconds == 1 ? " second" : " seconds") + ", nothing changed";
            return false;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::milliseconds(50));
    }
}

int LockCurrent(const std::string& path, int flags, int operation, std::chrono::steady_clock::time_point deadline,
                unsigned waitSeconds, int& fd, std::string& message)
{
    for (;;) {
        if (!LockWithin(fd, operation, deadline, waitSeconds, message)) {
            return kLockNotHad;
        }
        struct stat named {}, held {};
        const int found = (flags & O_NOFOLLOW) != 0 ? ::lstat(path.c_str(), &named) : ::stat(path.c_str(), &named);
        if (found == 0 && ::fstat(fd, &held) == 0 && named.st_dev == held.st_dev && named.st_ino == held.st_ino) {
            return 0;
        }
        ::close(fd); // and with it the lock of a file the path no longer leads to
        if (const int opened = OpenRegular(path, flags, fd)) {
            return opened;
        }
        // A file replaced again and again must not keep the caller for ever.
        if (std::chrono::steady_clock::now() >= deadline) {
            message = "the file kept being replaced; gave up locking it";
            return kLockNotHad;
        }
    }
}

} // namespace zelconfig
