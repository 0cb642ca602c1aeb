// Real-data codelets, batches: memory. Short transforms run with lanes across the transforms, long
// ones do so when neighbouring numbers belong to neighbouring transforms.
#pragma once

#include "codelets/kernel/real_one.h"

namespace lyr::LYR_ISA {
namespace {

using wide = real_vec<real_lanes>;

// Real numbers next to each other, transform by transform.
template <int N>
LYR_INLINE bool are_lines(const scalar *R0, const scalar *R1, const int64_t *rs) {
    return R1 - R0 == 1 && (N == 2 || rs[1] == 2);
}
// Spectra in half-complex order; spectra of neighbouring complex numbers.
template <int N>
LYR_INLINE bool are_half_complex(const scalar *Cr, const scalar *Ci, const int64_t *csr,
                                 const int64_t *csi) {
    return Ci - Cr == N && csr[1] == 1 && csi[1] == -1;
}
LYR_INLINE bool are_complex(const scalar *Cr, const scalar *Ci, const int64_t *csr,
                            const int64_t *csi) {
    return Ci - Cr == 1 && csr[1] == 2 && csi[1] == 2;
}

// ---- Short transforms: all values in registers --------------------------------------------------

enum class layout {
    side_by_side,   // transforms 1 apart
    pairs,          // complex numbers, those of neighbouring transforms next to each other
    lines,          // real numbers of a transform next to each other; half-complex order
    complex_lines,  // complex numbers of a transform next to each other
    scattered,
};

// A block of numbers that lie next to each other in each transform.
template <int W>
LYR_INLINE void load_lines(real_vec<W> (&block)[W], const scalar *p, int64_t step) {
    unroll<W>(LYR_LAMBDA(auto l) { block[l] = real_vec<W>::load(p + l * step); });
    transpose(block);
}
template <int W>
LYR_INLINE void store_lines(real_vec<W> (&block)[W], scalar *p, int64_t step) {
    transpose(block);
    unroll<W>(LYR_LAMBDA(auto l) { block[l].store(p + l * step); });
}
template <int N, int W>
LYR_INLINE void load_all_lines(real_vec<W> (&x)[N], const scalar *p, int64_t step) {
    unroll<N / W>(LYR_LAMBDA(auto b) {
        real_vec<W> block[W];
        load_lines(block, p + b * W, step);
        unroll<W>(LYR_LAMBDA(auto l) { x[b * W + l] = block[l]; });
    });
}
template <int N, int W>
LYR_INLINE void store_all_lines(const real_vec<W> (&x)[N], scalar *p, int64_t step) {
    unroll<N / W>(LYR_LAMBDA(auto b) {
        real_vec<W> block[W];
        unroll<W>(LYR_LAMBDA(auto l) { block[l] = x[b * W + l]; });
        store_lines(block, p + b * W, step);
    });
}

// Zeros to join with real parts. Where gcc sees that they are zero it joins two lanes by an
// instruction that valgrind 3.19 does not know.
template <int W>
LYR_INLINE real_vec<W> no_imaginary_parts() {
    real_vec<W> zero = real_vec<W>::zero();
    if constexpr (W == 2) __asm__("" : "+m"(zero));
    return zero;
}

// Samples x[j] of as many transforms as lanes.
template <int N>
struct batch_of_reals {
    static constexpr bool fills_vectors = N % real_lanes == 0;
    scalar *R0, *R1;
    const int64_t *rs;
    int64_t step;
    layout how;

    LYR_INLINE batch_of_reals(scalar *r0, scalar *r1, const int64_t *table, int64_t distance)
        : R0(r0), R1(r1), rs(table), step(distance), how(layout::scattered) {
        if (step == 1)
            how = layout::side_by_side;
        else if (fills_vectors && are_lines<N>(R0, R1, rs))
            how = layout::lines;
    }
    LYR_INLINE scalar *at(int j) const { return (j % 2 ? R1 : R0) + rs[j / 2]; }

