#include "FileIO.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

// Large files are read into huge pages where the system offers them.
#if defined(__linux__)
#include <sys/mman.h>
#if defined(MADV_HUGEPAGE)
#define ZELCONFIG_HUGE_PAGES 1
#endif
#endif
#ifndef ZELCONFIG_HUGE_PAGES
#define ZELCONFIG_HUGE_PAGES 0
#endif

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

char* AllocateBytes(size_t size, size_t& capacity)
{
#if ZELCONFIG_HUGE_PAGES
    // A 50 MB file then costs some twenty page faults instead of twelve
    // thousand, which is most of what reading it costs a short-lived process.
    constexpr size_t kHugePage = 2 * 1024 * 1024;
    if (size >= kHugePage) {
        // Aligned to a huge page, so that the hint covers whole ones.
        const size_t rounded = (size + kHugePage - 1) / kHugePage * kHugePage;
        void* pages = nullptr;
        if (::posix_memalign(&pages, kHugePage, rounded) == 0) {
            ::madvise(pages, rounded, MADV_HUGEPAGE); // a hint: fine when refused
            capacity = rounded;
            return static_cast<char*>(pages);
        }
    }
#endif
    char* const bytes = static_cast<char*>(std::malloc(size > 0 ? size : 1));
    capacity = bytes != nullptr ? size : 0;
    return bytes;
}

int ReadToEnd(int fd, std::unique_ptr<char, void (*)(void*)>& bytes, size_t& size)
{
    size = 0;
    struct stat info {};
    if (::fstat(fd, &info) != 0) {
        return errno;
    }
    // One byte more than a regular file, so that the read that sees its end
    // needs no growth. A file larger than this process could ever hold (4 GiB
    // on a 32-bit system) is refused before its size wraps around.
    size_t capacity = 4096;
    if (S_ISREG(info.st_mode) && info.st_size > 0) {
        if (static_cast<uintmax_t>(info.st_size) >= std::numeric_limits<size_t>::max() / 2) {
            return EFBIG;
        }
        capacity = static_cast<size_t>(info.st_size) + 1;
    }
    bytes.reset(AllocateBytes(capacity, capacity));
    while (bytes) {
        if (size == capacity) {
            if (capacity >= std::numeric_limits<size_t>::max() / 2) {
                return EFBIG;
            }
            std::unique_ptr<char, void (*)(void*)> larger(AllocateBytes(capacity * 2, capacity), std::free);
            if (larger) {
                std::memcpy(larger.get(), bytes.get(), size);
            }
            bytes = std::move(larger);
            continue;
        }
        const ssize_t count = ::read(fd, bytes.get() + size, capacity - size);
        if (count > 0) {
            size += static_cast<size_t>(count);
        } else if (count == 0) {
            return 0;
        } else if (errno != EINTR) {
            return errno;
        }
    }
    size = 0;
    return ENOMEM;
}

int ReadAll(int fd, std::string& out)
{
    std::unique_ptr<char, void (*)(void*)> bytes(nullptr, std::free);
    size_t size = 0;
    const int status = ReadToEnd(fd, bytes, size);
    out.append(bytes.get() != nullptr ? bytes.get() : "", size);
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

int MayWrite(int directory, const std::string& name)
{
    return ::faccessat(directory, name.c_str(), W_OK, 0) == 0 ? 0 : errno;
}

int OpenRegular(const std::string& path, int flags, int& fd)
{
    do {
        fd = ::open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC, 0666);
    } while (fd < 0 && errno == EINTR);
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

int ReadToEnd(const std::string& path, std::unique_ptr<char, void (*)(void*)>& bytes, size_t& size)
{
    int fd = -1;
    if (const int opened = OpenRegular(path, O_RDONLY, fd)) {
        return opened;
    }
    const int read = ReadToEnd(fd, bytes, size);
    ::close(fd);
    return read;
}

} // namespace zelconfig
