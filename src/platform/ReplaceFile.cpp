#include "ZelConfigReplaceFile.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/uio.h>
#include <thread>
#include <unistd.h>
#include <vector>
#ifdef __linux__
#include <sys/xattr.h>
#endif

#include "platform/FileIO.h"

namespace zelconfig {

namespace {

using Clock = std::chrono::steady_clock;

// The text of an errno value, for messages.
std::string ErrorText(int error)
{
    return std::strerror(error);
}

// Closes a descriptor once; after EINTR it is gone on Linux and QNX.
int CloseRetrying(int fd)
{
    return ::close(fd) == 0 || errno == EINTR ? 0 : -1;
}

// The directory part of a path: "/" for a name at the root, "." for a bare name.
std::string DirectoryOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string(".") : slash == 0 ? std::string("/") : path.substr(0, slash);
}

// The last part of a path.
std::string NameOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Whether two stats describe one file, whatever names led to it.
bool SameFile(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Refuses what the kernel's protected_symlinks refuses, also where it is off:
// a symbolic link in a sticky, world-writable directory (/tmp) whose owner is
// neither the caller nor the directory's owner, which another user could
// point at any file the caller may write. Checks every link of the last
// component's chain.
bool FollowAllowed(const std::string& path, std::string& message)
{
    std::string current = path;
    for (int hops = 0; hops < 40; ++hops) {
        struct stat link {};
        if (::lstat(current.c_str(), &link) != 0 || !S_ISLNK(link.st_mode)) {
            return true;
        }
        const std::string directory = DirectoryOf(current);
        struct stat parent {};
        if (::stat(directory.c_str(), &parent) == 0 && (parent.st_mode & S_ISVTX) != 0
            && (parent.st_mode & S_IWOTH) != 0 && link.st_uid != ::geteuid() && link.st_uid != parent.st_uid) {
            message = "refusing to follow the symbolic link " + current + ": it is in a sticky, world-writable "
                      "directory and belongs to neither you nor the directory's owner";
            return false;
        }
        char target[PATH_MAX];
        const ssize_t size = ::readlink(current.c_str(), target, sizeof target - 1);
        if (size < 0) {
            return true; // gone meanwhile: the resolution reports it
        }
        const std::string next(target, static_cast<size_t>(size));
        current = next.front() == '/' ? next : directory + "/" + next;
    }
    return true;
}

// Takes the exclusive lock, polling until the deadline, so that a reader
// holding a shared lock cannot make the caller wait for ever.
bool LockUntil(int fd, Clock::time_point deadline, unsigned waitSeconds, std::string& message)
{
    auto pause = std::chrono::milliseconds(1);
    for (;;) {
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
            return true;
        }
        if (errno != EWOULDBLOCK && errno != EINTR) {
            message = "cannot lock: " + ErrorText(errno);
            return false;
        }
        if (Clock::now() >= deadline) {
            message = "another process holds the file's lock; gave up after " + std::to_string(waitSeconds)
                      + (waitSeconds == 1 ? " second" : " seconds") + ", nothing changed";
            return false;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::milliseconds(50));
    }
}

// Flushes a directory's entries, so that a rename survives a power cut.
bool SyncDirectory(const std::string& directory, std::string& error)
{
    const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
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

// Writes the pieces in order at the descriptor's position: 0 or an errno.
// writev takes at most IOV_MAX pieces at a time.
int WritePieces(int fd, const std::string_view* pieces, size_t count)
{
    std::vector<iovec> parts;
    for (size_t i = 0; i < count; ++i) {
        if (!pieces[i].empty()) {
            parts.push_back(iovec{const_cast<char*>(pieces[i].data()), pieces[i].size()});
        }
    }
    for (size_t done = 0; done < parts.size();) {
        const int batch = static_cast<int>(std::min<size_t>(parts.size() - done, IOV_MAX));
        if (const int error = WriteAll(fd, parts.data() + done, batch)) {
            return error;
        }
        done += static_cast<size_t>(batch);
    }
    return 0;
}

// The prefix of the temporary files of the file named `name`: the name is
// cut so that the whole temporary name fits where the file's does.
std::string TemporaryPrefix(const std::string& name)
{
    const size_t kNameRoom = NAME_MAX - std::strlen("..zelcfg-XXXXXX");
    return "." + name.substr(0, kNameRoom) + ".zelcfg-";
}

// Removes the temporary files of earlier saves of this file that were
// killed before their rename: those that no live save holds locked.
void RemoveLeftovers(const std::string& directory, const std::string& prefix)
{
    DIR* dir = ::opendir(directory.c_str());
    if (dir == nullptr) {
        return;
    }
    const int dirFd = ::dirfd(dir);
    while (const dirent* entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        if (name.size() != prefix.size() + 6 || name.compare(0, prefix.size(), prefix) != 0) {
            continue;
        }
        const int fd = ::openat(dirFd, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) {
            continue;
        }
        struct stat opened {}, named {};
        if (::fstat(fd, &opened) == 0 && S_ISREG(opened.st_mode) && ::flock(fd, LOCK_EX | LOCK_NB) == 0
            && ::fstatat(dirFd, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 && SameFile(opened, named)) {
            ::unlinkat(dirFd, name.c_str(), 0);
        }
        CloseRetrying(fd);
    }
    ::closedir(dir);
}

#ifdef __linux__
// The names of a file's extended attributes (ACLs among them), NUL-separated;
// empty where the file system has none. False with errno set.
bool AttributeNames(int fd, std::string& names)
{
    for (;;) {
        const ssize_t size = ::flistxattr(fd, nullptr, 0);
        if (size < 0) {
            names.clear();
            return errno == ENOTSUP;
        }
        names.resize(static_cast<size_t>(size));
        const ssize_t got = ::flistxattr(fd, &names[0], names.size());
        if (got >= 0) {
            names.resize(static_cast<size_t>(got));
            return true;
        }
        if (errno != ERANGE) {
            return false;
        }
    }
}

// Calls visit(name) for each name of a NUL-separated list, while it returns true.
template <typename Visit>
bool EachName(const std::string& names, Visit visit)
{
    for (size_t at = 0; at < names.size();) {
        const size_t end = names.find('\0', at);
        const std::string name = names.substr(at, end - at);
        if (!name.empty() && !visit(name)) {
            return false;
        }
        at = end == std::string::npos ? names.size() : end + 1;
    }
    return true;
}

// Gives the new file exactly the old file's extended attributes, POSIX ACLs
// included (system.posix_acl_access): copies each, and removes those the new
// file got from elsewhere (a directory's default ACL).
bool CopyAttributes(int from, int to, std::string& error)
{
    std::string wanted, present;
    if (!AttributeNames(from, wanted) || !AttributeNames(to, present)) {
        error = "cannot list the extended attributes: " + ErrorText(errno);
        return false;
    }
    // Each name of the list ends in a NUL byte.
    const std::string list = std::string(1, '\0') + wanted;
    const auto wantedHas = [&list](const std::string& name) {
        return list.find('\0' + name + '\0') != std::string::npos;
    };
    const bool cleared = EachName(present, [&](const std::string& name) {
        if (wantedHas(name) || ::fremovexattr(to, name.c_str()) == 0) {
            return true;
        }
        error = "cannot remove the extended attribute " + name + " the new file got: " + ErrorText(errno);
        return false;
    });
    return cleared && EachName(wanted, [&](const std::string& name) {
        std::string value;
        for (;;) {
            const ssize_t size = ::fgetxattr(from, name.c_str(), nullptr, 0);
            if (size >= 0) {
                value.resize(static_cast<size_t>(size));
                const ssize_t got = ::fgetxattr(from, name.c_str(), &value[0], value.size());
                if (got >= 0) {
                    value.resize(static_cast<size_t>(got));
                    break;
                }
            }
            if (size < 0 || errno != ERANGE) {
                error = "cannot read the extended attribute " + name + ": " + ErrorText(errno);
                return false;
            }
        }
        if (::fsetxattr(to, name.c_str(), value.data(), value.size(), 0) != 0) {
            error = "cannot copy the extended attribute " + name + ": " + ErrorText(errno);
            return false;
        }
        return true;
    });
}
#endif

// Gives the new file the old one's owner, group, mode bits, ACL and extended
// attributes, and checks them on the new file itself: a setgid directory
// gives a new file the directory's group, fchmod silently drops a set-group-ID
// bit for a group the caller is not in. False with the reason otherwise, for
// a rename would then widen or narrow who may use the file.
bool CopyMetadata(int from, const struct stat& old, int to, std::string& error)
{
    struct stat now {};
    if (::fstat(to, &now) != 0) {
        error = "cannot inspect the new file: " + ErrorText(errno);
        return false;
    }
    const std::string owner = std::to_string(old.st_uid) + ":" + std::to_string(old.st_gid);
    if ((now.st_uid != old.st_uid || now.st_gid != old.st_gid) && ::fchown(to, old.st_uid, old.st_gid) != 0) {
        error = "a new file cannot keep the file's owner and group (" + owner + "): " + ErrorText(errno);
        return false;
    }
    // After fchown, which may clear the set-id bits.
    if (::fchmod(to, old.st_mode & 07777) != 0) {
        error = "a new file cannot keep the file's permissions: " + ErrorText(errno);
        return false;
    }
#ifdef __linux__
    if (!CopyAttributes(from, to, error)) {
        return false;
    }
#else
    (void)from;
#endif
    if (::fstat(to, &now) != 0 || now.st_uid != old.st_uid || now.st_gid != old.st_gid
        || (now.st_mode & 07777) != (old.st_mode & 07777)) {
        error = "a new file cannot keep the file's owner, group and permissions (" + owner + ", mode "
                + std::to_string((old.st_mode >> 9) & 7) + std::to_string((old.st_mode >> 6) & 7)
                + std::to_string((old.st_mode >> 3) & 7) + std::to_string(old.st_mode & 7) + ")";
        return false;
    }
    return true;
}

} // namespace

LockedFile::~LockedFile()
{
    if (m_fd >= 0) {
        CloseRetrying(m_fd); // closing the last descriptor releases the lock
    }
}

int LockedFile::Lock(const std::string& path, const ReplaceOptions& options, std::string& message)
{
    if (m_fd >= 0) {
        CloseRetrying(m_fd);
        m_fd = -1;
    }
    m_options = options;
    if (path.find('\0') != std::string::npos) {
        message = ErrorText(ENOENT); // names no file; open() must not see a shorter one
        return kReplaceUntouched;
    }
    if (!FollowAllowed(path, message)) {
        return kReplaceUntouched;
    }
    // Edit the file that symbolic links lead to; the links themselves stay.
    char resolved[PATH_MAX];
    bool create = options.create;
    while (::realpath(path.c_str(), resolved) == nullptr) {
        if (errno != ENOENT || !create) {
            message = ErrorText(errno);
            return kReplaceUntouched;
        }
        // O_EXCL: when another editor creates it first, edit theirs.
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NONBLOCK | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST) {
            message = ErrorText(errno);
            return kReplaceUntouched;
        }
        if (fd >= 0) {
            CloseRetrying(fd);
        }
        create = false; // once: a dangling link is reported, not chased
    }
    m_path = resolved;
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(options.waitSeconds);
    for (;;) {
        const int opened = OpenRegular(m_path, O_RDONLY, m_fd);
        if (opened != 0) {
            message = opened == kNotRegularFile ? std::string("not a regular file") : ErrorText(opened);
            return kReplaceUntouched;
        }
        const bool inspected = ::fstat(m_fd, &m_stat) == 0;
        if (!inspected) {
            message = ErrorText(errno);
        }
        if (!inspected || !LockUntil(m_fd, deadline, options.waitSeconds, message)) {
            CloseRetrying(m_fd);
            m_fd = -1;
            return kReplaceUntouched;
        }
        // Whoever held the lock before may have renamed a new file into place:
        // then this lock guards a file nobody reads any more, so start again.
        // The name is opened again without following a link, so that a link
        // put there meanwhile cannot send the save elsewhere.
        int now = -1;
        const int reopened = OpenRegular(m_path, O_RDONLY | O_NOFOLLOW, now);
        struct stat current {};
        const bool same = reopened == 0 && ::fstat(now, &current) == 0 && SameFile(current, m_stat);
        if (now >= 0) {
            CloseRetrying(now);
        }
        if (same) {
            break;
        }
        CloseRetrying(m_fd);
        m_fd = -1;
        if (reopened == ELOOP || reopened == kNotRegularFile || (reopened != 0 && reopened != ENOENT)) {
            message = reopened == ELOOP ? "refusing to follow a symbolic link put in place of " + m_path
                      : reopened == kNotRegularFile ? std::string("not a regular file")
                                                    : ErrorText(reopened);
            return kReplaceUntouched;
        }
    }
    // As the library's writer: a file the caller may not write is not replaced,
    // although the rename would need only the directory.
    if (!options.force && ::access(m_path.c_str(), W_OK) != 0) {
        message = "not writable: " + ErrorText(errno);
        CloseRetrying(m_fd);
        m_fd = -1;
        return kReplaceUntouched;
    }
    return kReplaceDone;
}

int LockedFile::Replace(const std::string_view* pieces, size_t count, std::string& message)
{
    if (m_fd < 0) {
        message = "the file is not locked";
        return kReplaceUntouched;
    }
    return m_options.inPlace ? ReplaceInPlace(pieces, count, message) : ReplaceByRename(pieces, count, message);
}

int LockedFile::Replace(const char* data, size_t size, std::string& message)
{
    const std::string_view piece(data, size);
    return Replace(&piece, 1, message);
}

int LockedFile::ReplaceByRename(const std::string_view* pieces, size_t count, std::string& message)
{
    const std::string directory = DirectoryOf(m_path);
    const std::string prefix = TemporaryPrefix(NameOf(m_path));
    RemoveLeftovers(directory, prefix);
    std::string temporary = (directory == "/" ? "" : directory) + "/" + prefix + "XXXXXX";
    const int fd = ::mkstemp(&temporary[0]);
    if (fd < 0) {
        message = "cannot create a temporary file in " + directory + ": " + ErrorText(errno);
        return kReplaceUntouched;
    }
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);