    template <int W>
    LYR_INLINE void load(real_vec<W> (&x)[N]) const {
        if (how == layout::side_by_side) {
            unroll<N>(LYR_LAMBDA(auto j) { x[j] = real_vec<W>::load(at(j)); });
            return;
        }
        if constexpr (fills_vectors)
            if (how == layout::lines) return load_all_lines<N>(x, R0, step);
        unroll<N>(LYR_LAMBDA(auto j) { x[j] = real_vec<W>::gather(at(j), step); });
    }
    template <int W>
    LYR_INLINE void store(const real_vec<W> (&x)[N]) const {
        if (how == layout::side_by_side) {
            unroll<N>(LYR_LAMBDA(auto j) { x[j].store(at(j)); });
            return;
        }
        if constexpr (fills_vectors)
            if (how == layout::lines) return store_all_lines<N>(x, R0, step);
        unroll<N>(LYR_LAMBDA(auto j) { x[j].scatter(at(j), step); });
    }
    LYR_INLINE void advance(int64_t count) {
        R0 += count * step;
        R1 += count * step;
    }
};

// Spectra in half-complex order: Re X[k] in y[k], Im X[k] in y[N - k]. `Zeroed`: the zero imaginary
// parts are written.
template <int N, bool Zeroed = false>
struct batch_of_spectra {
    static constexpr bool fills_vectors = N % real_lanes == 0;
    scalar *Cr, *Ci;
    const int64_t *csr, *csi;
    int64_t step;
    layout how;

    LYR_INLINE batch_of_spectra(scalar *cr, scalar *ci, const int64_t *table_r,
                                const int64_t *table_i, int64_t distance)
        : Cr(cr), Ci(ci), csr(table_r), csi(table_i), step(distance), how(layout::scattered) {
        if (step == 1)
            how = layout::side_by_side;
        else if (step == 2 && Ci - Cr == 1 && csr[1] == csi[1])
            how = layout::pairs;
        else if (fills_vectors && are_complex(Cr, Ci, csr, csi))
            how = layout::complex_lines;
        else if (fills_vectors && are_half_complex<N>(Cr, Ci, csr, csi))
            how = layout::lines;
    }
    // Where y[i] is.
    LYR_INLINE scalar *at(int i) const { return i <= N / 2 ? Cr + csr[i] : Ci + csi[N - i]; }

