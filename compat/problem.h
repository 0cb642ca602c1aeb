// A transform as the interface describes it, and its normal form.
#pragma once

#include "names.h"

namespace compat {

// Dimensions of a length above 1 multiply the number of elements, so that there cannot be more than
// 62 that matter.
inline constexpr int most_dimensions = 64;

enum class problem_kind : int { c2c, r2c, c2r, r2r };

// Arrays as executions take them: the imaginary ones are null unless complex numbers are split.
struct arrays {
    real *ri, *ii, *ro, *io;
};

// Strides count elements of their side: complex numbers (split ones: reals) or reals. dims come
// outermost first; the last one of r2c and c2r is the halved one.
struct problem {
    problem_kind kind;
    int sign;    // -1 forward, otherwise backward; c2c alone
    bool split;  // separate real and imaginary arrays
    int rank;
    int batch_rank;
    iodim64 dims[most_dimensions];
    int kinds[most_dimensions];  // r2r alone
    iodim64 batch[most_dimensions];
    arrays at;
    bool in_place;  // results go to an array that holds input
};

// Reals from one element to the next in an array of the side.
inline ptrdiff_t input_unit(const problem &p) {
    return p.kind == problem_kind::r2c || p.kind == problem_kind::r2r || p.split ? 1 : 2;
}
inline ptrdiff_t output_unit(const problem &p) {
    return p.kind == problem_kind::c2r || p.kind == problem_kind::r2r || p.split ? 1 : 2;
}

// Elements along dimension k as they are stored: the halved one has fewer on the complex side.
ptrdiff_t input_length(const problem &p, int k);
ptrdiff_t output_length(const problem &p, int k);

// Whether an input array is an output array, at the addresses the caller gave.
bool shares_arrays(const arrays &a);

// In place, whether every transform leaves its results exactly where its input was.
bool stays(const problem &p);

// Where the first elements are, relative to those of the problem before: in reals.
struct offsets {
    ptrdiff_t in, out;
};

// Brings a problem into its normal form, which has the same results: dimensions that do nothing are
// gone, no batch dimension runs backwards on both sides, dimensions are in the order of their
// strides, batch dimensions that continue each other are one. The arrays move along. r2c and c2r
// keep their last dimension, and get one of length 1 when they have none.
offsets normalise(problem &p);

// Whether nothing is computed: a rearrangement of the batch.
inline bool is_copy(const problem &p) {
    return p.rank == 0;
}

// Numbers in the input or output: what a buffer for that side must hold. -1: too many.
ptrdiff_t input_volume(const problem &p);
ptrdiff_t output_volume(const problem &p);

// Set the strides of one side to those of a buffer without gaps, batch outermost, in the order of
// the dimensions.
void make_input_dense(problem &p);
void make_output_dense(problem &p);

}  // namespace compat
