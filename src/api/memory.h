// The allocator behind every buffer of the library and behind lyr_fft_malloc.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lyr {

// A zero-filled block of `bytes` bytes, aligned to 64 bytes, or null.
void *aligned_alloc_zero(uint64_t bytes);

// The same with any content, for what is written before it is read.
void *aligned_alloc_any(uint64_t bytes);

// malloc and calloc for planning. All allocators here leave errno alone where they succeed, which
// the system's do not promise: plan_solve gives up at ENOMEM.
void *planning_malloc(size_t bytes);
void *planning_calloc(size_t count, size_t bytes);

// Releases a block of the first two; null and foreign pointers are left alone.
void aligned_free(void *p);

}  // namespace lyr
