#ifndef ZELCONFIG_PLATFORM_PATHWALK_H
#define ZELCONFIG_PLATFORM_PATHWALK_H

#include <string>

namespace zelconfig {

// An open descriptor, closed once when it goes.
class UniqueDescriptor
{
public:
    UniqueDescriptor() = default;
    explicit UniqueDescriptor(int fd) : m_fd(fd) {}
    ~UniqueDescriptor() { Reset(); }
    UniqueDescriptor(UniqueDescriptor&& other) noexcept : m_fd(other.Release()) {}
    UniqueDescriptor& operator=(UniqueDescriptor&& other) noexcept
    {
        if (this != &other) {
            Reset(other.Release());
        }
        return *this;
    }
    UniqueDescriptor(const UniqueDescriptor&) = delete;
    UniqueDescriptor& operator=(const UniqueDescriptor&) = delete;

    int Get() const { return m_fd; }
    int Release()
    {
        const int fd = m_fd;
        m_fd = -1;
        return fd;
    }
    void Reset(int fd = -1);

private:
    int m_fd = -1;
};

// Where a path led: a directory held open and the name of an entry in it.
// Every later step (open, re-check, temporary file, rename, flush) works
// relative to `directory`, so that no rename or link planted on the way
// after the walk can send them elsewhere.
struct WalkedPath
{
    UniqueDescriptor directory;
    std::string name;          // never a symbolic link when the walk ended; may be missing
    std::string directoryPath; // the directory as a path without links, for messages
    std::string path;          // directoryPath and name
    bool viaLink = false;      // the last component was reached through a symbolic link
};

// What WalkPath returns for a symbolic link it refuses to follow.
constexpr int kLinkRefused = -1;

// Walks `path` one component at a time from the root (or the working
// directory), following each symbolic link itself (at most 40) instead of
// letting open() follow them blindly, and refuses, as the kernel's
// protected_symlinks does and also where it is off, a link in a sticky,
// world-writable directory that belongs to neither the caller nor the
// directory's owner: another user could point it at any file the caller may
// write. Every directory part is opened without following a link, so one
// swapped in after it was looked at is met again as a link. 0 with `out`
// set; kLinkRefused with `message` naming the link; else an errno with
// `message` saying where the walk stopped.
int WalkPath(const std::string& path, WalkedPath& out, std::string& message);

// Opens `name` in `directory` (with O_CLOEXEC), resuming after interruptions:
// the descriptor, or -1 with errno set.
int OpenAt(int directory, const std::string& name, int flags, unsigned mode = 0);

} // namespace zelconfig

#endif