    template <int W>
    LYR_INLINE void load(real_vec<W> (&y)[N]) const {
        if (how == layout::side_by_side) {
            unroll<N>(LYR_LAMBDA(auto i) { y[i] = real_vec<W>::load(at(i)); });
            return;
        }
        if (how == layout::pairs) {
            y[0] = real_vec<W>::gather(Cr, 2);
            unroll<(N - 1) / 2>(
                LYR_LAMBDA(auto k) { load_pairs(Cr + csr[k + 1], y[k + 1], y[N - 1 - k]); });
            if constexpr (N % 2 == 0) y[N / 2] = real_vec<W>::gather(Cr + csr[N / 2], 2);
            return;
        }
        if constexpr (fills_vectors) {
            if (how == layout::lines) return load_all_lines<N>(y, Cr, step);
            if (how == layout::complex_lines) {
                real_vec<W> c[N];
                load_all_lines<N>(c, Cr, step);
                unroll<N / 2>(LYR_LAMBDA(auto k) {
                    y[k] = c[2 * k];
                    if constexpr (k > 0) y[N - k] = c[2 * k + 1];
                });
                y[N / 2] = real_vec<W>::gather(Cr + N, step);
                return;
            }
        }
        unroll<N>(LYR_LAMBDA(auto i) { y[i] = real_vec<W>::gather(at(i), step); });
    }
    template <int W>
    LYR_INLINE void store(const real_vec<W> (&y)[N]) const {
        if (how == layout::pairs) {
            store_end(Cr, y[0]);
            unroll<(N - 1) / 2>(
                LYR_LAMBDA(auto k) { store_pairs(Cr + csr[k + 1], y[k + 1], y[N - 1 - k]); });
            if constexpr (N % 2 == 0) store_end(Cr + csr[N / 2], y[N / 2]);
            return;
        }
        if constexpr (fills_vectors) {
            if (how == layout::lines) return store_all_lines<N>(y, Cr, step);
            if (Zeroed && how == layout::complex_lines) {
                real_vec<W> c[N];
                unroll<N / 2>(LYR_LAMBDA(auto k) {
                    c[2 * k] = y[k];
                    if constexpr (k > 0)
                        c[2 * k + 1] = y[N - k];
                    else
                        c[1] = no_imaginary_parts<W>();
                });
                store_all_lines<N>(c, Cr, step);
                y[N / 2].scatter(Cr + N, step);
                real_vec<W>::zero().scatter(Cr + N + 1, step);
                return;
            }
        }
        if (how == layout::side_by_side)
            unroll<N>(LYR_LAMBDA(auto i) { y[i].store(at(i)); });
        else
            unroll<N>(LYR_LAMBDA(auto i) { y[i].scatter(at(i), step); });
        if constexpr (Zeroed) zero_ends(W);
    }
    template <int W>
    LYR_INLINE static void store_end(scalar *c, real_vec<W> re) {
        if constexpr (Zeroed) {
            store_pairs(c, re, no_imaginary_parts<W>());
        } else {
            re.scatter(c, 2);
        }
    }
    LYR_INLINE void zero_ends(int64_t count) const {
        for (int64_t l = 0; l < count; ++l) {
            Ci[l * step] = 0;
            if constexpr (N % 2 == 0) Ci[csi[N / 2] + l * step] = 0;
        }
    }
    LYR_INLINE void advance(int64_t count) {
        Cr += count * step;
        Ci += count * step;
    }
};

// Too few numbers to fill vectors or to pay for gathering them: one transform after another.
template <int N>
constexpr bool tiny = N < 4 || N < real_lanes;

// Calls run(index<W>) for the vectors of a batch: full ones and, for what is left over, half as
// wide ones down to 128 bits, but for transforms that are as quick one by one.
template <int N, int W = real_lanes, class F>
LYR_INLINE void in_real_vectors(F &&run) {
    run(index<W>{});
    if constexpr (N >= 8 && W * scalar_bytes > 16)
        in_real_vectors<N, W / 2>(static_cast<F &&>(run));
}

template <int N, bool Zeroed>
LYR_INLINE void forward_short(LYR_REAL_PARAMETERS) {
    if constexpr (tiny<N> && Zeroed) {
        if (are_lines<N>(R0, R1, rs) && are_complex(Cr, Ci, csr, csi) && ovs > 2) {
#pragma GCC unroll 2
            for (; v > 0; --v, R0 += ivs, Cr += ovs)
                forward_one<N>(unit_reals{R0}, unit_complex<N>{Cr});
            return;
        }
    }
    if constexpr (tiny<N> && !Zeroed) {
        if (are_lines<N>(R0, R1, rs) && are_half_complex<N>(Cr, Ci, csr, csi) && ovs > 1) {
#pragma GCC unroll 2
            for (; v > 0; --v, R0 += ivs, Cr += ovs)
                forward_one<N>(unit_reals{R0}, half_complex<N>{Cr});
            return;
        }
    }
    batch_of_reals<N> in(R0, R1, rs, ivs);
    batch_of_spectra<N, Zeroed> out(Cr, Ci, csr, csi, ovs);
    const bool gathers = in.how == layout::scattered && out.how == layout::scattered;
    in_real_vectors<N>(LYR_LAMBDA(auto width) {
        constexpr int W = width.value;
        using V = real_vec<W>;
        for (; v >= W && !(tiny<N> && gathers); v -= W) {
            V x[N], y[N];
            in.load(x);
            const auto load = LYR_LAMBDA(auto j) {
                return x[j];
            };
            const auto keep_re = LYR_LAMBDA(auto k, V r) {
                y[k] = r;
            };
            const auto keep_im = LYR_LAMBDA(auto k, V i) {
                y[N - k] = i;
            };
            if constexpr (N % 2)
                real_forward_odd<N, V>(load, keep_re, keep_im);
            else
                real_forward<N, V>(load, keep_re, keep_im);
            out.store(y);
            in.advance(W);
            out.advance(W);
        }
    });
    for (; v > 0; --v) {
        r2c_kernel<N>(in.R0, in.R1, out.Cr, out.Ci, rs, csr, csi, 1, 0, 0);
        if constexpr (Zeroed) out.zero_ends(1);
        in.advance(1);
        out.advance(1);
    }
}

template <int N>
LYR_INLINE void backward_short(LYR_REAL_PARAMETERS) {
    if constexpr (tiny<N>) {
        if (are_lines<N>(R0, R1, rs) && are_complex(Cr, Ci, csr, csi) && ivs > 2) {
#pragma GCC unroll 2
            for (; v > 0; --v, R0 += ovs, Cr += ivs)
                backward_one<N>(unit_complex<N>{Cr}, unit_reals{R0});
            return;
        }
        if (are_lines<N>(R0, R1, rs) && are_half_complex<N>(Cr, Ci, csr, csi) && ivs > 1) {
#pragma GCC unroll 2
            for (; v > 0; --v, R0 += ovs, Cr += ivs)
                backward_one<N>(half_complex<N>{Cr}, unit_reals{R0});
            return;
        }
    }
    batch_of_spectra<N> in(Cr, Ci, csr, csi, ivs);
    batch_of_reals<N> out(R0, R1, rs, ovs);
    const bool gathers = in.how == layout::scattered && out.how == layout::scattered;
    in_real_vectors<N>(LYR_LAMBDA(auto width) {
        constexpr int W = width.value;
        using V = real_vec<W>;
        for (; v >= W && !(tiny<N> && gathers); v -= W) {
            V y[N], x[N];
            in.load(y);
            real_backward<N, V>(
                LYR_LAMBDA(auto k) { return y[k]; }, LYR_LAMBDA(auto k) { return y[N - k]; },
                LYR_LAMBDA(auto j, V r) { x[j] = r; });
            out.store(x);
            in.advance(W);
            out.advance(W);
        }
    });
    for (; v > 0; --v) {
        backward_one<N>(tabled_spectrum<N>{in.Cr, in.Ci, csr, csi},
                        tabled_reals{out.R0, out.R1, rs});
        in.advance(1);
        out.advance(1);
    }
}

// ---- Long transforms ----------------------------------------------------------------------------

// One vector of transforms that are 1 apart on both sides.
template <int N>
__attribute__((noinline)) void forward_across(const scalar *R0, const scalar *R1, scalar *Cr,
                                              scalar *Ci, const int64_t *rs, const int64_t *csr,
                                              const int64_t *csi) {
    real_forward<N, wide>(
        LYR_LAMBDA(auto j) { return wide::load((j % 2 ? R1 : R0) + rs[j / 2]); },
        LYR_LAMBDA(auto k, wide r) { r.store(Cr + csr[k]); },
        LYR_LAMBDA(auto k, wide i) { i.store(Ci + csi[k]); });
}
template <int N>
__attribute__((noinline)) void backward_across(scalar *R0, scalar *R1, const scalar *Cr,
                                               const scalar *Ci, const int64_t *rs,
                                               const int64_t *csr, const int64_t *csi) {
    real_backward<N, wide>(
        LYR_LAMBDA(auto k) { return wide::load(Cr + csr[k]); },
        LYR_LAMBDA(auto k) { return wide::load(Ci + csi[k]); },
        LYR_LAMBDA(auto j, wide r) { r.store((j % 2 ? R1 : R0) + rs[j / 2]); });
}

// A vector of transforms in a buffer: row j of `real_lanes` numbers is x[j], or number j of the
// half-complex order.
template <int N>
struct across_buffer {
    struct tables {
        int64_t rs[N], csr[N], csi[N];
    };
    static constexpr tables make() {
        tables t = {};
        for (int k = 0; k < N; ++k) {
            t.rs[k] = 2 * k * real_lanes;
            t.csr[k] = k * real_lanes;
            t.csi[k] = -k * real_lanes;
        }
        return t;
    }
    static constexpr tables of = make();
    alignas(64) scalar x[N][real_lanes];

