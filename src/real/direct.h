// What the solvers that call real-data codelets share: the private block of a plan.
#pragma once

#include "codelets/select.h"

namespace lyr {

// In `aux` of a plan. Then come the tables rs, csr and csi, n entries each.
struct real_block {
    int64_t n;
    int64_t to_imaginary;  // doubles from Cr to Ci
    real_kernel kernel;

    const int64_t *table(int which) const {
        return reinterpret_cast<const int64_t *>(this + 1) + which * n;
    }
};
static_assert(sizeof(real_block) == 24);

inline const real_block *real_block_of(const plan *p) {
    return static_cast<const real_block *>(p->aux);
}

// The kernel of size n, or null.
real_kernel find_real(const real_entry (&entries)[real_sizes], int64_t n);

// log2(n) for the powers of two 2 .. 128, else 0, where the tables of executors hold null.
int real_exponent(int64_t n);

// Gives the plan its block; table entry k is k times the stride. False: no kernel, no memory.
bool build_real_block(plan *p, real_kernel kernel, int64_t to_imaginary, int64_t rs, int64_t csr,
                      int64_t csi);

// Runs the kernel of a plan whose real side has the element stride `stride`.
inline void run_real_block(const real_block *b, scalar *real, int64_t stride, scalar *spectrum,
                           uint64_t v, int64_t ivs, int64_t ovs) {
    b->kernel(real, real + stride, spectrum, spectrum + b->to_imaginary, b->table(0), b->table(1),
              b->table(2), v, ivs, ovs);
}

// One dimension, at most one batch dimension, interleaved arrays, and in place no result falls on
// input that is still to be read.
bool direct_layout(const plan *p);

// All strides are 1 and there is one transform.
inline bool single_unit(const plan *p) {
    return p->howmany_rank == 0 && unit_strides(p);
}

// Transforms in the batch, and the distances between them.
struct batch_walk {
    uint64_t v;
    int64_t idist, odist;
};
inline batch_walk batch_of(const plan *p) {
    if (p->howmany_rank == 0) return {1, 0, 0};
    const lyr_fft_iodim64 &h = p->howmany_dims[0];
    return {static_cast<uint64_t>(h.n), h.is, h.os};
}

}  // namespace lyr
