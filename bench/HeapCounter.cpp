#include "HeapCounter.h"

#include <cerrno>
#include <cstdlib>
#include <malloc.h>

// glibc's allocator under its internal names, which the wrappers below forward to.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* pointer, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* pointer);
}

namespace {

// The benchmark programs are single-threaded; plain counters suffice. Memory
// allocated before counting started may be freed while counting, so `live`
// is only ever compared with itself.
zelbench::HeapState g_heap = {0, 0, 0};
bool g_counting = false;

// Counts a block the allocator just handed out.
void* Counted(void* pointer)
{
    if (g_counting && pointer != nullptr) {
        ++g_heap.allocations;
        g_heap.live += static_cast<long long>(malloc_usable_size(pointer));
        if (g_heap.live > g_heap.peak) {
            g_heap.peak = g_heap.live;
        }
    }
    return pointer;
}

// Takes a freed block off the live total.
void Uncount(void* pointer)
{
    if (g_counting && pointer != nullptr) {
        g_heap.live -= static_cast<long long>(malloc_usable_size(pointer));
    }
}

} // namespace

extern "C" {

void* malloc(size_t size) noexcept { return Counted(__libc_malloc(size)); }

void* calloc(size_t count, size_t size) noexcept { return Counted(__libc_calloc(count, size)); }

void* realloc(void* pointer, size_t size) noexcept
{
    Uncount(pointer);
    void* result = __libc_realloc(pointer, size);
    if (result == nullptr && size != 0) {
        // The old block is still there.
        if (g_counting && pointer != nullptr) {
            g_heap.live += static_cast<long long>(malloc_usable_size(pointer));
        }
        return nullptr;
    }
    return Counted(result);
}

void free(void* pointer) noexcept
{
    Uncount(pointer);
    __libc_free(pointer);
}

void* memalign(size_t alignment, size_t size) noexcept { return Counted(__libc_memalign(alignment, size)); }

void* aligned_alloc(size_t alignment, size_t size) noexcept
{
    return Counted(__libc_memalign(alignment, size));
}

int posix_memalign(void** result, size_t alignment, size_t size) noexcept
{
    void* pointer = Counted(__libc_memalign(alignment, size));
    if (pointer == nullptr) {
        return ENOMEM;
    }
    *result = pointer;
    return 0;
}

} // extern "C"

namespace zelbench {

void StartCounting() { g_counting = true; }

HeapState Heap() { return g_heap; }

void ResetPeak() { g_heap.peak = g_heap.live; }

size_t UsableSizeFor(size_t bytes)
{
    // 64-bit glibc: chunks of 16-byte steps, 8 bytes of header, 32 at the least.
    const size_t chunk = (bytes + 8 + 15) & ~size_t{15};
    return (chunk < 32 ? 32 : chunk) - 8;
}

} // namespace zelbench
