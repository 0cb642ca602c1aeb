// One transform problem as a record, and the one-line notation for it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "interface.h"

namespace lyr_tools {

inline constexpr int max_rank = 3;

enum class transform { c2c, r2c, c2r, r2r };

// A transform problem with every stride spelled out. Lengths of real transforms are those of the
// real array; strides count elements of the array they belong to, as in the guru interface.
struct problem {
    transform kind = transform::c2c;
    bool in_place = false;
    bool split = false;          // real and imaginary parts in separate arrays
    int sign = LYR_FFT_FORWARD;  // c2c only
    int rank = 0;                // 0: a rearrangement of the batch
    lyr_fft_iodim64 dims[max_rank] = {};
    lyr_fft_r2r_kind kinds[max_rank] = {};  // r2r only
    int batch_rank = 0;
    lyr_fft_iodim64 batch[max_rank] = {};
};

// Which array of a problem.
enum class side { in, out };

// The notation of problems, for users: a text of several lines.
const char *problem_notation();

// Read a problem from its notation. Returns false, with one line saying why in `error`, for
// anything that is not a problem and for problems whose arrays need more than max_bytes bytes;
// `limit` follows that number, to say what it is.
bool parse_problem(std::string_view text, int64_t max_bytes, problem &p, std::string &error,
                   const char *limit = "");

// Bytes of the arrays of a problem together.
int64_t problem_bytes(const problem &p);

// The shortest text that parse_problem reads back as the same problem.
std::string format_problem(const problem &p);

// Give every dimension the stride of the usual layout: row-major and without gaps, one transform
// after another, or, interleaved, all transforms' first elements first. In-place real transforms
// get padded rows. False when a stride would exceed 2^56.
bool set_usual_strides(problem &p, bool interleaved);

// The number of points of one transform; 1 for rank 0.
int64_t point_count(const problem &p);

// The number of transforms in the batch.
int64_t batch_count(const problem &p);

// The conventional number of floating-point operations: 5 N log2 N per complex transform of N
// points and half of that per real one.
double conventional_flops(const problem &p);

// True when the elements of one side are complex numbers (in one array or split).
bool is_complex(const problem &p, side s);

// Elements along dimension d on one side: its length, n/2+1 for the last of a half-complex array.
int64_t stored_length(const problem &p, int d, side s);

// Elements from the first to the last one used on one side, both included.
int64_t extent(const problem &p, side s);

// Stride of a dimension on one side, in elements.
inline int64_t stride(const lyr_fft_iodim64 &d, side s) {
    return s == side::in ? d.is : d.os;
}

// Call f(offset) with the element offset of the first element of every transform of the batch.
template <class function>
void for_each_transform(const problem &p, side s, function f) {
    int64_t n[max_rank] = {1, 1, 1};
    int64_t step[max_rank] = {0, 0, 0};
    for (int d = 0; d < p.batch_rank; ++d) {
        n[max_rank - p.batch_rank + d] = p.batch[d].n;
        step[max_rank - p.batch_rank + d] = stride(p.batch[d], s);
    }
    for (int64_t i = 0; i < n[0]; ++i)
        for (int64_t j = 0; j < n[1]; ++j)
            for (int64_t k = 0; k < n[2]; ++k) f(i * step[0] + j * step[1] + k * step[2]);
}

// Call f(offset) with the element offset of every element of one transform, in row-major order.
template <class function>
void for_each_element(const problem &p, side s, function f) {
    int64_t n[max_rank] = {1, 1, 1};
    int64_t step[max_rank] = {0, 0, 0};
    for (int d = 0; d < p.rank; ++d) {
        n[max_rank - p.rank + d] = stored_length(p, d, s);
        step[max_rank - p.rank + d] = stride(p.dims[d], s);
    }
    for (int64_t i = 0; i < n[0]; ++i)
        for (int64_t j = 0; j < n[1]; ++j)
            for (int64_t k = 0; k < n[2]; ++k) f(i * step[0] + j * step[1] + k * step[2]);
}

// The number of bytes of the character that a text begins with, in UTF-8; 0 when it is none that
// can be printed.
size_t printable_length(std::string_view text);

// `text` in single quotes, fit for one line of a message: at most 60 characters, those that cannot
// be printed replaced.
std::string in_quotes(std::string_view text);

}  // namespace lyr_tools
