// Codelets for short transforms of real data. No intrinsics.
#pragma once

#include <cstdint>

#include "planner/executor.h"

namespace lyr {

// Transforms of n real numbers x, n/2 + 1 complex numbers X apiece. Even and odd samples, real and
// imaginary parts have a pointer each; element k of an array is at table[k] doubles from there:
//   x[2j] = R0[rs[j]]   x[2j+1] = R1[rs[j]]   Re X[k] = Cr[csr[k]]   Im X[k] = Ci[csi[k]]
// Im X[0] and, for even n, Im X[n/2] are zero and neither read nor written. Tables hold multiples
// of a stride, which may be negative. There are v transforms, ivs doubles apart on the side that is
// read and ovs on the side that is written. Forward: R to C, sign -1; backward: C to R, unscaled.
// The sides may share memory when no output of a transform falls on an input of another. What is
// read is not written otherwise.
using real_kernel = void (*)(scalar *R0, scalar *R1, scalar *Cr, scalar *Ci, const int64_t *rs,
                             const int64_t *csr, const int64_t *csi, uint64_t v, int64_t ivs,
                             int64_t ovs);

// REDFT00 of n numbers, v times: element k at table[k] doubles from the pointers.
using cosine_kernel = void (*)(const scalar *in, scalar *out, const int64_t *is, const int64_t *os,
                               uint64_t v, int64_t ivs, int64_t ovs);

struct real_entry {
    int64_t n;
    real_kernel kernel;
};
struct cosine_entry {
    int64_t n;
    cosine_kernel kernel;
};

inline constexpr int real_sizes = 7;  // powers of two 2 .. 128
inline constexpr int longest_real = 128;
inline constexpr int cosine_sizes = 4;  // 2, 3, 4, 17

// The real-data codelets of one vector target. Entries are in increasing order of n.
struct real_set {
    real_entry forward[real_sizes];
    real_entry hartley[real_sizes];
    real_entry backward[real_sizes];
    real_entry complex_to_real[real_sizes];
    cosine_entry cosine[cosine_sizes];

    // Forward kernels found by n - 1. Those of `r2c` do one transform and read neither v nor ivs
    // nor ovs. Those of `r2c_many_zeroed` write the zero imaginary parts as well.
    real_kernel r2c[longest_real];
    real_kernel r2c_many[longest_real];
    real_kernel r2c_many_zeroed[longest_real];

    // One transform with all strides 1, as executors that do not look at their plan. r2c by n - 1,
    // the others by log2(n). r2c_unit writes the zero imaginary parts as well.
    executor r2c_unit[longest_real];
    executor c2r_unit[real_sizes + 1];
    executor r2hc_unit[real_sizes + 1];
    executor hc2r_unit[real_sizes + 1];
    executor dht_unit[real_sizes + 1];
};

}  // namespace lyr
