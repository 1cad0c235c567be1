// CCFGParser::CFGSaveData: the model to a file, one system call per line.
#include "CCFGParser.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include "CFGBlockMap.h"
#include "CFGSavedForm.h"
#include "platform/FileIO.h"
#include "platform/FileLock.h"
#include "platform/ZelLog.h"

using namespace zelconfig;

namespace {

// Points an iovec at a piece of a line; an empty piece may hold no pointer at all.
iovec Piece(std::string_view piece)
{
    return iovec{piece.empty() ? nullptr : const_cast<char*>(piece.data()), piece.size()};
}

// Writes one line in a single system call, since each line must reach the
// file as soon as it is complete. A line of usual length is joined first and
// goes out with write(): the kernel takes one buffer some 10% faster than it
// walks a vector of them. Write errors are deliberately not reported by a save.
void WriteLine(int fd, std::string_view a, std::string_view b, std::string_view c, std::string_view d)
{
    char joined[1024];
    if (a.size() + b.size() + c.size() + d.size() <= sizeof joined) {
        size_t size = 0;
        for (std::string_view piece : {a, b, c, d}) {
            if (!piece.empty()) {
                std::memcpy(joined + size, piece.data(), piece.size());
                size += piece.size();
            }
        }
        WriteAll(fd, joined, size);
        return;
    }
    iovec parts[] = {Piece(a), Piece(b), Piece(c), Piece(d)};
    WriteAll(fd, parts, 4);
}

// Opens the file a save writes, creating it as before but truncating it only
// later, under the lock: -1 when it cannot be opened for writing. Only a
// regular file is locked and truncated; anything else is written as a save
// always wrote it. The open itself does not wait, so that a FIFO without a
// reader (or a file under another's lease) is told apart; then the save
// waits in the open, as it always did.
int OpenToSave(const std::string& path, bool& regular)
{
    regular = false;
    int fd;
    do {
        fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0 && (errno == ENXIO || errno == EAGAIN || errno == EWOULDBLOCK)) {
        do {
            fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        } while (fd < 0 && errno == EINTR);
        return fd;
    }
    if (fd < 0) {
        return -1;
    }
    struct stat info {};
    regular = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
    ClearNonBlocking(fd); // as before: a failure here is the write's to meet
    return fd;
}

// Takes the exclusive lock that zelcfg and LockedFile take, on the file the
// path leads to once it is had, and empties that file. Without the lock
// within kLegacyLockSeconds the save goes on unlocked, as it always did.
// `fd` becomes -1 when a file renamed into place meanwhile cannot be opened.
void LockAndTruncate(const std::string& path, int& fd)
{
    std::string ignored; // a save reports no more than it always did
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kLegacyLockSeconds);
    const int locked = LockCurrent(path, O_WRONLY | O_CREAT, LOCK_EX, deadline, kLegacyLockSeconds, fd, ignored);
    if (locked != 0 && locked != kLockNotHad) {
        return;
    }
    while (::ftruncate(fd, 0) != 0 && errno == EINTR) {
    }
}

} // namespace

int CCFGParser::CFGSaveData(const std::string& strPath)
{
    if (m_pmCFGData == nullptr) {
        ZEL_LOG(kLogError, "CFGSaveData", "m_pmCFGData is NULL");
        return kStatusInvalid;
    }
    // The path is a C string: a NUL byte in it ends the name.
    bool regular = false;
    int fd = OpenToSave(strPath, regular);
    if (fd >= 0 && regular) {
        LockAndTruncate(strPath, fd);
    }
    if (fd < 0) {
        ZEL_LOG(kLogError, "CFGSaveData", "Cannot Open File");
        return kStatusNotFound;
    }
    ForEachSavedLine(*m_pmCFGData, [fd](std::string_view a, std::string_view b, std::string_view c,
                                        std::string_view d) { WriteLine(fd, a, b, c, d); });
    ::close(fd);
    return 0;
}
