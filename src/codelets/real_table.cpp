// The real-data codelets of one vector target, found by size, and those of REDFT00.
#include LYR_ISA_HEADER

#include "codelets/kernel/cosine.h"
#include "codelets/kernel/real_kernels.h"

namespace lyr::LYR_ISA {

namespace {

constexpr int wide_lanes = 2 * vec::lanes < 8 ? 2 * vec::lanes : 8;

template <int N, class V, bool SideBySide>
LYR_INLINE uint64_t cosine_run(const scalar *&in, scalar *&out, const int64_t *is,
                               const int64_t *os, uint64_t v, int64_t ivs, int64_t ovs) {
    for (; v >= V::lanes; v -= V::lanes) {
        V x[N], y[N];
        unroll<N>(LYR_LAMBDA(auto j) {
            x[j] = SideBySide ? V::load(in + is[j]) : V::gather(in + is[j], ivs);
        });
        redft00<N - 1, V>(x, y);
        unroll<N>(LYR_LAMBDA(auto k) {
            if constexpr (SideBySide)
                y[k].store(out + os[k]);
            else
                y[k].scatter(out + os[k], ovs);
        });
        in += V::lanes * ivs;
        out += V::lanes * ovs;
    }
    return v;
}

template <int N>
void cosine(const scalar *in, scalar *out, const int64_t *is, const int64_t *os, uint64_t v,
            int64_t ivs, int64_t ovs) {
    if (ivs == 1 && ovs == 1)
        v = cosine_run<N, real_vec<wide_lanes>, true>(in, out, is, os, v, 1, 1);
    else if (N > 3)  // too few numbers to pay for gathering them
        v = cosine_run<N, real_vec<wide_lanes>, false>(in, out, is, os, v, ivs, ovs);
    cosine_run<N, real_vec<1>, false>(in, out, is, os, v, ivs, ovs);
}

template <int... N>
constexpr void add_single(real_set &set) {
    ((set.r2c[N - 1] = r2c_kernel<N>), ...);
    ((set.r2c_unit[N - 1] = r2c_unit<N>), ...);
}
template <int... N>
constexpr void add_many(real_set &set) {
    ((set.r2c_many[N - 1] = forward_kernel<N>), ...);
    ((set.r2c_many_zeroed[N - 1] = r2c_many_zeroed_kernel<N>), ...);
}

constexpr real_set make_reals() {
    real_set set = {
        .forward = {{2, forward_kernel<2>},
                    {4, forward_kernel<4>},
                    {8, forward_kernel<8>},
                    {16, forward_kernel<16>},
                    {32, forward_kernel<32>},
                    {64, forward_kernel<64>},
                    {128, forward_kernel<128>}},
        .hartley = {},
        .backward = {{2, backward_kernel<2>},
                     {4, backward_kernel<4>},
                     {8, backward_kernel<8>},
                     {16, backward_kernel<16>},
                     {32, backward_kernel<32>},
                     {64, backward_kernel<64>},
                     {128, backward_kernel<128>}},
        .complex_to_real = {},
        .cosine = {{2, cosine<2>}, {3, cosine<3>}, {4, cosine<4>}, {17, cosine<17>}},
        .r2c = {},
        .r2c_many = {},
        .r2c_many_zeroed = {},
        .r2c_unit = {},
        .c2r_unit = {nullptr, c2r_unit<2>, c2r_unit<4>, c2r_unit<8>, c2r_unit<16>, c2r_unit<32>,
                     c2r_unit<64>, c2r_unit<128>},
        .r2hc_unit = {nullptr, r2hc_unit<2>, r2hc_unit<4>, r2hc_unit<8>, r2hc_unit<16>,
                      r2hc_unit<32>, r2hc_unit<64>, r2hc_unit<128>},
        .hc2r_unit = {nullptr, hc2r_unit<2>, hc2r_unit<4>, hc2r_unit<8>, hc2r_unit<16>,
                      hc2r_unit<32>, hc2r_unit<64>, hc2r_unit<128>},
        .dht_unit = {nullptr, dht_unit<2>, dht_unit<4>, dht_unit<8>, dht_unit<16>, dht_unit<32>,
                     dht_unit<64>, dht_unit<128>},
    };
    for (int i = 0; i < real_sizes; ++i) {
        set.hartley[i] = set.forward[i];
        set.complex_to_real[i] = set.backward[i];
    }
    add_single<2, 3, 4, 5, 7, 8, 16, 32, 64, 128>(set);
    add_many<2, 3, 4, 8, 16>(set);
    return set;
}

}  // namespace

extern const real_set reals;
constinit const real_set reals = make_reals();

}  // namespace lyr::LYR_ISA
