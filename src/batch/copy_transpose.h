// Transposing copies of matrices.
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

}  // namespace lyr
