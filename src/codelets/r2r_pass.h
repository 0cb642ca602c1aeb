// The passes over memory before and after the transforms that real-to-real kinds go through. All
// read one array and write another; the two never overlap. n is the length of the real-to-real
// transform, h = n/2 rounded down, w(k) = exp(-2 pi i k/n), t(k) = exp(-pi i k/(2n)).
//
// Real and imaginary parts have tables of their own, so that vectors of them need no shuffles. With
// c = count, a table of complex factors f(1), f(2) .. f(c) is c real parts, then c imaginary parts.
#pragma once

#include <cstdint>

#include "precision.h"

namespace lyr {

struct r2r_pass {
    int64_t n;
    int64_t count;           // entries of each table
    const scalar *twiddles;  // tables one after another, as said below
};
using r2r_pass_function = void (*)(const r2r_pass &, const scalar *in, scalar *out);

// The steps of one kind; null where there is none. `before` comes before the transform, `after`
// after it. Even lengths go through a complex transform of length h, odd ones through a real one of
// length n.
struct r2r_steps {
    r2r_pass_function before, after;
};

// A short transform as the product with its matrix: out[k*os] = sum over j of in[j*is] *
// matrix[j*n + k]. All inputs are read before any output is written, so that `out` may be `in`.
struct r2r_small {
    int64_t is, os;
    const scalar *matrix;
};
using r2r_small_function = void (*)(const r2r_small &, const scalar *in, scalar *out);
inline constexpr int r2r_small_limit = 31;
struct r2r_small_set {
    r2r_small_function by_length[r2r_small_limit];  // n - 1
};

struct r2r_pass_set {
    // The spectrum Y of n real numbers v, n even, is found from the transform Z of v[2j] + i
    // v[2j+1] as in codelets/real_pass.h, and goes on into the output:
    //   R2HC     out[k] = Re Y[k], out[n-k] = Im Y[k]
    //   DHT      out[k] = Re Y[k] - Im Y[k], out[n-k] = Re Y[k] + Im Y[k]
    //   REDFT10  out[k] = 2 Re t(k)Y[k], out[n-k] = -2 Im t(k)Y[k], the v[j] being the even inputs
    //            upwards, then the odd ones downwards (Makhoul, 1980); RODFT10 negates the odd
    //            inputs and turns the output round
    // HC2R, REDFT01 and RODFT01 are the transposes. REDFT11 is a complex transform with a rotation
    // of (x[2j], x[n-1-2j]) before it and another one after it (Duhamel, Mahieux and Petit, 1991);
    // RODFT11 turns its input round and negates odd outputs.
    //
    // Tables, even n, count = h/2 rounded down, halved for R2HC and DHT:
    //   w(k); for the kinds with t also t(k) and t(h-k)
    // odd n, count = h: t(k) for the kinds that have it.
    // REDFT11 and RODFT11, count = h/2 rounded up, j = 0 .. count-1: exp(-pi i (8j+1)/(8n)), then
    // the same with h-1-j for j.
    r2r_steps even[11];  // by kind
    r2r_steps odd[11];

    // Type I from its halves, N even, H = N/2. `in` holds even[0 .. H], the transform of the even
    // inputs, and from in + count on odd[0 .. H-1], that of the odd ones:
    // out[k], out[N-k] = even[k] + odd[k], even[k] - odd[k], odd[H] = 0. n = N.
    r2r_pass_function redft00_join;
    // For the sines even[1 .. H-1] and odd[1 .. H] begin at in and in + count:
    // out[k-1], out[N-k-1] = odd[k] + even[k], odd[k] - even[k], even[H] = 0. n = N.
    r2r_pass_function rodft00_join;

    r2r_small_set small;
};

}  // namespace lyr
