#ifndef ZELCONFIG_PLATFORM_ATOMICSAVE_H
#define ZELCONFIG_PLATFORM_ATOMICSAVE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace zelconfig {

// A file held for read-modify-write cycles. Lock() resolves symbolic links
// and takes an exclusive advisory lock on the file they lead to, so that two
// editors of it take turns instead of losing an update; Replace() swaps in new
// contents so that readers see either the old file or the new one, never a
// part of it. The lock goes with the object.
class LockedFile
{
public:
    LockedFile() = default;
    ~LockedFile();
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;

    // False with a message when the file cannot be found, opened or locked.
    // With create, a missing file is created empty first (mode 0666 less
    // the umask), as an editor creates the file it is asked to save.
    bool Lock(const std::string& path, bool create, std::string& message);
    // The file the path led to, after every symbolic link.
    const std::string& Path() const { return m_path; }
    // The locked file, for reading it (Lock leaves it at its start); -1 before Lock.
    int Descriptor() const { return m_fd; }

    // Writes the bytes to a temporary file beside the target, flushes it to
    // disk, gives it the target's permission bits (and owner, where allowed),
    // renames it over the target and flushes the directory. The lock moves to
    // the new file, so that further saves stay guarded. False with a message
    // when any step fails; unless the message says the file was replaced, the
    // target is untouched and the temporary file removed.
    bool Replace(const char* data, size_t size, std::string& message);
    // The same for bytes given as pieces, written one after the other, so
    // that a caller need not join them first.
    bool Replace(const std::string_view* pieces, size_t count, std::string& message);

private:
    int m_fd = -1;
    std::string m_path;
    struct stat m_stat {};
};

} // namespace zelconfig

#endif