    LYR_INLINE scalar *odd() { return x[1]; }
    LYR_INLINE scalar *imaginary() { return x[0] + N * real_lanes; }
};

// `count` transforms, fewer than lanes, 1 apart: with the arithmetic of the others.
template <int N>
void forward_rest(scalar *R0, scalar *R1, scalar *Cr, scalar *Ci, const int64_t *rs,
                  const int64_t *csr, const int64_t *csi, uint64_t count) {
    across_buffer<N> in = {}, out;
    for (int j = 0; j < N; ++j)
        for (uint64_t l = 0; l < count; ++l) in.x[j][l] = (j % 2 ? R1 : R0)[rs[j / 2] + int64_t(l)];
    constexpr auto &t = across_buffer<N>::of;
    forward_across<N>(in.x[0], in.odd(), out.x[0], out.imaginary(), t.rs, t.csr, t.csi);
    for (int k = 0; k < N; ++k)
        for (uint64_t l = 0; l < count; ++l)
            (k <= N / 2 ? Cr + csr[k] : Ci + csi[N - k])[l] = out.x[k][l];
}
template <int N>
void backward_rest(scalar *R0, scalar *R1, const scalar *Cr, const scalar *Ci, const int64_t *rs,
                   const int64_t *csr, const int64_t *csi, uint64_t count, int64_t ivs) {
    across_buffer<N> in = {}, out;
    for (int k = 0; k < N; ++k)
        for (uint64_t l = 0; l < count; ++l)
            in.x[k][l] = (k <= N / 2 ? Cr + csr[k] : Ci + csi[N - k])[int64_t(l) * ivs];
    constexpr auto &t = across_buffer<N>::of;
    backward_across<N>(out.x[0], out.odd(), in.x[0], in.imaginary(), t.rs, t.csr, t.csi);
    for (int j = 0; j < N; ++j)
        for (uint64_t l = 0; l < count; ++l)
            (j % 2 ? R1 : R0)[rs[j / 2] + int64_t(l)] = out.x[j][l];
}

// From neighbouring complex numbers of neighbouring transforms.
template <int N>
LYR_INLINE void backward_pairs(scalar *R0, scalar *R1, const scalar *Cr, const int64_t *rs,
                               const int64_t *csr) {
    across_buffer<N> in;
    wide::gather(Cr, 2).store(in.x[0]);
    for (int k = 1; k < N / 2; ++k) {
        wide re, im;
        load_pairs(Cr + csr[k], re, im);
        re.store(in.x[k]);
        im.store(in.x[N - k]);
    }
    wide::gather(Cr + csr[N / 2], 2).store(in.x[N / 2]);
    constexpr auto &t = across_buffer<N>::of;
    backward_across<N>(R0, R1, in.x[0], in.imaginary(), rs, t.csr, t.csi);
}

template <int N>
LYR_INLINE void forward_long(LYR_REAL_PARAMETERS) {
    if (ivs == 1 && ovs == 1 && v > 1) {
        for (; v >= real_lanes; v -= real_lanes) {
            forward_across<N>(R0, R1, Cr, Ci, rs, csr, csi);
            R0 += real_lanes;
            R1 += real_lanes;
            Cr += real_lanes;
            Ci += real_lanes;
        }
        if (v > 0) forward_rest<N>(R0, R1, Cr, Ci, rs, csr, csi, v);
    } else if (are_lines<N>(R0, R1, rs) && are_half_complex<N>(Cr, Ci, csr, csi)) {
        for (; v > 0; --v, R0 += ivs, Cr += ovs) r2hc_unit<N>(nullptr, R0, Cr, nullptr);
    } else {
        for (; v > 0; --v, R0 += ivs, R1 += ivs, Cr += ovs, Ci += ovs)
            r2c_kernel<N>(R0, R1, Cr, Ci, rs, csr, csi, 1, 0, 0);
    }
}

template <int N>
LYR_INLINE void backward_long(LYR_REAL_PARAMETERS) {
    const bool pairs = ivs == 2 && Ci - Cr == 1 && csr[1] == csi[1];
    if ((ivs == 1 || pairs) && ovs == 1 && v > 1) {
        for (; v >= real_lanes; v -= real_lanes) {
            if (pairs)
                backward_pairs<N>(R0, R1, Cr, rs, csr);
            else
                backward_across<N>(R0, R1, Cr, Ci, rs, csr, csi);
            R0 += real_lanes;
            R1 += real_lanes;
            Cr += real_lanes * ivs;
            Ci += real_lanes * ivs;
        }
        if (v > 0) backward_rest<N>(R0, R1, Cr, Ci, rs, csr, csi, v, ivs);
    } else if (are_lines<N>(R0, R1, rs) && are_complex(Cr, Ci, csr, csi)) {
        for (; v > 0; --v, R0 += ovs, Cr += ivs) c2r_unit<N>(nullptr, Cr, R0, nullptr);
    } else if (are_lines<N>(R0, R1, rs) && are_half_complex<N>(Cr, Ci, csr, csi)) {
        for (; v > 0; --v, R0 += ovs, Cr += ivs) hc2r_unit<N>(nullptr, Cr, R0, nullptr);
    } else {
        for (; v > 0; --v, R0 += ovs, R1 += ovs, Cr += ivs, Ci += ivs)
            backward_one<N>(tabled_spectrum<N>{Cr, Ci, csr, csi}, tabled_reals{R0, R1, rs});
    }
}

}  // namespace

template <int N>
void forward_kernel(LYR_REAL_PARAMETERS) {
    if constexpr (N < shortest_inside)
        forward_short<N, false>(R0, R1, Cr, Ci, rs, csr, csi, v, ivs, ovs);
    else
        forward_long<N>(R0, R1, Cr, Ci, rs, csr, csi, v, ivs, ovs);
}
template <int N>
void backward_kernel(LYR_REAL_PARAMETERS) {
    if constexpr (N < shortest_inside)
        backward_short<N>(R0, R1, Cr, Ci, rs, csr, csi, v, ivs, ovs);
    else
        backward_long<N>(R0, R1, Cr, Ci, rs, csr, csi, v, ivs, ovs);
}
template <int N>
void r2c_many_zeroed_kernel(LYR_REAL_PARAMETERS) {
    forward_short<N, true>(R0, R1, Cr, Ci, rs, csr, csi, v, ivs, ovs);
}

}  // namespace lyr::LYR_ISA

// Instantiates the kernels of one power of two for the table.
#define LYR_REAL_TYPES                                                                          \
    (scalar *, scalar *, scalar *, scalar *, const int64_t *, const int64_t *, const int64_t *, \
     uint64_t, int64_t, int64_t)
#define LYR_DEFINE_REAL(N)                                                  \
    namespace lyr::LYR_ISA {                                                \
    template void r2c_kernel<N> LYR_REAL_TYPES;                             \
    template void forward_kernel<N> LYR_REAL_TYPES;                         \
    template void backward_kernel<N> LYR_REAL_TYPES;                        \
    template void r2c_unit<N>(const plan *, scalar *, scalar *, scalar *);  \
    template void r2hc_unit<N>(const plan *, scalar *, scalar *, scalar *); \
    template void dht_unit<N>(const plan *, scalar *, scalar *, scalar *);  \
    template void c2r_unit<N>(const plan *, scalar *, scalar *, scalar *);  \
    template void hc2r_unit<N>(const plan *, scalar *, scalar *, scalar *); \
    }