    // Every step must succeed before the rename; the first failure is reported.
    // Locked from the start, so that a later save tells a live temporary file
    // from one a killed save left, and an editor waiting for the old lock
    // then waits for this one.
    std::string error;
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        error = "cannot lock " + temporary + ": " + ErrorText(errno);
    }
    if (error.empty()) {
        if (const int written = WritePieces(fd, pieces, count)) {
            error = "cannot write " + temporary + ": " + ErrorText(written);
        }
    }
    if (error.empty() && !CopyMetadata(m_fd, m_stat, fd, error)) {
        error += std::string("; ") + kOnlyInPlaceKeeps;
    }
    if (error.empty() && ::fsync(fd) != 0) {
        error = "cannot flush " + temporary + ": " + ErrorText(errno);
    }
    if (error.empty() && ::rename(temporary.c_str(), m_path.c_str()) != 0) {
        error = "cannot rename " + temporary + " over the file: " + ErrorText(errno);
    }
    if (!error.empty()) {
        ::unlink(temporary.c_str());
        CloseRetrying(fd);
        message = error;
        return kReplaceUntouched;
    }
    CloseRetrying(m_fd);
    m_fd = fd;
    ::fstat(m_fd, &m_stat);
    // The new contents are in place; only their durability is in question now.
    if (!SyncDirectory(directory, error)) {
        message = "the file was replaced, but " + error;
        return kReplaceNotFlushed;
    }
    return kReplaceDone;
}

