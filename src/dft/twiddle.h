// Roots of unity. Every root is computed alone, from an angle that was reduced to the first octant
// in exact integer arithmetic, so accuracy does not depend on the length. Multiplications and
// additions in a fixed order give the same bits on every processor. W(t, N) = (cos 2 pi t/N, sin 2
// pi t/N).
#pragma once

#include <cstddef>
#include <cstdint>

#include "precision.h"

namespace lyr {

// The roots of one N > 0, 4*N below 2^63, so that a large table computes about every eighth entry.
// A root has the same bits whether it comes from there or alone. Those of single precision are
// right to a thousandth of the last place before they are rounded.
template <class number>
struct roots_of {
    int64_t N;
    double unit[2];     // 2 pi / (4 * N) as a sum; its first term times 0..N/2 is exact
    number *half_turn;  // W(t, N), 0 <= t <= N/2; null: compute each root
    alignas(16) number local[2 * 130];
};
using root_source = roots_of<scalar>;
using exact_root_source = roots_of<double>;  // of roots that are calculated with

// Prepares the roots for about `entries` reads. Without memory the roots are computed one by one.
template <class number>
void root_source_init(roots_of<number> *source, int64_t N, int64_t entries);
template <class number>
void root_source_release(roots_of<number> *source);

// Writes W(sign*t, source->N). t >= 0.
void root_of(const exact_root_source *source, int64_t t, int64_t sign, double *out);

// Writes W(sign*(start + k*step), source->N), k = 0..count-1, to every out_step-th complex number.
// start, step >= 0.
void fill_roots(scalar *out, int64_t out_step, const root_source *source, int64_t start,
                int64_t step, int64_t count, int64_t sign);

// The same for a few neighbouring roots, in vectors of so many that are out_step complex numbers
// apart. `count` is a multiple of lanes, all roots are within a turn.
void fill_root_vectors(scalar *out, int64_t lanes, int64_t out_step, const root_source *source,
                       int64_t start, int64_t step, int64_t count, int64_t sign);

// Writes W(sign*step*k, source->N), k = 1..r-1. step >= 0.
void fill_twiddle_row(scalar *row, const root_source *source, int64_t r, int64_t step,
                      int64_t sign);

// Makes each of `count` roots w into w - 1, without the loss of digits that subtracting would be
// near 1. Numbers so near to 1 multiply best like that: z + z*(w - 1) has hardly more rounding
// errors than z.
template <class number>
void subtract_one(number *w, int64_t count) {
    for (int64_t i = 0; i < count; ++i, w += 2)
        w[0] = w[0] > number{0.5} ? -(w[1] * w[1]) / (1 + w[0]) : w[0] - 1;
}

// Writes L*(r-1) twiddles: row j = 0..L-1, column k = 1..r-1, entry [j*(r-1) + k-1] =
// W(sign*m*j*k, source->N).
void fill_stage_twiddles(scalar *table, const root_source *source, int64_t r, int64_t L, int64_t m,
                         int64_t sign);

}  // namespace lyr
