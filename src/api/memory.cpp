#include "api/memory.h"

#include <cstdlib>

#include "interface.h"

namespace lyr {

namespace {
// Room for the raw pointer below the aligned block plus the alignment itself.
constexpr uint64_t overhead = 72;
}  // namespace

void *aligned_alloc_zero(uint64_t bytes) {
    if (bytes > SIZE_MAX - overhead) return nullptr;
    void *raw = calloc(bytes + overhead, 1);
    if (!raw) return nullptr;
    const uintptr_t block = (reinterpret_cast<uintptr_t>(raw) + 64) & ~uintptr_t{63};
    void **p = reinterpret_cast<void **>(block);
    p[-1] = raw;
    return p;
}

void aligned_free(void *p) {
    if (!p) return;
    void *raw = static_cast<void **>(p)[-1];
    // A pointer from elsewhere has some other word below it: leave it alone rather than corrupt the
    // heap.
    const uintptr_t block = reinterpret_cast<uintptr_t>(p);
    const uintptr_t start = reinterpret_cast<uintptr_t>(raw);
    if (start < block && block - start <= overhead) free(raw);
}

}  // namespace lyr

extern "C" void *lyr_fft_malloc(size_t n) {
    return lyr::aligned_alloc_zero(n);
}

extern "C" void lyr_fft_free(void *p) {
    lyr::aligned_free(p);
}
