#include "platform/PathWalk.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace zelconfig {

namespace {

// Directories on the way are only passed through: O_PATH, where the system
// has it, also passes through a directory the caller may search but not read.
#ifdef O_PATH
constexpr int kDirectoryFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW;
#else
constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;
#endif

// The kernel's own limit on links followed in one resolution.
constexpr int kMostLinks = 40;

// A component that turned into something else between its look and its
// open is looked at again; a bounded number of times, since another
// process could flip it for ever.
constexpr int kMostRetries = 100;

// The components of a path, last first, so that the next one is at the back.
void PushComponents(const std::string& path, std::vector<std::string>& pending)
{
    std::vector<std::string> parts;
    for (size_t at = 0; at <= path.size();) {
        const size_t slash = std::min(path.find('/', at), path.size());
        if (slash > at) {
            parts.emplace_back(path, at, slash - at);
        }
        at = slash + 1;
    }
    pending.insert(pending.end(), parts.rbegin(), parts.rend());
}

// The components of the working directory, as getcwd gives them; none when
// it cannot say (the messages then name paths relative to it).
std::vector<std::string> WorkingDirectory()
{
    std::vector<char> buffer(PATH_MAX);
    while (::getcwd(buffer.data(), buffer.size()) == nullptr) {
        if (errno != ERANGE) {
            return {};
        }
        buffer.resize(buffer.size() * 2);
    }
    std::vector<std::string> parts;
    PushComponents(buffer.data(), parts);
    return std::vector<std::string>(parts.rbegin(), parts.rend());
}

// The path of a directory made of components, for messages.
std::string Joined(const std::vector<std::string>& parts, bool absolute)
{
    std::string path = absolute ? "/" : "";
    for (const std::string& part : parts) {
        if (!path.empty() && path.back() != '/') {
            path += '/';
        }
        path += part;
    }
    return path.empty() ? "." : path;
}

// The target of the link `name` in `directory`: 0 or an errno.
int ReadLink(int directory, const std::string& name, std::string& target)
{
    std::vector<char> buffer(256);
    for (;;) {
        const ssize_t size = ::readlinkat(directory, name.c_str(), buffer.data(), buffer.size());
        if (size < 0) {
            return errno;
        }
        if (static_cast<size_t>(size) < buffer.size()) {
            target.assign(buffer.data(), static_cast<size_t>(size));
            return target.empty() ? ENOENT : 0;
        }
        buffer.resize(buffer.size() * 2);
    }
}

// Whether following a link owned by `owner` in the directory `directory`
// could let another user choose the file: the protected_symlinks rule.
bool LinkPlantedByOther(int directory, uid_t owner)
{
    struct stat parent {};
    return ::fstat(directory, &parent) == 0 && (parent.st_mode & S_ISVTX) != 0 && (parent.st_mode & S_IWOTH) != 0
           && owner != ::geteuid() && owner != parent.st_uid;
}

// Where a walk stands: the directory reached, its components for messages,
// and the components still to go, the next at the back.
struct Walk
{
    UniqueDescriptor directory;
    std::vector<std::string> real;
    bool realAbsolute = false;
    std::vector<std::string> pending;
    int links = 0, retries = 0;
    bool viaLink = false; // the last component came from a link
};

// Follows the link `part` (owned by `owner`) of the walk's directory: its
// target's components go on the walk, from the root for an absolute one.
// 0, an errno or kLinkRefused, with `message`.
int FollowLink(Walk& walk, const std::string& part, uid_t owner, bool last, std::string& message)
{
    const std::string shown = Joined(walk.real, walk.realAbsolute) + "/" + part;
    if (LinkPlantedByOther(walk.directory.Get(), owner)) {
        message = "refusing to follow the symbolic link " + shown + ": it is in a sticky, world-writable "
                  "directory and belongs to neither you nor the directory's owner";
        return kLinkRefused;
    }
    std::string target;
    const int read = ++walk.links > kMostLinks ? ELOOP : ReadLink(walk.directory.Get(), part, target);
    if (read != 0) {
        message = "cannot follow " + shown + ": " + std::strerror(read);
        return read;
    }
    if (target.front() == '/') {
        walk.directory.Reset(OpenAt(AT_FDCWD, "/", kDirectoryFlags));
        walk.real.clear();
        walk.realAbsolute = true;
    }
    PushComponents(target, walk.pending);
    walk.viaLink = last;
    return 0;
}

// Moves the walk into its directory's directory `part`. One that became a
// link since it was looked at (as a directory: `looked`) is refused by
// O_NOFOLLOW and goes back on the walk to be looked at again (`again`).
// 0, or an errno with `message`.
int EnterDirectory(Walk& walk, const std::string& part, bool looked, bool& again, std::string& message)
{
    UniqueDescriptor next(OpenAt(walk.directory.Get(), part, kDirectoryFlags));
    if (next.Get() < 0) {
        const int error = errno;
        if ((error == ELOOP || error == ENOTDIR) && looked && ++walk.retries < kMostRetries) {
            walk.pending.push_back(part);
            again = true;
            return 0;
        }
        message = "cannot reach " + Joined(walk.real, walk.realAbsolute) + "/" + part + ": " + std::strerror(error);
        return error;
    }
    walk.directory = std::move(next);
    if (part == "..") {
        if (!walk.real.empty()) {
            walk.real.pop_back();
        }
    } else {
        walk.real.push_back(part);
    }
    return 0;
}

} // namespace

