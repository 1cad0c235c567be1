#include "FileIO.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zelconfig {

int WriteAll(int fd, iovec* parts, int count)
{
    while (count > 0 && parts->iov_len == 0) {
        ++parts;
        --count;
    }
    while (count > 0) {
        const ssize_t written =
            count == 1 ? ::write(fd, parts->iov_base, parts->iov_len) : ::writev(fd, parts, count);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        if (written == 0) {
            return EIO;
        }
        size_t left = static_cast<size_t>(written);
        while (count > 0 && left >= parts->iov_len) {
            left -= parts->iov_len;
            ++parts;
            --count;
        }
        if (count > 0) {
            parts->iov_base = static_cast<char*>(parts->iov_base) + left;
            parts->iov_len -= left;
        }
    }
    return 0;
}

int WriteAll(int fd, const void* data, size_t size)
{
    iovec part{const_cast<void*>(data), size};
    return WriteAll(fd, &part, 1);
}

int ReadAll(int fd, std::string& out)
{
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got > 0) {
            out.append(buffer, static_cast<size_t>(got));
        } else if (got == 0) {
            return 0;
        } else if (errno != EINTR) {
            return errno;
        }
    }
}

namespace {

// Opens `path`, resuming after interruptions: the descriptor, or -1 with errno set.
int OpenFile(const std::string& path, int flags)
{
    int fd;
    do {
        fd = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

} // namespace

int ReadFile(const std::string& path, std::string& out)
{
    const int fd = OpenFile(path, O_RDONLY);
    if (fd < 0) {
        return errno;
    }
    const int status = ReadAll(fd, out);
    ::close(fd);
    return status;
}

int WriteFile(const std::string& path, std::string_view bytes)
{
    const int fd = OpenFile(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (fd < 0) {
        return errno;
    }
    int status = WriteAll(fd, bytes.data(), bytes.size());
    if (::close(fd) != 0 && status == 0 && errno != EINTR) {
        status = errno;
    }
    return status;
}

int ClearNonBlocking(int fd)
{
    // A failed F_GETFL is -1, every flag set: never handed to F_SETFL.
    int flags;
    do {
        flags = ::fcntl(fd, F_GETFL);
    } while (flags < 0 && errno == EINTR);
    int set = -1;
    if (flags >= 0) {
        do {
            set = ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
        } while (set != 0 && errno == EINTR);
    }
    return set == 0 ? 0 : errno;
}

int MayWrite(const std::string& name, int directory)
{
    return ::faccessat(directory, name.c_str(), W_OK, 0) == 0 ? 0 : errno;
}

int OpenRegular(const std::string& path, int flags, int& fd)
{
    fd = OpenFile(path, flags | O_NONBLOCK);
    if (fd < 0) {
        return errno;
    }
    struct stat info {};
    int status = 0;
    if (::fstat(fd, &info) != 0) {
        status = errno;
    } else if (!S_ISREG(info.st_mode)) {
        status = S_ISDIR(info.st_mode) ? EISDIR : kNotRegularFile;
    } else {
        status = ClearNonBlocking(fd);
    }
    if (status != 0) {
        ::close(fd);
        fd = -1;
    }
    return status;
}

} // namespace zelconfig
