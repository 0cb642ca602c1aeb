// The real-data codelets of a target, instantiated by the real_*.cpp files.
#pragma once

#include "codelets/real.h"

// The parameters of a real_kernel.
#define LYR_REAL_PARAMETERS                                                                \
    scalar *R0, scalar *R1, scalar *Cr, scalar *Ci, const int64_t *rs, const int64_t *csr, \
        const int64_t *csi, [[maybe_unused]] uint64_t v, [[maybe_unused]] int64_t ivs,     \
        [[maybe_unused]] int64_t ovs

namespace lyr::LYR_ISA {

template <int N>
void forward_kernel(LYR_REAL_PARAMETERS);
template <int N>
void backward_kernel(LYR_REAL_PARAMETERS);
template <int N>
void r2c_kernel(LYR_REAL_PARAMETERS);
template <int N>
void r2c_many_zeroed_kernel(LYR_REAL_PARAMETERS);

template <int N>
void r2c_unit(const plan *, scalar *in, scalar *out, scalar *);
template <int N>
void c2r_unit(const plan *, scalar *in, scalar *out, scalar *);
template <int N>
void r2hc_unit(const plan *, scalar *in, scalar *out, scalar *);
template <int N>
void hc2r_unit(const plan *, scalar *in, scalar *out, scalar *);
template <int N>
void dht_unit(const plan *, scalar *in, scalar *out, scalar *);

}  // namespace lyr::LYR_ISA