int LockedFile::ReplaceInPlace(const std::string_view* pieces, size_t count, std::string& message)
{
    int fd = -1;
    const int opened = OpenRegular(m_path, O_WRONLY | O_NOFOLLOW, fd);
    struct stat now {};
    if (opened != 0 || ::fstat(fd, &now) != 0 || !SameFile(now, m_stat)) {
        message = "cannot open the file for writing: "
                  + (opened == 0 ? std::string("it was replaced") : opened == kNotRegularFile
                                                                        ? std::string("not a regular file")
                                                                        : ErrorText(opened));
        if (fd >= 0) {
            CloseRetrying(fd);
        }
        return kReplaceUntouched;
    }
    size_t size = 0;
    for (size_t i = 0; i < count; ++i) {
        size += pieces[i].size();
    }
    int error = WritePieces(fd, pieces, count);
    if (error == 0 && ::ftruncate(fd, static_cast<off_t>(size)) != 0) {
        error = errno;
    }
    if (error != 0) {
        CloseRetrying(fd);
        message = "the file was rewritten in place only in part: " + ErrorText(error);
        return kReplacePartlyWritten;
    }
    const bool synced = ::fsync(fd) == 0;
    const int syncError = errno;
    CloseRetrying(fd);
    ::fstat(m_fd, &m_stat);
    if (!synced) {
        message = "the file was rewritten in place, but cannot be flushed: " + ErrorText(syncError);
        return kReplaceNotFlushed;
    }
    return kReplaceDone;
}

int ReplaceFile(const std::string& path, const std::string_view* pieces, size_t count,
                const ReplaceOptions& options, std::string& message)
{
    LockedFile file;
    const int locked = file.Lock(path, options, message);
    return locked != kReplaceDone ? locked : file.Replace(pieces, count, message);
}

int ReplaceFile(const std::string& path, const char* data, size_t size, const ReplaceOptions& options,
                std::string& message)
{
    const std::string_view piece(data, size);
    return ReplaceFile(path, &piece, 1, options, message);
}

} // namespace zelconfig
