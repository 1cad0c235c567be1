#include "AtomicSave.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "platform/FileIO.h"

namespace zelconfig {

namespace {

// The text of an errno value, for messages.
std::string ErrorText(int error)
{
    return std::strerror(error);
}

int CloseRetrying(int fd)
{
    // After EINTR the descriptor is gone on Linux and QNX: do not close it twice.
    return ::close(fd) == 0 || errno == EINTR ? 0 : -1;
}

int LockRetrying(int fd)
{
    int locked;
    do {
        locked = ::flock(fd, LOCK_EX);
    } while (locked != 0 && errno == EINTR);
    return locked;
}

// The directory part of a resolved path ("/" for a file at the root).
std::string DirectoryOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == 0 || slash == std::string::npos ? std::string("/") : path.substr(0, slash);
}

// Flushes a directory's entries, so that a rename survives a power cut.
bool SyncDirectory(const std::string& directory, std::string& error)
{
    const int fd = ::open(directory.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = "cannot open " + directory + ": " + ErrorText(errno);
        return false;
    }
    const bool synced = ::fsync(fd) == 0;
    const int savedErrno = errno;
    CloseRetrying(fd);
    if (!synced) {
        error = "cannot flush " + directory + ": " + ErrorText(savedErrno);
    }
    return synced;
}

} // namespace

LockedFile::~LockedFile()
{
    if (m_fd >= 0) {
        CloseRetrying(m_fd); // closing the last descriptor releases the lock
    }
}

bool LockedFile::Lock(const std::string& path, bool create, std::string& message)
{
    if (path.find('\0') != std::string::npos) {
        message = ErrorText(ENOENT); // names no file; open() must not see a shorter one
        return false;
    }
    // Edit the file that symbolic links lead to; the links themselves stay.
    char resolved[PATH_MAX];
    while (::realpath(path.c_str(), resolved) == nullptr) {
        if (errno != ENOENT || !create) {
            message = ErrorText(errno);
            return false;
        }
        // O_EXCL: when another editor creates it first, edit theirs.
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST) {
            message = ErrorText(errno);
            return false;
        }
        if (fd >= 0) {
            CloseRetrying(fd);
        }
        create = false; // once: a dangling link is reported, not chased
    }
    m_path = resolved;
    for (;;) {
        m_fd = ::open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
        if (m_fd < 0) {
            message = ErrorText(errno);
            return false;
        }
        if (::fstat(m_fd, &m_stat) != 0 || !S_ISREG(m_stat.st_mode)) {
            message = S_ISDIR(m_stat.st_mode) ? ErrorText(EISDIR) : "not a regular file";
            return false;
        }
        if (LockRetrying(m_fd) != 0) {
            message = "cannot lock: " + ErrorText(errno);
            return false;
        }
        // Whoever held the lock before may have renamed a new file into place:
        // then this lock guards a file nobody reads any more, so start again.
        struct stat now {};
        if (::stat(m_path.c_str(), &now) == 0 && now.st_dev == m_stat.st_dev
            && now.st_ino == m_stat.st_ino) {
            return true;
        }
        CloseRetrying(m_fd);
        m_fd = -1;
    }
}

bool LockedFile::Replace(const char* data, size_t size, std::string& message)
{
    const std::string_view whole(data, size);
    return Replace(&whole, 1, message);
}

bool LockedFile::Replace(const std::string_view* pieces, size_t count, std::string& message)
{
    const std::string directory = DirectoryOf(m_path);
    // The file's name, cut so that the temporary name fits where it does.
    const size_t kNameRoom = NAME_MAX - std::strlen("..zelcfg-XXXXXX");
    std::string temporary = directory + "/."
                            + m_path.substr(directory.size() + (directory == "/" ? 0 : 1), kNameRoom)
                            + ".zelcfg-XXXXXX";
    const int fd = ::mkstemp(&temporary[0]);
    if (fd < 0) {
        message = "cannot create a temporary file in " + directory + ": " + ErrorText(errno);
        return false;
    }
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);

    // Every step must succeed before the rename; the first failure is reported.
    std::string error;
    for (size_t i = 0; i < count && error.empty(); ++i) {
        if (const int written = WriteAll(fd, pieces[i].data(), pieces[i].size())) {
            error = "cannot write " + temporary + ": " + ErrorText(written);
        }
    }
    // The new file is the editor's: give it the file's owner and group. Root
    // can, and so can an owner for a group it belongs to; anyone else would
    // take the file over by renaming theirs into place, so that fails here.
    if (error.empty() && (m_stat.st_uid != ::geteuid() || m_stat.st_gid != ::getegid())
        && ::fchown(fd, m_stat.st_uid, m_stat.st_gid) != 0) {
        error = "cannot give " + temporary + " the owner of the file: " + ErrorText(errno);
    }
    // After fchown, which may clear the set-id bits.
    if (error.empty() && ::fchmod(fd, m_stat.st_mode & 07777) != 0) {
        error = "cannot give " + temporary + " the permissions of the file: " + ErrorText(errno);
    }
    if (error.empty() && ::fsync(fd) != 0) {
        error = "cannot flush " + temporary + ": " + ErrorText(errno);
    }
    // The new file is locked before anyone can open it under the target's
    // name: an editor waiting for the old lock then waits for this one.
    if (error.empty() && LockRetrying(fd) != 0) {
        error = "cannot lock " + temporary + ": " + ErrorText(errno);
    }
    if (error.empty() && ::rename(temporary.c_str(), m_path.c_str()) != 0) {
        error = "cannot rename " + temporary + " over the file: " + ErrorText(errno);
    }
    if (!error.empty()) {
        CloseRetrying(fd);
        ::unlink(temporary.c_str());
        message = error;
        return false;
    }
    if (m_fd >= 0) {
        CloseRetrying(m_fd);
    }
    m_fd = fd;
    ::fstat(m_fd, &m_stat);
    // The new contents are in place; only their durability is in question now.
    if (!SyncDirectory(directory, error)) {
        message = "the file was replaced, but " + error;
        return false;
    }
    return true;
}

} // namespace zelconfig
