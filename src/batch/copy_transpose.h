// Transposing copies of matrices, and copies past the caches.
#pragma once

#include <cstdint>

#include "precision.h"

namespace lyr {

// Complex element (i, j) at src[i * src_stride + j] goes to dst[j * dst_stride + i], for i < rows
// and j < cols. Strides count complex elements; the arrays do not overlap.
void copy_transpose_cpx(const scalar *src, scalar *dst, int64_t rows, int64_t cols,
                        int64_t src_stride, int64_t dst_stride);

// The same for real elements; strides count doubles.
void copy_transpose_real(const scalar *src, scalar *dst, int64_t rows, int64_t cols,
                         int64_t src_stride, int64_t dst_stride);

// Whether the processor has stores that go past the caches. Others notice by themselves that whole
// lines are written.
#if defined(__SSE2__)
inline constexpr bool has_copies_past = true;
#else
inline constexpr bool has_copies_past = false;
#endif

// Copies n real numbers to where no cache keeps them, if there is such a way; finish_copies_past
// makes such copies visible to other threads before later stores. As many numbers are called for
// into the second-level cache, from `next` on unless that is null.
void copy_past(const scalar *src, scalar *dst, int64_t n, const scalar *next);
void finish_copies_past();

}  // namespace lyr
