#ifndef ZELCONFIG_BENCH_HEAPCOUNTER_H
#define ZELCONFIG_BENCH_HEAPCOUNTER_H

#include <cstddef>

namespace zelbench {

// The heap as the benchmark programs see it: malloc and its relatives are
// replaced in those programs (never in the library) by counting wrappers
// around glibc's own allocator. Bytes are usable sizes, as malloc hands them out.
struct HeapState
{
    size_t allocations; // calls that returned memory, since the start
    size_t live;        // bytes allocated and not yet freed
    size_t peak;        // highest `live` since the last ResetPeak()
};

HeapState Heap();
void ResetPeak();

// The usable size glibc gives a request of `bytes`, for estimating what a
// model needs at the least.
size_t UsableSizeFor(size_t bytes);

} // namespace zelbench

#endif
