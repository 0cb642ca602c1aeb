#include "batch/copy_transpose.h"

#include <cstring>

#if defined(__SSE2__)
    #include <emmintrin.h>
#endif

namespace lyr {

namespace {

typedef scalar unaligned_pair
    __attribute__((vector_size(complex_bytes), aligned(scalar_bytes), may_alias));

struct pair {  // template arguments would lose the attributes of a bare type
    unaligned_pair parts;
};

constexpr int64_t line_bytes = 64;
// Matrices are walked in blocks of so many rows, and tiles in blocks of so many columns as well: a
// row of a block fills a page, and the pages of a block all have their address translations at
// hand.
constexpr int64_t block_rows = 512, block_cols = 256;

int64_t smaller(int64_t a, int64_t b) {
    return a < b ? a : b;
}

template <class element>
void copy_rest(const element *src, element *dst, int64_t rows, int64_t cols, int64_t src_stride,
               int64_t dst_stride) {
    for (int64_t j = 0; j < cols; ++j)
        for (int64_t i = 0; i < rows; ++i) dst[j * dst_stride + i] = src[i * src_stride + j];
}

// Calls f(i, j, rows, cols) for the tiles of a matrix, neighbours in a block after each other.
template <int64_t Rows, int64_t Cols, class function>
void for_each_tile(int64_t rows, int64_t cols, function f) {
    for (int64_t block_i = 0; block_i < rows; block_i += block_rows)
        for (int64_t block_j = 0; block_j < cols; block_j += block_cols) {
            const int64_t end_i = smaller(block_i + block_rows, rows);
            const int64_t end_j = smaller(block_j + block_cols, cols);
            for (int64_t i = block_i; i < end_i; i += Rows)
                for (int64_t j = block_j; j < end_j; j += Cols)
                    f(i, j, smaller(Rows, end_i - i), smaller(Cols, end_j - j));
        }
}

template <class element>
void copy_tiles(const element *src, element *dst, int64_t rows, int64_t cols, int64_t src_stride,
                int64_t dst_stride) {
    constexpr int64_t height = line_bytes / int64_t{sizeof(element)}, width = 2 * height;
    for_each_tile<height, width>(rows, cols, [=](int64_t i, int64_t j, int64_t r, int64_t c) {
        const element *from = src + i * src_stride + j;
        element *to = dst + j * dst_stride + i;
        if (r == height && c == width)
            copy_rest(from, to, height, width, src_stride, dst_stride);
        else
            copy_rest(from, to, r, c, src_stride, dst_stride);
    });
}

// Complex numbers. Their tiles, a line high and two lines wide, follow each other down a strip of
// the input: few rows of the output are written at a time, a line after the other. Rows of the
// input are called for in advance, as they are too far apart for the processor to foresee them.
constexpr int64_t strip_height = line_complex, strip_width = 2 * line_complex, rows_ahead = 8;

constexpr int64_t pairs_at_once = 16 / complex_bytes;  // in 16 bytes, which move in one piece

// As many numbers of as many rows, the first and the last of them given.
__attribute__((always_inline)) inline void copy_square(const pair *first, const pair *last,
                                                       pair *dst, int64_t dst_stride) {
    if constexpr (pairs_at_once == 1) {
        *dst = *first;
    } else {
        typedef int64_t two_pairs
            __attribute__((vector_size(16), aligned(scalar_bytes), may_alias));
        const two_pairs a = *reinterpret_cast<const two_pairs *>(first),
                        b = *reinterpret_cast<const two_pairs *>(last);
        *reinterpret_cast<two_pairs *>(dst) = two_pairs{a[0], b[0]};
        *reinterpret_cast<two_pairs *>(dst + dst_stride) = two_pairs{a[1], b[1]};
    }
}

__attribute__((always_inline)) inline void copy_strip_tile(const pair *src, pair *dst,
                                                           int64_t src_stride, int64_t dst_stride,
                                                           const pair *later) {
    const pair *row[strip_height];
    for (int64_t i = 0; i < strip_height; ++i) {
        row[i] = src + i * src_stride;
        for (int64_t j = 0; j < strip_width; j += strip_height)
            __builtin_prefetch(later + i * src_stride + j);
    }
#pragma GCC unroll 16
    for (int64_t j = 0; j < strip_width; j += pairs_at_once) {
#pragma GCC unroll 8
        for (int64_t i = 0; i < strip_height; i += pairs_at_once)
            copy_square(row[i] + j, row[i + pairs_at_once - 1] + j, dst + i, dst_stride);
        dst += pairs_at_once * dst_stride;
        // Or all distances would be kept, in more registers than there are.
        __asm__("" : "+r"(dst));
    }
}

void copy_strips(const pair *src, pair *dst, int64_t rows, int64_t cols, int64_t src_stride,
                 int64_t dst_stride) {
    for (int64_t first = 0; first < rows; first += block_rows) {
        const int64_t count = smaller(block_rows, rows - first);
        const int64_t wrapped = rows_ahead < count ? rows_ahead - count : 0;
        for (int64_t j = 0; j < cols; j += strip_width) {
            const pair *from = src + first * src_stride + j;
            pair *to = dst + j * dst_stride + first;
            const int64_t width = smaller(strip_width, cols - j);
            int64_t i = 0;
            for (; width == strip_width && i + strip_height <= count; i += strip_height) {
                // At the end of a strip the beginning of the next one.
                const pair *later = i + rows_ahead < count
                                        ? from + rows_ahead * src_stride
                                        : from + wrapped * src_stride + strip_width;
                copy_strip_tile(from, to, src_stride, dst_stride, later);
                from += strip_height * src_stride;
                to += strip_height;
            }
            copy_rest(from, to, count - i, width, src_stride, dst_stride);
        }
    }
}

#if defined(__SSE2__)

// What neither cache nor reader will see again soon is stored past the caches, or every line would
// be read from memory before it is written. From this size on that is faster.
constexpr int64_t far_bytes = int64_t{1} << 23;

constexpr int64_t far_height = 16, far_width = 2 * line_complex;

void store_far(pair *to, const pair *from, int64_t n) {
    for (int64_t k = 0; k + pairs_at_once <= n; k += pairs_at_once)
        _mm_stream_pd(reinterpret_cast<double *>(to + k),
                      _mm_load_pd(reinterpret_cast<const double *>(from + k)));
}

void copy_tile_far(const pair *src, pair *dst, int64_t rows, int64_t cols, int64_t src_stride,
                   int64_t dst_stride) {
    alignas(line_bytes) pair columns[far_width * far_height];
    for (int64_t i = 0; i < rows; ++i)
        for (int64_t j = 0; j < cols; ++j) {
            const pair *from = src + i * src_stride + j;
            if (j % 4 == 0) __builtin_prefetch(from + far_width);  // the next tile
            columns[j * far_height + i] = *from;
        }
    for (int64_t j = 0; j < cols; ++j)
        store_far(dst + j * dst_stride, columns + j * far_height, rows);
}

int64_t elements_to_next_line(const pair *p) {
    return static_cast<int64_t>(-reinterpret_cast<uintptr_t>(p) % line_bytes / sizeof(pair));
}

// Stores whole lines only, so all rows of the output must start at the same place in a line.
bool copy_far(const pair *src, pair *dst, int64_t rows, int64_t cols, int64_t src_stride,
              int64_t dst_stride) {
    constexpr int64_t line = line_bytes / complex_bytes;
    if (rows * cols < far_bytes / complex_bytes || rows < 2 * far_height || cols < 2 * far_width)
        return false;
    if (reinterpret_cast<uintptr_t>(dst) % 16 != 0 || dst_stride % line != 0) return false;
    const int64_t top = elements_to_next_line(dst), left = elements_to_next_line(src);
    copy_strips(src, dst, top, cols, src_stride, dst_stride);
    copy_strips(src + top * src_stride, dst + top, rows - top, left, src_stride, dst_stride);
    src += top * src_stride + left;
    dst += left * dst_stride + top;
    rows -= top;
    cols -= left;
    for_each_tile<far_height, far_width>(
        rows, cols, [=](int64_t i, int64_t j, int64_t r, int64_t c) {
            const pair *from = src + i * src_stride + j;
            pair *to = dst + j * dst_stride + i;
            if (r == far_height && c == far_width)
                copy_tile_far(from, to, far_height, far_width, src_stride, dst_stride);
            else
                copy_rest(from, to, r, c, src_stride, dst_stride);
        });
    finish_copies_past();
    return true;
}

#else

bool copy_far(const pair *, pair *, int64_t, int64_t, int64_t, int64_t) {
    return false;
}

#endif

}  // namespace

void copy_transpose_cpx(const scalar *src, scalar *dst, int64_t rows, int64_t cols,
                        int64_t src_stride, int64_t dst_stride) {
    const pair *from = reinterpret_cast<const pair *>(src);
    pair *to = reinterpret_cast<pair *>(dst);
    if (!copy_far(from, to, rows, cols, src_stride, dst_stride))
        copy_strips(from, to, rows, cols, src_stride, dst_stride);
}

void copy_transpose_real(const scalar *src, scalar *dst, int64_t rows, int64_t cols,
                         int64_t src_stride, int64_t dst_stride) {
    copy_tiles(src, dst, rows, cols, src_stride, dst_stride);
}

void copy_past(const scalar *src, scalar *dst, int64_t n, [[maybe_unused]] const scalar *next) {
    const auto copy = [=](int64_t first, int64_t behind) {
        memcpy(dst + first, src + first, static_cast<size_t>((behind - first) * scalar_bytes));
    };
    int64_t head = n, end = n;
#if defined(__SSE2__)
    constexpr int64_t line = line_bytes / scalar_bytes;
    const uintptr_t to_line = -reinterpret_cast<uintptr_t>(dst) % line_bytes;
    if (to_line % scalar_bytes == 0)
        head = smaller(static_cast<int64_t>(to_line) / scalar_bytes, n);
    end = head + (n - head) / line * line;
    for (int64_t k = head; k < end; k += line) {
        if (next) __builtin_prefetch(next + k, 0, 2);
        const double *from = reinterpret_cast<const double *>(src + k);
        double *to = reinterpret_cast<double *>(dst + k);
        __m128d x[4];
        for (int64_t i = 0; i < 4; ++i) x[i] = _mm_loadu_pd(from + 2 * i);
        for (int64_t i = 0; i < 4; ++i) _mm_stream_pd(to + 2 * i, x[i]);
    }
#endif
    copy(0, head);
    copy(end, n);
}

void finish_copies_past() {
#if defined(__SSE2__)
    _mm_sfence();
#endif
}

}  // namespace lyr
