// The pass between the spectrum of 2h real numbers and the complex transform of length h of their
// pairs.
//
// With Z[k] the transform of z[j] = x[2j] + i*x[2j+1], w(k) = W(-k, 2h), and for k = 1 .. h/2
// a = first input k, b = input h-k, e = a + conj(b), d = a - conj(b):
//   forward, Z to the spectrum Y:  Y[k] = (e - i*w(k)*d)/2     Y[h-k] = conj(e + i*w(k)*d)/2
//   backward, Y to Z (times 2):    Z[k] = e + i*conj(w(k))*d   Z[h-k] = conj(e - i*conj(w(k))*d)
// (Cooley, Lewis and Welch, 1970.) The elements 0 and h are not touched.
#pragma once

#include <cstdint>

#include "precision.h"

namespace lyr {

// Pairs k and h-k for k = first..last; 1 <= first and last <= h/2. Steps count complex numbers.
// Disjoint ranges write disjoint outputs. The output may be the input with the same step.
struct real_pass {
    int64_t h, first, last;
    int64_t in_step, out_step;
    const scalar *twiddles;  // entry k-1: w(k); of a forward pass -i*w(k)/2
    int64_t width = 1;       // transforms side by side, for the functions on rows
    // Two levels, with steps of 1 only: (1 + twiddles[(k-1) % real_pass_block]) *
    // turns[(k-1) / real_pass_block] is -i*w(k)/2, of a backward pass conj(w(k)).
    const scalar *turns = nullptr;
};
inline constexpr int64_t real_pass_block = 512;  // a quarter of a small first-level cache
using real_pass_function = void (*)(const real_pass &, const scalar *in, scalar *out);

// One transform each; `rows` for `width` transforms side by side, where a step leads from a row of
// `width` neighbouring numbers to the next.
struct real_pass_set {
    real_pass_function forward, backward;
    real_pass_function forward_rows, backward_rows;
};

}  // namespace lyr
