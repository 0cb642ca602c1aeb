#include "api/memory.h"

#include <sys/mman.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "interface.h"

namespace lyr {

namespace {

// Blocks from this size on lie on pages of this size where the system has any: passes over large
// arrays step from page to page, and touching them for the first time costs a fifth.
constexpr uint64_t large_page = 2 << 20;

// Room below a block for the raw pointer and for its alignment.
uint64_t overhead_of(uint64_t alignment) {
    return alignment + sizeof(void *);
}

using raw_allocator = void *(*)(uint64_t bytes);

void *aligned_alloc_by(raw_allocator allocate, uint64_t bytes) {
    const uint64_t alignment = bytes >= large_page ? large_page : 64;
    const uint64_t overhead = overhead_of(alignment);
    const int before = errno;
    void *raw = bytes <= SIZE_MAX - overhead ? allocate(bytes + overhead) : nullptr;
    if (!raw) {
        errno = ENOMEM;
        return nullptr;
    }
    const uintptr_t block =
        (reinterpret_cast<uintptr_t>(raw) + overhead - 1) & ~uintptr_t{alignment - 1};
    void **p = reinterpret_cast<void **>(block);
    p[-1] = raw;
    // Whole pages only. An error means ordinary pages.
    if (bytes >= large_page) madvise(p, bytes & ~(large_page - 1), MADV_HUGEPAGE);
    errno = before;
    return p;
}

}  // namespace

void *aligned_alloc_zero(uint64_t bytes) {
    return aligned_alloc_by([](uint64_t all) { return calloc(all, 1); }, bytes);
}

void *aligned_alloc_any(uint64_t bytes) {
    return aligned_alloc_by([](uint64_t all) { return malloc(all); }, bytes);
}

void *planning_malloc(size_t bytes) {
    const int before = errno;
    void *p = malloc(bytes);
    errno = p ? before : ENOMEM;
    return p;
}

void *planning_calloc(size_t count, size_t bytes) {
    const int before = errno;
    void *p = calloc(count, bytes);
    errno = p ? before : ENOMEM;
    return p;
}

void aligned_free(void *p) {
    if (!p) return;
    void *raw;
    memcpy(&raw, static_cast<char *>(p) - sizeof raw, sizeof raw);
    // A pointer from elsewhere has some other word below it: leave it alone rather than corrupt the
    // heap.
    const uintptr_t block = reinterpret_cast<uintptr_t>(p);
    const uintptr_t start = reinterpret_cast<uintptr_t>(raw);
    const bool on_large_page = block % large_page == 0;
    if (start < block && block - start <= overhead_of(on_large_page ? large_page : 64)) free(raw);
}

}  // namespace lyr

extern "C" void *lyr_fft_malloc(size_t n) {
    return lyr::aligned_alloc_zero(n);
}

extern "C" void lyr_fft_free(void *p) {
    lyr::aligned_free(p);
}
