#ifndef ZELCONFIG_PLATFORM_FILEIO_H
#define ZELCONFIG_PLATFORM_FILEIO_H

#include <cstddef>
#include <fcntl.h>
#include <string>
#include <sys/uio.h>

#include "ZelConfigReplaceFile.h" // ReadToEnd and MayWrite, defined here

namespace zelconfig {

// Writes every byte of `parts` to `fd`, resuming after interruptions and
// short writes: 0, or the errno that stopped it (EIO for a write that made
// no progress, which would otherwise loop for ever). `parts` is consumed.
int WriteAll(int fd, iovec* parts, int count);

// The same for one buffer.
int WriteAll(int fd, const void* data, size_t size);

// At least `size` bytes of the process's own memory, as ReadToEnd reads into
// (huge pages for 2 MiB or more), released with std::free; `capacity` says
// how many. Null when memory ran out.
char* AllocateBytes(size_t size, size_t& capacity);

// Appends what `fd` holds from its position to its end (ReadToEnd): 0, or
// the errno that stopped it.
int ReadAll(int fd, std::string& out);

// Makes a descriptor opened with O_NONBLOCK (so that its open could not hang
// on a FIFO) block as usual again, resuming after interruptions: 0 or errno.
int ClearNonBlocking(int fd);

// Opens `path` with `flags` (O_CLOEXEC added) without blocking, so that a
// FIFO without a writer or a device cannot hang the caller, and keeps it only
// when it is a regular file; the descriptor then blocks as usual. 0 with `fd`
// set, kNotRegularFile (public beside ReadToEnd), EISDIR, or the errno of the
// open.
int OpenRegular(const std::string& path, int flags, int& fd);

} // namespace zelconfig

#endif
