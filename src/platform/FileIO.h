#ifndef ZELCONFIG_PLATFORM_FILEIO_H
#define ZELCONFIG_PLATFORM_FILEIO_H

#include <cstddef>
#include <sys/uio.h>

namespace zelconfig {

// Writes every byte of `parts` to `fd`, resuming after interruptions and
// short writes: 0, or the errno that stopped it (EIO for a write that made
// no progress, which would otherwise loop for ever). `parts` is consumed.
int WriteAll(int fd, iovec* parts, int count);

// The same for one buffer.
int WriteAll(int fd, const void* data, size_t size);

} // namespace zelconfig

#endif