void UniqueDescriptor::Reset(int fd)
{
    if (m_fd >= 0) {
        ::close(m_fd); // after EINTR it is gone on Linux and QNX: never retried
    }
    m_fd = fd;
}

int OpenAt(int directory, const std::string& name, int flags, unsigned mode)
{
    int fd;
    do {
        fd = ::openat(directory, name.c_str(), flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

int WalkPath(const std::string& path, WalkedPath& out, std::string& message)
{
    if (path.empty() || path.find('\0') != std::string::npos) {
        message = std::strerror(ENOENT); // names no file; open() must not see a shorter one
        return ENOENT;
    }
    const bool absolute = path.front() == '/';
    Walk walk;
    walk.real = absolute ? std::vector<std::string>() : WorkingDirectory();
    walk.realAbsolute = absolute || !walk.real.empty();
    walk.directory.Reset(OpenAt(AT_FDCWD, absolute ? "/" : ".", kDirectoryFlags));
    PushComponents(path, walk.pending);
    if (walk.pending.empty()) {
        walk.pending.emplace_back("."); // "/" and "." name a directory: the open says so
    }
    while (walk.directory.Get() >= 0) {
        std::string part = std::move(walk.pending.back());
        walk.pending.pop_back();
        const bool last = walk.pending.empty();
        if (part == "." && !last) {
            continue;
        }
        struct stat info {};
        const bool found = part != "." && part != ".."
                           && ::fstatat(walk.directory.Get(), part.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
        if (!found && part != "." && part != ".." && !(last && errno == ENOENT)) {
            message = "cannot reach " + Joined(walk.real, walk.realAbsolute) + "/" + part + ": " + std::strerror(errno);
            return errno;
        }
        if (found && S_ISLNK(info.st_mode)) {
            const int followed = FollowLink(walk, part, info.st_uid, last, message);
            if (followed != 0) {
                return followed;
            }
            continue;
        }
        if (last && part != "..") {
            out.directory = std::move(walk.directory);
            out.name = part;
            out.directoryPath = Joined(walk.real, walk.realAbsolute);
            out.path = out.directoryPath == "/" ? "/" + part : out.directoryPath + "/" + part;
            out.viaLink = walk.viaLink;
            return 0;
        }
        bool again = false;
        const int entered = EnterDirectory(walk, part, found && S_ISDIR(info.st_mode), again, message);
        if (entered != 0) {
            return entered;
        }
        if (last && !again) {
            // ".." at the end names a directory, which the caller's open refuses.
            out.directory = std::move(walk.directory);
            out.name = ".";
            out.directoryPath = out.path = Joined(walk.real, walk.realAbsolute);
            return 0;
        }
    }
    message = "cannot open a directory on the way: " + std::string(std::strerror(errno));
    return errno;
}

} // namespace zelconfig
