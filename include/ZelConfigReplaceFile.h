#ifndef ZELCONFIG_ZELCONFIGREPLACEFILE_H
#define ZELCONFIG_ZELCONFIGREPLACEFILE_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "ZelConfigExport.h"

namespace zelconfig {

// How a file is locked and replaced.
struct ReplaceOptions
{
    unsigned waitSeconds = 10; // for the lock; then the save is refused
    bool force = false;        // replace a file the caller may not write (the directory decides)
    bool inPlace = false;      // rewrite the file's own bytes: same inode, owner, links,
                               // ACLs and attributes, but not atomic
    bool create = false;       // create a missing file, empty, first
};

// What a save did. Refusals and failures before the switch leave the file
// exactly as it was.
enum ReplaceStatus : int
{
    kReplaceDone = 0,          // replaced, flushed to disk
    kReplaceUntouched = -2,    // refused or failed; the file keeps its bytes and metadata
    kReplaceChanged = -3,      // the file no longer holds what it held when it was read:
                               // another program changed it; nothing was written
    kReplaceNotFlushed = 1,    // the new contents are in place, but the directory (or,
                               // in place, the file) could not be flushed to disk
    kReplacePartlyWritten = 2, // in place only: the rewrite stopped part way
};

// The end of the message of a save refused because a new file could not
// keep the original's owner, group, mode, ACL or extended attributes.
inline constexpr char kOnlyInPlaceKeeps[] = "only a save in place can keep them";

// What follows the file's path in the message of kReplaceChanged.
inline constexpr char kChangedSinceRead[] = " changed since it was read; nothing was written";

// A file held for read-modify-write cycles. Lock() reaches the file one path
// component at a time from a directory it holds open, following symbolic
// links itself (and refusing those another user could have planted in a
// sticky directory such as /tmp, in any component), and takes an exclusive
// advisory lock on the file they lead to, so that two editors of it take
// turns instead of losing an update. Every later step works relative to that
// directory, so the file opened is the file saved. Replace() swaps in new
// contents so that readers see either the old file or the new one, never a
// part of it. The lock goes with the object.
class ZELCONFIG_API LockedFile
{
public:
    LockedFile();
    ~LockedFile();
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;

    // kReplaceDone, or kReplaceUntouched with a message naming the cause:
    // missing, not a regular file, not writable (unless options.force), a
    // symbolic link refused, the lock not had within options.waitSeconds.
    // Opens never block, so a FIFO or a device is refused at once.
    int Lock(const std::string& path, const ReplaceOptions& options, std::string& message);
    // The file the path led to, after every symbolic link.
    const std::string& Path() const;
    // The locked file, for reading it (Lock leaves it at its start); -1 before Lock.
    int Descriptor() const;

    // Writes the pieces, in order, to a locked temporary file beside the
    // target, gives it the target's owner, group, mode, ACL and extended
    // attributes (or refuses when it cannot), flushes it, renames it over the
    // target and flushes the directory. The lock moves to the new file, so
    // that further saves stay guarded. In place (options.inPlace), rewrites
    // the locked file itself instead. A ReplaceStatus, with a message for all
    // but kReplaceDone.
    int Replace(const std::string_view* pieces, size_t count, std::string& message);
    // The same for one run of bytes.
    int Replace(const char* data, size_t size, std::string& message);
    // The same for contents made from what the file held when it was read,
    // `loaded`: just before the switch, under the lock, the file's bytes are
    // compared with `loaded`, and when the name no longer leads to the locked
    // file or its bytes differ (another program ignored the lock, or the file
    // was read without it), nothing is written: kReplaceChanged, with the
    // message the path followed by kChangedSinceRead.
    int ReplaceIfUnchanged(std::string_view loaded, const std::string_view* pieces, size_t count,
                           std::string& message);

private:
    // Behind a pointer, so that the class's size does not depend on how the
    // caller was compiled (struct stat varies with _FILE_OFFSET_BITS and
    // _TIME_BITS on 32-bit systems).
    struct State;
    std::unique_ptr<State> m_state;
};

// Reads what `fd` holds from its position to its end (a pipe: until it
// closes) into memory of the process's own, never a mapping of the file,
// which another program could shorten (SIGBUS) or rewrite meanwhile:
// `bytes`, released with std::free, holds `size` bytes, those read so far
// when it fails. Resumes after interruptions; 2 MiB or more ask for huge
// pages where the system offers them. 0, or an errno value: ENOMEM when
// memory ran out, EFBIG for more than the process could hold, or the failed
// call's.
ZELCONFIG_API int ReadToEnd(int fd, std::unique_ptr<char, void (*)(void*)>& bytes, size_t& size);

// What the reads return for a path that leads to anything but a regular file.
constexpr int kNotRegularFile = -1;

// The whole of the regular file at `path`, read as above. Its open does not
// wait, so a FIFO without a writer or a device cannot hang the caller: 0;
// kNotRegularFile or EISDIR for what is no regular file; or the errno of the
// open or the read.
ZELCONFIG_API int ReadToEnd(const std::string& path, std::unique_ptr<char, void (*)(void*)>& bytes, size_t& size);

// The rule of every save: only a file that exists and that the caller may
// write (as access(2) decides, for the real user) is saved to, although a
// rename over it would need only its directory. `name` is relative to the
// open `directory` (AT_FDCWD: the working directory). 0, or the errno that
// says why not.
ZELCONFIG_API int MayWrite(int directory, const std::string& name);

// Lock, Replace and unlock in one call, for a caller that read the file
// before (and so may overwrite a change made since).
ZELCONFIG_API int ReplaceFile(const std::string& path, const std::string_view* pieces, size_t count,
                              const ReplaceOptions& options, std::string& message);
ZELCONFIG_API int ReplaceFile(const std::string& path, const char* data, size_t size,
                              const ReplaceOptions& options, std::string& message);

} // namespace zelconfig

#endif
