#ifndef ZELCONFIG_BENCH_HEAPCOUNTER_H
#define ZELCONFIG_BENCH_HEAPCOUNTER_H

#include <cstddef>

namespace zelbench {

// The heap as the benchmark programs see it: malloc and its relatives are
// replaced in those programs (never in the library) by counting wrappers
// around glibc's own allocator. Bytes are usable sizes, as malloc hands them out.
// Counting costs a little on every call, so it is off until asked for: a
// program either counts or is timed.
struct HeapState
{
    long long allocations; // calls that returned memory while counting
    long long live;        // bytes allocated and not yet freed, while counting
    long long peak;        // highest `live` since the last ResetPeak()
};

void StartCounting();
HeapState Heap();
void ResetPeak();

// The usable size glibc gives a request of `bytes`, for estimating what a
// model needs at the least.
size_t UsableSizeFor(size_t bytes);

} // namespace zelbench

#endif
