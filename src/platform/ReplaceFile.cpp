#include "ZelConfigReplaceFile.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <new>
#include <random>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>
#ifdef __linux__
#include <sys/xattr.h>
#endif

#include "platform/FileIO.h"
#include "platform/FileLock.h"
#include "platform/PathWalk.h"

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

// Whether two stats describe one file, whatever names led to it.
bool SameFile(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// A failed call, named, with its cause, for messages.
std::string Failed(const std::string& what, const char* call, int error)
{
    return what + " (" + call + "): " + ErrorText(error);
}

// fstat, resuming after interruptions.
int StatRetrying(int fd, struct stat& info)
{
    int result;
    do {
        result = ::fstat(fd, &info);
    } while (result != 0 && errno == EINTR);
    return result;
}

// fsync, resuming after interruptions (a flush may be asked for again).
int SyncRetrying(int fd)
{
    int result;
    do {
        result = ::fsync(fd);
    } while (result != 0 && errno == EINTR);
    return result;
}

// Flushes a directory's entries, so that a rename survives a power cut. The
// directory is reopened for reading through the one the walk holds, which
// may only pass through it.
bool SyncDirectory(int directory, const std::string& shown, std::string& error)
{
    const UniqueDescriptor readable(OpenAt(directory, ".", O_RDONLY | O_DIRECTORY));
    if (readable.Get() < 0) {
        error = Failed("cannot open " + shown, "open", errno);
        return false;
    }
    if (SyncRetrying(readable.Get()) != 0) {
        error = Failed("cannot flush " + shown, "fsync", errno);
        return false;
    }
    return true;
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
void RemoveLeftovers(int directory, const std::string& prefix)
{
    const int listed = OpenAt(directory, ".", O_RDONLY | O_DIRECTORY);
    DIR* dir = listed < 0 ? nullptr : ::fdopendir(listed);
    if (dir == nullptr) {
        if (listed >= 0) {
            CloseRetrying(listed);
        }
        return;
    }
    while (const dirent* entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        if (name.size() != prefix.size() + 6 || name.compare(0, prefix.size(), prefix) != 0) {
            continue;
        }
        const UniqueDescriptor fd(OpenAt(directory, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK));
        struct stat opened {}, named {};
        if (fd.Get() >= 0 && ::fstat(fd.Get(), &opened) == 0 && S_ISREG(opened.st_mode)
            && ::flock(fd.Get(), LOCK_EX | LOCK_NB) == 0
            && ::fstatat(directory, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 && SameFile(opened, named)) {
            ::unlinkat(directory, name.c_str(), 0);
        }
    }
    ::closedir(dir);
}

// A temporary file beside the target, created exclusively and locked: its
// descriptor, or -1 with errno set. Made relative to the walked directory,
// which mkstemp cannot do.
int CreateTemporary(int directory, const std::string& prefix, std::string& name)
{
    static const char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    std::random_device device;
    std::mt19937_64 random((static_cast<uint64_t>(device()) << 32) ^ device()
                           ^ static_cast<uint64_t>(Clock::now().time_since_epoch().count()));
    for (int attempt = 0; attempt < 1000; ++attempt) {
        name = prefix;
        for (int i = 0; i < 6; ++i) {
            name += kLetters[random() % (sizeof kLetters - 1)];
        }
        const int fd = OpenAt(directory, name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
        if (fd >= 0 || errno != EEXIST) {
            return fd;
        }
    }
    errno = EEXIST;
    return -1;
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

// What CopyMetadata found.
enum class Kept
{
    kYes,
    kNo,     // the new file cannot have them: only a save in place keeps them
    kFailed, // a call failed for another reason, given in the message
};

// Gives the new file the old one's owner, group, mode bits, ACL and extended
// attributes, and checks them on the new file itself: a setgid directory
// gives a new file the directory's group, fchmod silently drops a set-group-ID
// bit for a group the caller is not in. kNo with the reason otherwise, for a
// rename would then widen or narrow who may use the file.
Kept CopyMetadata(int from, const struct stat& old, int to, std::string& error)
{
    struct stat now {};
    if (StatRetrying(to, now) != 0) {
        error = Failed("cannot inspect the new file", "fstat", errno);
        return Kept::kFailed;
    }
    const std::string owner = std::to_string(old.st_uid) + ":" + std::to_string(old.st_gid);
    if ((now.st_uid != old.st_uid || now.st_gid != old.st_gid) && ::fchown(to, old.st_uid, old.st_gid) != 0) {
        const int cause = errno;
        error = Failed("a new file cannot keep the file's owner and group (" + owner + ")", "fchown", cause);
        return cause == EPERM || cause == EINVAL ? Kept::kNo : Kept::kFailed;
    }
    // After fchown, which may clear the set-id bits.
    if (::fchmod(to, old.st_mode & 07777) != 0) {
        const int cause = errno;
        error = Failed("a new file cannot keep the file's permissions", "fchmod", cause);
        return cause == EPERM ? Kept::kNo : Kept::kFailed;
    }
#ifdef __linux__
    if (!CopyAttributes(from, to, error)) {
        return errno == EPERM || errno == ENOTSUP || errno == EACCES ? Kept::kNo : Kept::kFailed;
    }
#else
    (void)from;
#endif
    if (StatRetrying(to, now) != 0) {
        error = Failed("cannot inspect the new file", "fstat", errno);
        return Kept::kFailed;
    }
    if (now.st_uid != old.st_uid || now.st_gid != old.st_gid || (now.st_mode & 07777) != (old.st_mode & 07777)) {
        error = "a new file cannot keep the file's owner, group and permissions (" + owner + ", mode "
                + std::to_string((old.st_mode >> 9) & 7) + std::to_string((old.st_mode >> 6) & 7)
                + std::to_string((old.st_mode >> 3) & 7) + std::to_string(old.st_mode & 7) + ")";
        return Kept::kNo;
    }
    return Kept::kYes;
}

// Whether the file `fd` holds exactly `loaded`, read again from its start:
// 0 when it does, kReplaceChanged when it does not, or an errno.
int HoldsExactly(int fd, std::string_view loaded)
{
    struct stat info {};
    if (StatRetrying(fd, info) != 0) {
        return errno;
    }
    if (static_cast<uint64_t>(info.st_size) != loaded.size()) {
        return kReplaceChanged;
    }
    // A buffer the cache keeps, rather than one of the file's size.
    constexpr size_t kChunk = 256 * 1024;
    std::unique_ptr<char[]> chunk(new (std::nothrow) char[kChunk]);
    if (!chunk) {
        return ENOMEM;
    }
    size_t at = 0;
    for (;;) {
        const ssize_t got = ::pread(fd, chunk.get(), kChunk, static_cast<off_t>(at));
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        const size_t size = static_cast<size_t>(got);
        if (size == 0 || size > loaded.size() - at) {
            // Shorter or longer than the size said a moment ago.
            return size == 0 && at == loaded.size() ? 0 : kReplaceChanged;
        }
        if (std::memcmp(chunk.get(), loaded.data() + at, size) != 0) {
            return kReplaceChanged;
        }
        at += size;
    }
}

// The temporary file `made` (`shown` in messages) made ready to replace the
// file `old` (`info` its status): locked, written, given the old file's
// metadata and flushed; the first failure in `error`. Locked from the start,
// so that a later save tells a live temporary file from one a killed save
// left, and an editor waiting for the old lock then waits for this one.
void PrepareTemporary(int made, const std::string& shown, const std::string_view* pieces, size_t count, int old,
                      const struct stat& info, std::string& error)
{
    if (::flock(made, LOCK_EX | LOCK_NB) != 0) {
        error = Failed("cannot lock " + shown, "flock", errno);
    }
    if (error.empty()) {
        if (const int written = WritePieces(made, pieces, count)) {
            error = Failed("cannot write " + shown, "write", written);
        }
    }
    if (error.empty()) {
        const Kept kept = CopyMetadata(old, info, made, error);
        if (kept == Kept::kNo) {
            error += std::string("; ") + kOnlyInPlaceKeeps;
        }
    }
    if (error.empty() && SyncRetrying(made) != 0) {
        error = Failed("cannot flush " + shown, "fsync", errno);
    }
}

// What opening the file a walk reached came to.
enum class Opened
{
    kYes,
    kAgain, // the path is to be walked again
    kFailed,
};

// Opens the walked file without following a link or blocking on a FIFO; a
// missing one is first created when `create` allows (once: it is cleared).
Opened OpenWalked(const WalkedPath& walked, bool& create, UniqueDescriptor& fd, std::string& message)
{
    fd.Reset(OpenAt(walked.directory.Get(), walked.name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK));
    if (fd.Get() >= 0) {
        return Opened::kYes;
    }
    const int cause = errno;
    if (cause == ELOOP) {
        return Opened::kAgain; // a link put there since the walk: walk it
    }
    if (cause == ENOENT && create && !walked.viaLink) {
        // O_EXCL: when another editor creates it first, edit theirs.
        // Once: a file removed again at once is reported, not chased.
        const UniqueDescriptor made(OpenAt(walked.directory.Get(), walked.name,
                                           O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_NONBLOCK, 0666));
        if (made.Get() < 0 && errno != EEXIST) {
            message = ErrorText(errno);
            return Opened::kFailed;
        }
        create = false;
        return Opened::kAgain;
    }
    message = ErrorText(cause);
    return Opened::kFailed;
}

// Whether the opened file (`info` its status) is one to lock and edit: a
// regular file, which blocks again once opened.
bool UsableFile(int fd, const std::string& path, struct stat& info, std::string& message)
{
    if (StatRetrying(fd, info) != 0) {
        message = Failed("cannot inspect " + path, "fstat", errno);
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        message = S_ISDIR(info.st_mode) ? ErrorText(EISDIR) : std::string("not a regular file");
        return false;
    }
    if (const int cleared = ClearNonBlocking(fd)) {
        message = Failed("cannot use " + path, "fcntl", cleared);
        return false;
    }
    return true;
}

} // namespace

// Hidden: the class is exported, and so would be its implementation's
// members, which are nobody's ABI.
struct __attribute__((visibility("hidden"))) LockedFile::State
{
    UniqueDescriptor fd;     // the locked file
    UniqueDescriptor directory; // where it is, held since Lock
    std::string name;        // its name there, never a link
    std::string directoryPath, path;
    struct stat info {};
    ReplaceOptions options;

    int ReplaceByRename(const std::string_view* pieces, size_t count, const std::string_view* loaded,
                        std::string& message);
    int ReplaceInPlace(const std::string_view* pieces, size_t count, const std::string_view* loaded,
                       std::string& message);
    int StillAsLoaded(const std::string_view* loaded, std::string& message) const;
};

LockedFile::LockedFile() : m_state(new State) {}

LockedFile::~LockedFile() = default; // closing the last descriptor releases the lock

const std::string& LockedFile::Path() const
{
    return m_state->path;
}

int LockedFile::Descriptor() const
{
    return m_state->fd.Get();
}

int LockedFile::Lock(const std::string& path, const ReplaceOptions& options, std::string& message)
{
    State& s = *m_state;
    s.fd.Reset();
    s.directory.Reset();
    s.options = options;
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(options.waitSeconds);
    bool create = options.create;
    // Each round walks the path again: a name that turned into a link, or a
    // file renamed over the one locked, is met afresh.
    for (int round = 0;; ++round) {
        if (round == 1000) {
            message = "the file kept changing while it was opened; nothing changed";
            return kReplaceUntouched;
        }
        WalkedPath walked;
        if (WalkPath(path, walked, message) != 0) {
            return kReplaceUntouched;
        }
        const Opened opened = OpenWalked(walked, create, s.fd, message);
        if (opened == Opened::kAgain) {
            continue;
        }
        if (opened == Opened::kFailed || !UsableFile(s.fd.Get(), walked.path, s.info, message)
            || !LockWithin(s.fd.Get(), LOCK_EX, deadline, options.waitSeconds, message)) {
            s.fd.Reset();
            return kReplaceUntouched;
        }
        // Whoever held the lock before may have renamed a new file into
        // place: then this lock guards a file nobody reads any more.
        struct stat named {};
        if (::fstatat(walked.directory.Get(), walked.name.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0
            || !SameFile(named, s.info)) {
            s.fd.Reset();
            continue;
        }
        s.directory = std::move(walked.directory);
        s.name = std::move(walked.name);
        s.directoryPath = std::move(walked.directoryPath);
        s.path = std::move(walked.path);
        break;
    }
    const int cause = options.force ? 0 : MayWrite(s.directory.Get(), s.name);
    if (cause != 0) {
        message = cause == EACCES || cause == EPERM || cause == EROFS || cause == ETXTBSY
                      ? "not writable: " + ErrorText(cause)
                      : Failed("cannot tell whether " + s.path + " may be written", "access", cause);
        s.fd.Reset();
        return kReplaceUntouched;
    }
    return kReplaceDone;
}

int LockedFile::Replace(const std::string_view* pieces, size_t count, std::string& message)
{
    State& s = *m_state;
    if (s.fd.Get() < 0) {
        message = "the file is not locked";
        return kReplaceUntouched;
    }
    return s.options.inPlace ? s.ReplaceInPlace(pieces, count, nullptr, message)
                             : s.ReplaceByRename(pieces, count, nullptr, message);
}

int LockedFile::Replace(const char* data, size_t size, std::string& message)
{
    const std::string_view piece(data, size);
    return Replace(&piece, 1, message);
}

int LockedFile::ReplaceIfUnchanged(std::string_view loaded, const std::string_view* pieces, size_t count,
                                   std::string& message)
{
    State& s = *m_state;
    if (s.fd.Get() < 0) {
        message = "the file is not locked";
        return kReplaceUntouched;
    }
    return s.options.inPlace ? s.ReplaceInPlace(pieces, count, &loaded, message)
                             : s.ReplaceByRename(pieces, count, &loaded, message);
}

// kReplaceDone when the name still leads to the locked file and it holds
// `loaded` (always, without `loaded`); else kReplaceChanged or
// kReplaceUntouched, with the message. Byte for byte: a file's times cannot
// tell a change made within the clock tick of the one before it, nor one
// made through another program's shared mapping.
int LockedFile::State::StillAsLoaded(const std::string_view* loaded, std::string& message) const
{
    if (loaded == nullptr) {
        return kReplaceDone;
    }
    int held = HoldsExactly(fd.Get(), *loaded);
    // The bytes first, the name last: nearest the switch.
    struct stat named {};
    if (held == 0 && ::fstatat(directory.Get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOENT) {
        message = Failed("cannot inspect " + path, "stat", errno);
        return kReplaceUntouched;
    }
    if (held == 0 && !SameFile(named, info)) {
        held = kReplaceChanged;
    }
    if (held == kReplaceChanged) {
        message = path + kChangedSinceRead;
        return kReplaceChanged;
    }
    if (held != 0) {
        message = held == ENOMEM ? std::string("out of memory while checking that the file did not change; "
                                               "nothing was written")
                                 : Failed("cannot read " + path + " again to check it", "read", held);
        return kReplaceUntouched;
    }
    return kReplaceDone;
}

int LockedFile::State::ReplaceByRename(const std::string_view* pieces, size_t count, const std::string_view* loaded,
                                       std::string& message)
{
    const std::string prefix = TemporaryPrefix(name);
    RemoveLeftovers(directory.Get(), prefix);
    std::string temporary;
    UniqueDescriptor made(CreateTemporary(directory.Get(), prefix, temporary));
    if (made.Get() < 0) {
        message = Failed("cannot create a temporary file in " + directoryPath, "open", errno);
        return kReplaceUntouched;
    }
    const std::string shown = (directoryPath == "/" ? "" : directoryPath) + "/" + temporary;

    // Every step must succeed before the rename; the first failure is reported.
    std::string error;
    int status = kReplaceUntouched;
    PrepareTemporary(made.Get(), shown, pieces, count, fd.Get(), info, error);
    // Last, under the lock: whatever changed the file since it was read
    // must not be lost.
    if (error.empty()) {
        status = StillAsLoaded(loaded, error);
    }
    if (error.empty()) {
        int renamed;
        do {
            renamed = ::renameat(directory.Get(), temporary.c_str(), directory.Get(), name.c_str());
        } while (renamed != 0 && errno == EINTR);
        if (renamed != 0) {
            error = Failed("cannot rename " + shown + " over the file", "rename", errno);
            status = kReplaceUntouched;
        }
    }
    if (!error.empty()) {
        ::unlinkat(directory.Get(), temporary.c_str(), 0);
        message = error;
        return status;
    }
    fd = std::move(made);
    StatRetrying(fd.Get(), info);
    // The new contents are in place; only their durability is in question now.
    if (!SyncDirectory(directory.Get(), directoryPath, error)) {
        message = "the file was replaced, but " + error;
        return kReplaceNotFlushed;
    }
    return kReplaceDone;
}

int LockedFile::State::ReplaceInPlace(const std::string_view* pieces, size_t count, const std::string_view* loaded,
                                      std::string& message)
{
    const UniqueDescriptor writable(OpenAt(directory.Get(), name, O_WRONLY | O_NOFOLLOW | O_NONBLOCK));
    struct stat now {};
    if (writable.Get() < 0 || StatRetrying(writable.Get(), now) != 0) {
        message = Failed("cannot open the file for writing", writable.Get() < 0 ? "open" : "fstat", errno);
        return kReplaceUntouched;
    }
    if (!SameFile(now, info)) {
        message = path + kChangedSinceRead;
        return kReplaceChanged;
    }
    const int held = StillAsLoaded(loaded, message);
    if (held != kReplaceDone) {
        return held;
    }
    size_t size = 0;
    for (size_t i = 0; i < count; ++i) {
        size += pieces[i].size();
    }
    int error = WritePieces(writable.Get(), pieces, count);
    const char* call = "write";
    if (error == 0) {
        int truncated;
        do {
            truncated = ::ftruncate(writable.Get(), static_cast<off_t>(size));
        } while (truncated != 0 && errno == EINTR);
        error = truncated == 0 ? 0 : errno;
        call = "ftruncate";
    }
    if (error != 0) {
        message = Failed("the file was rewritten in place only in part", call, error);
        return kReplacePartlyWritten;
    }
    const bool synced = SyncRetrying(writable.Get()) == 0;
    const int syncError = errno;
    StatRetrying(fd.Get(), info);
    if (!synced) {
        message = Failed("the file was rewritten in place, but cannot be flushed", "fsync", syncError);
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
